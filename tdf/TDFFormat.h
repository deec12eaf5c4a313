// The TDF container format: identifier, limits, field sizes and byte order, for code that reads or writes it.
// Private to the library. docs/tdf.5.md describes the format.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace Orm::Lux::Trace {

using TDFIdentifier = std::array<unsigned char, 4>;
inline constexpr TDFIdentifier kTDFIdentifier{'T', 'D', 'F', '2'};

inline constexpr const char* kTDFExtension = "tdf";

inline constexpr std::uint32_t kFieldSize = 4;
inline constexpr std::uint32_t kFixedHeaderSize = kFieldSize + kFieldSize + kFieldSize;  // length, version, name length

// What a reader follows; beyond either limit the chain of sections ends.
inline constexpr std::uint32_t kMaxSectionLength = 128U << 20;  // header included
inline constexpr std::uint32_t kMaxNameLength = 4095;
inline constexpr std::uint64_t kMaxPosition = 0xFFFFFFFF;  // of the end of a section

inline constexpr std::uint32_t LoadLittleEndian(const unsigned char* p) noexcept {
    return std::uint32_t{p[0]} | std::uint32_t{p[1]} << 8 | std::uint32_t{p[2]} << 16 | std::uint32_t{p[3]} << 24;
}

using Field = std::array<unsigned char, kFieldSize>;

inline constexpr Field StoreLittleEndian(std::uint32_t value) noexcept {
    return {static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8),
            static_cast<unsigned char>(value >> 16), static_cast<unsigned char>(value >> 24)};
}

using FixedHeader = std::array<unsigned char, kFixedHeaderSize>;

// The fixed fields of a header.
struct HeaderFields {
    std::uint32_t length = 0;  // of the section, header included
    std::uint32_t version = 0;
    std::uint32_t nameLength = 0;
};

// REQUIRES: p has kFixedHeaderSize bytes.
inline constexpr HeaderFields DecodeFields(const unsigned char* p) noexcept {
    return {LoadLittleEndian(p), LoadLittleEndian(p + kFieldSize), LoadLittleEndian(p + 2 * kFieldSize)};
}

inline constexpr FixedHeader StoreHeader(std::uint32_t length, std::uint32_t version,
                                         std::uint32_t nameLength) noexcept {
    FixedHeader bytes{};
    unsigned char* at = bytes.data();
    for (const std::uint32_t value : {length, version, nameLength}) {
        for (const unsigned char byte : StoreLittleEndian(value)) *at++ = byte;
    }
    return bytes;
}

}  // namespace Orm::Lux::Trace
