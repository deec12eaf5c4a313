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
    // Errors: Error (kInput): those of InputFile, and a TDF file without a trace.
    explicit SampleFile(std::string path);

    const std::string& Path() const noexcept { return m_file.Path(); }
    // Returns: the samples by the length of their bytes; a last one that is cut short counts.
    std::uint64_t Count() const noexcept { return m_count; }

    // Reads samples from this one on. Returns: how many were read, fewer than there is room for only at the end of the
    // file, which may come before the last one that is counted. A cut-short last sample is completed, as hosts see it, by
    // the bytes that follow the section. Errors: Error (kFailed).
    std::size_t Read(std::uint64_t first, std::span<std::uint64_t> words) const;

private:
    InputFile m_file;
    std::uint64_t m_offset = 0;  // of the first sample in the file
    std::uint64_t m_count = 0;
};

}  // namespace orm_trace
