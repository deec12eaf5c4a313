// A section to be written: its name and version, and where its data comes from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "tdf/FileIO.h"

namespace orm_trace {

class SectionSource {
public:
    // The data is that of the file that path leads to; a path of - or /dev/stdin is standard input.
    // Errors: Error: kArgument for a name with a zero byte, which no lookup finds; kFailed for one that is too long for
    //         readers.
    SectionSource(std::string name, std::uint32_t version, std::string path);

    // The data is what read gives, of this size in bytes. read(buffer, size) gives the next bytes, at least one, unless no
    // more can be had. label: what messages call the data. Errors: the same.
    using ReadData = std::function<std::size_t(char* buffer, std::size_t size)>;
    SectionSource(std::string name, std::uint32_t version, std::string label, std::uint64_t size, ReadData read);

    // Opens the data of a file and measures it. What has no size, such as standard input, a pipe or a device, is read to its end.
    // Errors: Error: kInput for data that cannot be opened; kFailed for data that cannot be read, and for a section that
    //         is too long for readers.
    void Open();

    const std::string& Name() const noexcept { return m_name; }
    std::uint32_t Version() const noexcept { return m_version; }
    // As messages name it.
    const std::string& Path() const noexcept { return m_path; }
    bool IsStandardInput() const noexcept { return m_isStandardInput; }
    // Units: bytes, of the data that is open.
    std::uint64_t Size() const noexcept { return m_size; }

    // Reads on, at most size bytes. Returns: the bytes read, 0 at the end. Errors: Error (kFailed), and those of ReadData.
    std::size_t Read(char* buffer, std::size_t size);

private:
    void RequireLength(bool isMeasured) const;
    std::uint64_t CopyData();

    std::string m_name;
    std::uint32_t m_version;
    std::string m_path;
    bool m_isStandardInput;
    ReadData m_read;  // empty for a file
    Orm::Lux::Trace::FilePtr m_data;
    std::uint64_t m_size = 0;
};

}  // namespace orm_trace
