// Numbers as the command line and input lines write them.
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

namespace orm_trace {

// Returns: the 64-bit number that text is, decimal or hexadecimal with 0x; nothing for any other text.
inline std::optional<std::uint64_t> ParseNumber(std::string_view text) {
    const bool isHex = text.substr(0, 2) == "0x" || text.substr(0, 2) == "0X";
    if (isHex) text.remove_prefix(2);
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, isHex ? 16 : 10);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

}  // namespace orm_trace
