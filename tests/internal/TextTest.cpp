// Names, bytes and offsets as text, at the edges of what is shown as it is.
#include "capture/Text.h"

#include <gtest/gtest.h>

namespace {

using namespace orm_trace;
using namespace std::string_literals;

TEST(Text, EscapesAndTakesItBack) {
    // clang-format off
    const std::pair<std::string, std::string> rows[] = {
        {"", ""}, {"\x00\x09\x0A\x1F a"s, R"(\x00\x09\x0A\x1F a)"}, {R"(\\x41)", R"(\\\\x41)"}, {"a\\", R"(a\\)"},
        {"~\x7F\x80\x9F\xA0\xFA\xFF", R"(~\x7F\x80\x9F\xA0\xFA\xFF)"}};
    // clang-format on
    for (const auto& [bytes, text] : rows) {
        EXPECT_EQ(Escaped(bytes), text);
        EXPECT_EQ(Unescaped(text), bytes);
    }
    EXPECT_EQ(Unescaped(R"(\x0a\x411\xfF)"), "\nA1\xFF");
    for (const char* text : {"\\", "a\\", "\\n", "\\x", "\\x4", "\\x4g", "\\xg4", "\\X41", "\\y41", "\\\\\\"}) {
        EXPECT_EQ(Unescaped(text), std::nullopt) << text;
    }
    EXPECT_EQ(Unescaped(std::string_view("abcd\\x41", 7)), std::nullopt) << "not with what follows the text";
}

TEST(Text, ReplacesOnlyControls) {
    // clang-format off
    const std::pair<std::string, std::string> rows[] = {
        {"", ""}, {"\x01\x1F ~\x7F\\", R"(\x01\x1F ~\x7F\)"}, {"\xC2\x80z\xC2\x9Fz", R"(\xC2\x80z\xC2\x9Fz)"},
        {"\xC2\xA0\xC3\x85\x80\xFF", "\xC2\xA0\xC3\x85\x80\xFF"}, {"\xC2", "\xC2"}, {"z\xC2\x80", R"(z\xC2\x80)"},
        {"\xC2\x7F\xC2z", "\xC2\\x7F\xC2z"}};
    // clang-format on
    for (const auto& [text, clean] : rows) EXPECT_EQ(WithoutControls(text), clean);
    EXPECT_EQ(WithoutControls(std::string_view("\xC2\x80", 1)), "\xC2") << "not what follows the text";
}

TEST(Text, WritesNumbers) {
    EXPECT_EQ(HexOf("\x00\x1F\xA9\xFF"s), "001fa9ff");
    EXPECT_EQ(BytesOfHex("001fa9ff"), "\x00\x1F\xA9\xFF"s);
    EXPECT_EQ(BytesOfHex("001FA9fF"), "\x00\x1F\xA9\xFF"s);
    EXPECT_EQ(BytesOfHex(""), "");
    for (const char* digits : {"0", "001", "0g", "g0", "000g", "0x"}) EXPECT_EQ(BytesOfHex(digits), std::nullopt);
    EXPECT_EQ(SectionLabel("a\n"), R"("a\x0A")");
    EXPECT_EQ(SectionLabel("", 7), R"("":7)");
    const std::pair<std::uint64_t, const char*> offsets[] = {
        {0, "0x0"}, {0x1A40, "0x1A40"}, {UINT64_MAX, "0xFFFFFFFFFFFFFFFF"}};
    for (const auto& [offset, text] : offsets) EXPECT_EQ(OffsetText(offset), text);
}

TEST(Text, KnowsUtf8) {
    // clang-format off
    const std::tuple<bool, std::string> rows[] = {
        {true, ""}, {true, "\x00 ~\x7F"s}, {true, "\xC2\x80\xDF\xBFz"},
        {true, "\xE0\xA0\x80\xE1\x80\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBFz"},
        {true, "\xF0\x90\x80\x80\xF1\x80\x80\x80\xF4\x8F\xBF\xBFz"}, {false, "\x80"}, {false, "\xBFz"},
        {false, "\x82\x80"}, {false, "z\xC1\xBF"}, {false, "\xC2"}, {false, "\xC2\x41"}, {false, "\xC2\xC0"},
        {false, "\xE0\x9F\xBF"}, {false, "\xE1\x80"}, {false, "\xE1\x80\x41z"}, {false, "\xED\xA0\x80"},
        {false, "\xED\xBF\xBF"}, {false, "\xF0\x8F\xBF\xBF"}, {false, "\xF1\x80\x80"}, {false, "\xF1\x80\x80\xC0"},
        {false, "\xF4\x90\x80\x80"}, {false, "\xF5\x80\x80\x80"}, {false, "\xF9\xA0\x80\x80"},
        {false, "\xFF\x80\x80\x80"}};
    // clang-format on
    for (const auto& [isUtf8, bytes] : rows) EXPECT_EQ(IsUtf8(bytes), isUtf8) << Escaped(bytes);
    EXPECT_FALSE(IsUtf8(std::string_view("z\xC2\x80", 2))) << "nor does it complete what follows the text";
}

}  // namespace
