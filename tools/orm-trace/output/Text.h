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

// Appends 0x and digits hexadecimal digits of the word.
void AppendHexWord(std::string& text, std::uint64_t word, int digits = 16);

}  // namespace orm_trace
