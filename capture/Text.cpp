#include "capture/Text.h"

#include <array>
#include <charconv>
#include <cstdio>

namespace orm_trace {
namespace {

bool IsControl(unsigned char byte) { return byte < 0x20 || byte == 0x7F; }

void AppendByte(std::string& text, unsigned char byte) {
    ((text += "\\x") += "0123456789ABCDEF"[byte >> 4]) += "0123456789ABCDEF"[byte & 0xF];
}

}  // namespace

std::string Escaped(std::string_view bytes) {
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (IsControl(byte) || byte > 0x7F) {
            AppendByte(text, byte);
        } else {
            text.append(c == '\\' ? 2 : 1, c);
        }
    }
    return text;
}

std::optional<std::string> Unescaped(std::string_view text) {
    std::string bytes;
    for (std::size_t n = 0; n < text.size(); ++n) {
        if (text[n] != '\\') {
            bytes += text[n];
        } else if (text.substr(n + 1, 1) == "\\") {
            bytes += text[++n];
        } else {
            unsigned char byte = 0;
            const char* const digits = text.data() + n + 2;
            if (text.size() - n < 4 || text[n + 1] != 'x' ||
                std::from_chars(digits, digits + 2, byte, 16).ptr != digits + 2) {
                return std::nullopt;
            }
            bytes += static_cast<char>(byte);
            n += 3;
        }
    }
    return bytes;
}

std::string WithoutControls(std::string_view text) {
    std::string clean;
    for (std::size_t n = 0; n < text.size(); ++n) {
        const auto byte = static_cast<unsigned char>(text[n]);
        const auto next = static_cast<unsigned char>(n + 1 < text.size() ? text[n + 1] : 0);
        if (IsControl(byte)) {
            AppendByte(clean, byte);
        } else if (byte == 0xC2 && next >= 0x80 && next < 0xA0) {  // a control character in UTF-8
            AppendByte(clean, byte);
            AppendByte(clean, next);
            ++n;
        } else {
            clean += text[n];
        }
    }
    return clean;
}

std::string HexOf(std::string_view bytes) {
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        (text += "0123456789abcdef"[byte >> 4]) += "0123456789abcdef"[byte & 0xF];
    }
    return text;
}

std::optional<std::string> BytesOfHex(std::string_view digits) {
    if (digits.size() % 2 != 0) return std::nullopt;
    std::string bytes(digits.size() / 2, '\0');
    for (std::size_t n = 0; n < bytes.size(); ++n) {
        unsigned byte = 0;
        const char* const at = digits.data() + 2 * n;
        if (std::from_chars(at, at + 2, byte, 16).ptr != at + 2) return std::nullopt;
        bytes[n] = static_cast<char>(byte);
    }
    return bytes;
}

std::string SectionLabel(std::string_view name, std::optional<std::uint64_t> version) {
    std::string text = '"' + Escaped(name) + '"';
    if (version) (text += ':') += std::to_string(*version);
    return text;
}

std::string OffsetText(std::uint64_t offset) {
    std::array<char, 24> text;
    std::snprintf(text.data(), text.size(), "0x%llX", static_cast<unsigned long long>(offset));
    return text.data();
}

bool IsUtf8(std::string_view bytes) {
    for (std::size_t n = 0; n < bytes.size();) {
        const auto lead = static_cast<unsigned char>(bytes[n]);
        const std::size_t length = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
        if ((lead >= 0x80 && lead < 0xC2) || lead > 0xF4 || length > bytes.size() - n) return false;
        std::uint32_t point = length == 1 ? lead : lead & (0x7FU >> length);
        for (std::size_t k = 1; k < length; ++k) {
            const auto byte = static_cast<unsigned char>(bytes[n + k]);
            if (byte >> 6 != 2) return false;
            point = point << 6 | (byte & 0x3FU);
        }
        constexpr std::array<std::uint32_t, 5> kSmallest{0, 0, 0x80, 0x800, 0x10000};
        if (point < kSmallest[length] || point > 0x10FFFF || (point >= 0xD800 && point < 0xE000)) return false;
        n += length;
    }
    return true;
}

}  // namespace orm_trace
