// A section to be written: its name and version, and where its data comes from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "tdf/OpenFile.h"

namespace orm_trace {

// A section as the command line names it, NAME:VERSION@FILE, with its data open and measured.
class SectionSource {
public:
    // The first @ ends the section, its last : begins the version; in the name, \xHH is a byte and \\ a backslash. A FILE
    // of - is standard input, which is read here.
    // Errors: Failure: kUsage for a text of another form, kNotATrace for data that cannot be opened, kFailed for what
    //         cannot be read, and for a section that no reader would find because it is too long, or its name is.
    explicit SectionSource(const std::string& text);

    const std::string& Name() const noexcept { return m_name; }
    std::uint32_t Version() const noexcept { return m_version; }
    const std::string& Path() const noexcept { return m_path; }
    // Units: bytes, of the data.
    std::uint64_t Size() const noexcept { return m_size; }
    // Returns: name and version as they are shown, "name":version.
    std::string Label() const;

    // Reads on, at most size bytes. Returns: the bytes read, 0 at the end. Errors: Failure (kFailed).
    std::size_t Read(char* buffer, std::size_t size);

private:
    void OpenData();

    std::string m_name;
    std::uint32_t m_version = 0;
    std::string m_path;
    Orm::Lux::Trace::FilePtr m_data;
    std::uint64_t m_size = 0;
};

}  // namespace orm_trace
