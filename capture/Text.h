// Names and offsets as text.
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

// Returns: two digits for each byte, without a prefix; and the bytes of such digits, nothing for another text.
std::string HexOf(std::string_view bytes);
std::optional<std::string> BytesOfHex(std::string_view digits);

// Returns: text with its control bytes as \xNN: for paths and messages, whose encoding is that of the terminal.
std::string WithoutControls(std::string_view text);

// Returns: a section's name as it is shown, "name", and with a version "name":version.
std::string SectionLabel(std::string_view name, std::optional<std::uint64_t> version = {});

// Returns: an offset in a file, as 0x1A40.
std::string OffsetText(std::uint64_t offset);

bool IsUtf8(std::string_view bytes);

}  // namespace orm_trace
