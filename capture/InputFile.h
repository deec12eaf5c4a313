// A trace file that is looked into, and never written to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "tdf/FileIO.h"

namespace orm_trace {

class InputFile {
public:
    // Errors: Failure (kNotATrace): the file cannot be opened, is none that has positions, or became shorter meanwhile.
    explicit InputFile(std::string path);

    const std::string& Path() const noexcept { return m_path; }
    // Units: bytes, when the file was opened, or at the last Measure.
    std::uint64_t Size() const noexcept { return m_size; }
    // Looks how long the file is now: it may have grown. Errors: Failure (kNotATrace): it became shorter.
    void Measure() const;
    // Throws that Failure.
    [[noreturn]] void ThrowShorter() const;
    // Whether it begins as a TDF file does; and whether it has such a name, which hosts ask for besides.
    bool HasIdentifier() const noexcept { return m_hasIdentifier; }
    bool IsNamedTdf() const noexcept;

    // Errors: Failure (kNotATrace): the file does not begin as a TDF file does.
    void RequireIdentifier() const;

    // Reads from a position on. Returns: the bytes read, fewer than size only at the end of the file.
    // Errors: Failure (kFailed).
    std::size_t ReadAt(std::uint64_t offset, void* buffer, std::size_t size) const;

    // Returns: the first position from offset on where there may be other bytes than 0: holes of a sparse file are
    //          passed over. The size of the file when there is none.
    std::uint64_t NextData(std::uint64_t offset) const noexcept;

    // For a walk, one at a time. ReadAt leaves its position alone.
    std::FILE* Stream() const noexcept { return m_stream.get(); }

private:
    std::string m_path;
    Orm::Lux::Trace::FilePtr m_stream;
    mutable std::uint64_t m_size = 0;
    bool m_hasIdentifier = false;
};

}  // namespace orm_trace
