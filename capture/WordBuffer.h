// A buffer for what is read from a file.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace orm_trace {

// Begins at a line of the processor's cache: the kernel takes half as long again to copy to another address.
//
// Errors: std::bad_alloc.
class WordBuffer {
public:
    // Units: words.
    explicit WordBuffer(std::size_t size) : m_lines((size + kWords - 1) / kWords), m_size(size) {}

    std::span<std::uint64_t> Words() noexcept { return {reinterpret_cast<std::uint64_t*>(m_lines.data()), m_size}; }
    std::span<unsigned char> Bytes() noexcept {
        return {reinterpret_cast<unsigned char*>(m_lines.data()), m_size * sizeof(std::uint64_t)};
    }

private:
    static constexpr std::size_t kWords = 8;
    struct alignas(kWords * sizeof(std::uint64_t)) Line {
        std::array<std::uint64_t, kWords> words;
    };

    std::vector<Line> m_lines;
    std::size_t m_size;
};

}  // namespace orm_trace
