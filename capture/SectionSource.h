// A section to be written: its name and version, and where its data comes from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "tdf/FileIO.h"

namespace orm_trace {

// A section as the command line names it, NAME:VERSION@FILE.
class SectionSource {
public:
    // The first @ ends the section, its last : begins the version; in the name, \xHH is a byte and \\ a backslash. A FILE
    // of - is standard input.
    // Errors: Failure: kUsage for a text of another form, kFailed for a name that is too long for readers.
    explicit SectionSource(const std::string& text);

    // Opens the data and measures it. What has no size, as standard input, a pipe or a device, is read to its end.
    // Errors: Failure: kNotATrace for data that cannot be opened, kFailed for data that cannot be read, and for a section
    //         that is too long for readers.
    void Open();

    const std::string& Name() const noexcept { return m_name; }
    std::uint32_t Version() const noexcept { return m_version; }
    const std::string& Path() const noexcept { return m_path; }
    bool IsStandardInput() const noexcept { return m_isStandardInput; }
    // Units: bytes, of the data that is open.
    std::uint64_t Size() const noexcept { return m_size; }
    // Returns: name and version as they are shown, "name":version.
    std::string Label() const;

    // Reads on, at most size bytes. Returns: the bytes read, 0 at the end. Errors: Failure (kFailed).
    std::size_t Read(char* buffer, std::size_t size);

private:
    std::uint64_t CopyData();

    std::string m_name;
    std::uint32_t m_version = 0;
    std::string m_path;
    bool m_isStandardInput = false;
    Orm::Lux::Trace::FilePtr m_data;
    std::uint64_t m_size = 0;
};

}  // namespace orm_trace
