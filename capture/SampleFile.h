// The samples of a capture, read by index.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "capture/InputFile.h"

namespace orm_trace {

// The samples that hosts find: the data of the section "BinTraceData":1 of a TDF file, any other file as a whole. A plain
// file may have more than a host can address.
class SampleFile {
public:
    // Bytes of the file, [begin, end).
    struct Range {
        std::uint64_t begin = 0;
        std::uint64_t end = 0;
    };

    // The file belongs to the caller and outlives this. Errors: Error (kInput): a TDF file without a trace.
    explicit SampleFile(const InputFile& file);

    const InputFile& File() const noexcept { return m_file; }
    const std::string& Path() const noexcept { return m_file.Path(); }
    // Whether the samples are the data of a section.
    bool IsTdf() const noexcept { return m_isTdf; }
    // Returns: the samples by the length of their bytes; a last one that is cut short counts.
    std::uint64_t Count() const noexcept { return m_count; }
    // Returns: how many of them Read returns, by the size of the file when it was opened.
    std::uint64_t Available() const noexcept;

    // Returns: where these samples are. A last one that is cut short has fewer bytes. REQUIRES: first is at most Count.
    Range BytesOf(std::uint64_t first, std::uint64_t count) const noexcept;

    // Reads samples from this one on. Returns: how many were read, fewer than there is room for only at the end of the
    // file, which may come before the last one that is counted. A cut-short last sample is completed, as hosts see it, by
    // the bytes that follow the section. Errors: Error (kFailed).
    std::size_t Read(std::uint64_t first, std::span<std::uint64_t> words) const;

    // Whether the file has more samples by now than when it was opened. Errors: Error (kInput): it became shorter.
    bool HasGrown() const;

private:
    // Returns: where the data of the section is. Errors: Error (kInput).
    Range FindTrace() const;

    const InputFile& m_file;
    bool m_isTdf;
    Range m_bytes;
    std::uint64_t m_count = 0;
};

}  // namespace orm_trace
