// Bytes of files, written so that a terminal and a reader can take them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orm_trace {

// Returns: bytes, with control and non-ASCII ones as \xNN, and a backslash as two.
std::string Escaped(std::string_view bytes);

// Returns: the bytes that Escaped has written so; nothing for a text with a backslash that begins neither.
std::optional<std::string> Unescaped(std::string_view text);

// Returns: text with its control bytes as \xNN: for paths and messages, whose encoding is that of the terminal.
std::string WithoutControls(std::string_view text);

// Returns: a number of things, as "1 section" or "2 sections".
std::string Counted(std::uint64_t number, std::string_view thing);

// Returns: for example: 1 of 9 bytes is missing
std::string Missing(std::uint64_t missing, std::uint64_t wanted, std::string_view thing);

// Returns: name and version as they are shown, "name":version.
std::string SectionLabel(std::string_view name, std::uint32_t version);

// Returns: a position in a file, as 0x1A40.
std::string Position(std::uint64_t offset);

// Returns: two digits for each byte, without a prefix.
std::string HexOf(std::string_view bytes);

bool IsUtf8(std::string_view bytes);

// Appends 0x and digits hexadecimal digits of the word.
void AppendHexWord(std::string& text, std::uint64_t word, int digits = 16);

}  // namespace orm_trace
