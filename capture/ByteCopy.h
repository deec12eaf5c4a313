// Copying ranges of a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "capture/InputFile.h"

namespace orm_trace {

// Writes bytes to an empty file, one range after the other. Blocks of zeros become holes, and holes are not read, so that
// a sparse file stays sparse.
//
// Errors: each operation throws Failure for what cannot be read or written.
class ByteCopy {
public:
    // The descriptor belongs to the caller, and outlives this; name is the file's in messages.
    ByteCopy(int descriptor, std::string name) : m_descriptor(descriptor), m_name(std::move(name)) {}

    void Write(const void* bytes, std::size_t size);
    void Copy(const InputFile& from, std::uint64_t begin, std::uint64_t end);
    // Ends the file. It may be closed then.
    void Finish();

    // Units: bytes, that the file has when it is finished.
    std::uint64_t Size() const noexcept { return m_begin + m_used; }

private:
    static constexpr std::size_t kBlock = 4096;  // bytes; those of zeros are not written
    static constexpr std::size_t kPage = 64 * kBlock;

    void Flush();
    void WriteAt(std::uint64_t at, const char* bytes, std::size_t size);

    int m_descriptor;
    std::string m_name;
    std::vector<char> m_page = std::vector<char>(kPage);
    std::uint64_t m_begin = 0;  // of the page in the file; at a block
    std::size_t m_used = 0;     // bytes of the page
};

}  // namespace orm_trace
