// A trace file that is looked into, and never written to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "tdf/OpenFile.h"

namespace orm_trace {

class InputFile {
public:
    // Errors: Failure (kNotATrace): the file cannot be opened, or is none that has positions.
    explicit InputFile(std::string path);

    const std::string& Path() const noexcept { return m_path; }
    std::uint64_t Size() const noexcept { return m_size; }
    // Whether it begins as a TDF file does; and whether it has such a name, which hosts ask for besides.
    bool HasIdentifier() const noexcept { return m_hasIdentifier; }
    bool IsNamedTdf() const noexcept;

    // Errors: Failure (kNotATrace): the file does not begin as a TDF file does.
    void RequireIdentifier() const;

    // Reads from a position on. Returns: the bytes read, fewer than size at the end of the file alone.
    // Errors: Failure (kFailed).
    std::size_t ReadAt(std::uint64_t offset, void* buffer, std::size_t size) const;

    // For a walk, one at a time. ReadAt leaves its position alone.
    std::FILE* Stream() const noexcept { return m_stream.get(); }

private:
    std::string m_path;
    Orm::Lux::Trace::FilePtr m_stream;
    std::uint64_t m_size = 0;
    bool m_hasIdentifier = false;
};

}  // namespace orm_trace
