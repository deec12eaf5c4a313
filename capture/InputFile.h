// An open trace file that is only read.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "tdf/FileIO.h"

namespace orm_trace {

class InputFile {
public:
    // Errors: Error (kInput): the file cannot be opened, is not seekable, or became shorter while it was being opened.
    explicit InputFile(std::string path);

    const std::string& Path() const noexcept { return m_path; }
    // Units: bytes, when the file was opened, or at the last Measure.
    std::uint64_t Size() const noexcept { return m_size; }
    // Measures the file again: it may have grown. Errors: Error (kInput): it became shorter.
    void Measure() const;
    // Throws that error.
    [[noreturn]] void ThrowShorter() const;
    // Whether it begins with the TDF identifier; and whether it is named .tdf, which hosts also require.
    bool HasIdentifier() const noexcept { return m_hasIdentifier; }
    bool IsNamedTdf() const noexcept;

    // Errors: Error (kInput): the file does not begin with the TDF identifier.
    void RequireIdentifier() const;

    // Reads from an offset on. Returns: the bytes read, fewer than size only at the end of the file.
    // Errors: Error (kFailed).
    std::size_t ReadAt(std::uint64_t offset, void* buffer, std::size_t size) const;

    // Returns: the first offset from this one on where the file may have other bytes than 0: holes of a sparse file are
    //          skipped. The size of the file if only holes follow. Errors: Error (kInput): the file became shorter.
    std::uint64_t NextData(std::uint64_t offset) const;

    // The open stream, for TDFSectionReader.
    std::FILE* Stream() const noexcept { return m_stream.get(); }

private:
    // Returns: its size, measured again. Errors: Error (kInput): it became shorter.
    std::uint64_t SizeNow() const;

    std::string m_path;
    Orm::Lux::Trace::FilePtr m_stream;
    mutable std::atomic<std::uint64_t> m_size = 0;  // any thread may measure
    bool m_hasIdentifier = false;
};

}  // namespace orm_trace
