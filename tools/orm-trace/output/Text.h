// Numbers and bytes as text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "capture/Text.h"

namespace orm_trace {

// Returns: a number of things, as "1 section" or "2 sections".
std::string Counted(std::uint64_t number, std::string_view thing);

// Returns: for example: 1 of 9 bytes is missing
std::string Missing(std::uint64_t missing, std::uint64_t wanted, std::string_view thing);

// Writes the last digits hexadecimal digits of the word to out, without a terminator.
inline void PutHex(char* out, std::uint64_t word, int digits) noexcept {
    for (int n = digits; n-- > 0; word >>= 4) out[n] = "0123456789abcdef"[word & 0xF];
}

// Appends 0x and the last digits hexadecimal digits of the word, at most 16.
void AppendHexWord(std::string& text, std::uint64_t word, int digits = 16);

void AppendDec(std::string& text, std::uint64_t number);

}  // namespace orm_trace
