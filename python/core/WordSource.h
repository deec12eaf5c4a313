// Words that questions are asked of.
#pragma once

#include <pybind11/numpy.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>

#include "analysis/BlockCounts.h"
#include "analysis/Word.h"
#include "capture/WordBuffer.h"
#include "python/core/Capture.h"
#include "python/core/Unlocked.h"

namespace orm_trace {

// An array, or words of a file that are read as they are needed.
class WordSource {
public:
    using Array = pybind11::array_t<std::uint64_t, pybind11::array::c_style>;

    explicit WordSource(Array array)
        : m_array(std::move(array)),
          m_bytes(static_cast<const char*>(static_cast<const void*>(m_array->data()))),
          m_count(static_cast<std::uint64_t>(m_array->size())) {}
    // Errors: ValueError, when the capture is closed.
    WordSource(const Capture& capture, std::uint64_t offset, std::uint64_t count)
        : m_file(capture.File()), m_offset(offset), m_count(count) {}

    std::uint64_t Count() const noexcept { return m_count; }

    // Calls visit(words, first) with one part after the other. Each but the last has a multiple of kBlockWords.
    // Errors: those of OpenFile::Read, of visit, and of signal handlers.
    template <class Visit> void ForEachPart(Unlocked& unlocked, Visit visit) const {
        if (!m_file && IsAligned()) {
            const auto* array = reinterpret_cast<const std::uint64_t*>(m_bytes);
            for (std::uint64_t first = 0; first < m_count; first += kPart) {
                const Words words(array + first, PartAt(first));
                visit(words, first);
                unlocked.Count(words.size_bytes());
            }
            return;
        }
        WordBuffer buffer(PartAt(0));
        for (std::uint64_t first = 0; first < m_count; first += kPart) {
            const std::span<std::uint64_t> words = buffer.Words().first(PartAt(first));
            Read(first, words);
            visit(Words(words), first);
            unlocked.Count(words.size_bytes());
        }
    }

    // Reads words from this one on; there are enough of them. Errors: those of OpenFile::Read.
    void Read(std::uint64_t first, std::span<std::uint64_t> words) const {
        if (m_file) return m_file->Read(m_offset + first * sizeof(std::uint64_t), words);
        std::memcpy(words.data(), m_bytes + first * sizeof(std::uint64_t), words.size_bytes());
    }

private:
    static constexpr std::uint64_t kPart = 4 * kBlockWords;  // words, 128 KiB

    std::size_t PartAt(std::uint64_t first) const noexcept {
        return static_cast<std::size_t>(std::min(kPart, m_count - first));
    }
    // An array that shows a file is aligned only where the samples begin at a multiple of their size.
    bool IsAligned() const noexcept { return reinterpret_cast<std::uintptr_t>(m_bytes) % alignof(std::uint64_t) == 0; }

    std::optional<Array> m_array;
    const char* m_bytes = nullptr;  // of the array
    std::shared_ptr<const OpenFile> m_file;
    std::uint64_t m_offset = 0;  // in the file
    std::uint64_t m_count;
};

}  // namespace orm_trace
