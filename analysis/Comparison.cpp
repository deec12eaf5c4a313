#include "analysis/Comparison.h"

#include <algorithm>
#include <cstring>

namespace orm_trace {

void Comparison::Add(Words a, Words b) {
    constexpr std::size_t kBlock = 512;  // words that are compared as bytes first
    for (std::size_t at = 0; at < a.size(); at += kBlock) {
        const std::size_t size = std::min(kBlock, a.size() - at);
        const Words blockA = a.subspan(at, size), blockB = b.subspan(at, size);
        if (std::memcmp(blockA.data(), blockB.data(), blockA.size_bytes()) != 0) AddBlock(blockA, blockB);
        m_compared += size;
    }
}

void Comparison::AddBlock(Words a, Words b) {
    for (std::size_t n = 0; n < a.size(); ++n) {
        if (((a[n] ^ b[n]) & m_settings.mask) == 0) continue;
        if (m_settings.ignored[TypeOf(a[n])] && m_settings.ignored[TypeOf(b[n])]) continue;
        const Difference difference{m_compared + n, a[n], b[n]};
        if (m_differing++ == 0) m_first = difference;
        if (m_kept.size() < m_settings.limit) m_kept.push_back(difference);
    }
}

}  // namespace orm_trace
