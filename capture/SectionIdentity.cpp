#include "capture/SectionIdentity.h"

#include <random>
#include <string>
#include <string_view>

namespace orm_trace {

using namespace Orm::Lux::Trace;

namespace {

// The polynomial of a section's bytes at a random place, modulo a prime: whoever does not know the place cannot choose
// names that have the same hash, which would make every search for one of them slow.
class RandomHash {
public:
    RandomHash() {
        std::random_device random;
        m_at = ((std::uint64_t{random()} << 32 | random()) & kPrime) | 1;
    }

    std::uint64_t Of(const TDFSection& section) const noexcept {
        std::uint64_t hash = section.version;
        for (const char c : section.name) hash = Next(hash, static_cast<unsigned char>(c) + 1U);
        return Next(hash, 1);
    }

private:
    __extension__ typedef unsigned __int128 Wide;
    static constexpr std::uint64_t kPrime = (std::uint64_t{1} << 61) - 1;

    std::uint64_t Next(std::uint64_t hash, std::uint64_t number) const noexcept {
        const Wide product = Wide{hash} * m_at + number;
        const std::uint64_t sum =
            static_cast<std::uint64_t>(product & kPrime) + static_cast<std::uint64_t>(product >> 61);
        return sum >= kPrime ? sum - kPrime : sum;
    }

    std::uint64_t m_at;
};

}  // namespace

std::uint64_t HashOf(const TDFSection& section) {
    constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15;  // over all bits
    static const RandomHash hash;
    return hash.Of(section) * kSpread;
}

bool IsSameAt(const InputFile& file, std::uint64_t offset, const TDFSection& section) {
    std::string header(section.HeaderSize(), '\0');
    if (file.ReadAt(offset, header.data(), header.size()) < header.size()) return false;
    const FixedHeader fields =
        StoreHeader(section.length, section.version, static_cast<std::uint32_t>(section.name.size()));
    std::string expected(fields.begin(), fields.end());
    expected += section.name;
    return std::string_view(header).substr(kFieldSize) == std::string_view(expected).substr(kFieldSize);
}

}  // namespace orm_trace
