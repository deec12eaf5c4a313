// Copying ranges of a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "capture/InputFile.h"
#include "capture/Progress.h"

namespace orm_trace {

// Writes bytes to an empty file, one range after the other. Blocks of zeros become holes, and holes are not read, so that
// a sparse file stays sparse.
//
// Errors: each operation throws Error for what cannot be read or written.
class ByteCopy {
public:
    // The descriptor belongs to the caller and outlives this; messages call the file by the name.
    ByteCopy(int descriptor, std::string name, ProgressCallback onProgress = {})
        : m_descriptor(descriptor), m_name(std::move(name)), m_onProgress(std::move(onProgress)) {}

    void Write(const void* bytes, std::size_t size);
    void Copy(const InputFile& from, std::uint64_t begin, std::uint64_t end);
    // Completes the file, which may then be closed.
    void Finish();

    // Units: bytes, that the file has when it is finished.
    std::uint64_t Size() const noexcept { return m_begin + m_used; }

private:
    static constexpr std::size_t kBlock = 4096;  // bytes; those of zeros are not written
    static constexpr std::size_t kChunk = 64 * kBlock;

    void Flush();
    void Pass(std::uint64_t size);
    void WriteAt(std::uint64_t offset, const char* bytes, std::size_t size);

    int m_descriptor;
    std::string m_name;
    ProgressCallback m_onProgress;
    std::vector<char> m_chunk = std::vector<char>(kChunk);
    std::uint64_t m_begin = 0;  // of the chunk in the file; at a block
    std::size_t m_used = 0;     // bytes of the chunk
};

}  // namespace orm_trace
