#include "source_utilities/uString.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <functional>
#include <limits>
#include <locale>

#include "source_utilities/uEngineeringUnits.h"

namespace {

using ORM_LUX::uEngineeringUnits;
using ORM_LUX::uString;

// Returns: the text of the uString::error that call throws, "" when it throws none.
std::string ErrorOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const uString::error& error) {
        return error.what();
    }
    return "";
}

// A locale that groups digits and writes a decimal comma, as a host may have set.
struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};
class HostLocale {
public:
    HostLocale() : m_before(std::locale::global(std::locale(std::locale::classic(), new Grouping))) {}
    ~HostLocale() { std::locale::global(m_before); }

private:
    std::locale m_before;
};

TEST(uString, ReadsNumbers) {
    const struct {
        const char* text;
        unsigned long number;
    } rows[] = {{"0x1F", 31},
                {"0X1f", 31},
                {"017", 15},
                {"08", 0},
                {"0", 0},
                {"0x", 0},
                {"42abc", 42},
                {" 42", 42},
                {" 0x10", 0},
                {"abc", 0},
                {"+5", 5},
                {"-1", ULONG_MAX},
                {"1.234", 1},
                {"00", 0},
                {"0x-1", ULONG_MAX},
                {"18446744073709551615", ULONG_MAX},
                {"18446744073709551616", ULONG_MAX}};
    const HostLocale locale;
    for (const auto& row : rows) EXPECT_EQ(uString::ToNumeric<unsigned long>(row.text), row.number) << row.text;
    EXPECT_EQ(uString::ToLong("-12"), -12);
    EXPECT_EQ(uString::ToLong("-0x10"), 0);
    EXPECT_EQ(uString::ToInt64("-9223372036854775809"), LONG_MIN);
    EXPECT_EQ(uString::ToInt64("0x7FFFFFFFFFFFFFFF"), LONG_MAX);
    EXPECT_EQ(uString::ToDouble("3.5e2"), 350);
    EXPECT_EQ(uString::ToDouble("0.25"), 0.25);
    EXPECT_EQ(uString::ToDouble("-0.5"), -0.5);
    EXPECT_EQ(uString::ToDouble("0x1A"), 1);
    EXPECT_EQ(uString::ToDouble("1e999"), std::numeric_limits<double>::max());
}

TEST(uString, ReadsBooleans) {
    for (const char* text : {"true", "TRUE", "True"}) EXPECT_TRUE(uString::ToBool(text)) << text;
    for (const char* text : {"false", "FALSE", "False"}) EXPECT_FALSE(uString::ToBool(text)) << text;
    for (const std::string text : {"1", " true", "tRUE", "yes", "true "}) {
        EXPECT_EQ(ErrorOf([&] { uString::ToBool(text.c_str()); }), "unable to convert \"" + text + "\" to boolean");
    }
}

TEST(uString, RefusesNullAndEmptyTexts) {
    std::string s = "kept";
    std::string rest = "kept";
    std::vector<std::string> parts;
    const struct {
        std::function<void()> call;
        const char* error;
    } rows[] = {{[] { uString::ToNumeric<unsigned long>(nullptr); }, "unable to convert null string to numeric"},
                {[] { uString::ToLong(""); }, "unable to convert empty string to numeric"},
                {[] { uString::ToDouble(nullptr); }, "unable to convert null string to numeric"},
                {[] { uString::ToBool(nullptr); }, "unable to convert null string to boolean"},
                {[] { uString::ToBool(""); }, "unable to convert empty string to boolean"},
                {[&] { uString::Split(nullptr, s, rest, nullptr); }, "unable to split null string"},
                {[&] { uString::Split("a", s, rest, nullptr); }, "unable to split with null delimeter"},
                {[&] { uString::Split(parts, nullptr, ","); }, "unable to split null string"},
                {[&] { uString::Split(parts, "a", nullptr); }, "unable to split with null delimeter"},
                {[&] { uString::Replace(s, nullptr, nullptr); },
                 "unable to perform string replacement from null original text"},
                {[&] { uString::Replace(s, "a", nullptr); },
                 "unable to perform string replacement with null replacement text"}};
    for (const auto& row : rows) EXPECT_EQ(ErrorOf(row.call), row.error);
    EXPECT_EQ(s + rest, "keptkept");
    EXPECT_TRUE(parts.empty());
}

TEST(uString, WritesNumbers) {
    const HostLocale locale;
    const auto number = [](int value, std::ios::fmtflags flags, int width, char fill) {
        std::string out = "log_";
        return uString::FromNumeric<int>(out, value, flags, 0, width, fill);
    };
    EXPECT_EQ(number(7, {}, 0, '\0'), "log_7");
    EXPECT_EQ(number(11162026, {}, 0, '\0'), "log_11162026");
    EXPECT_EQ(number(7, std::ios::showpos, 0, '\0'), "log_+7");
    EXPECT_EQ(number(255, std::ios::hex, 0, '\0'), "log_255");
    EXPECT_EQ(number(42, {}, 6, '\0'), "log_42");
    EXPECT_EQ(number(42, {}, 6, '0'), "log_000042");
    EXPECT_EQ(number(42, std::ios::left, 6, '.'), "log_42....");
    std::string out;
    EXPECT_EQ(uString::FromNumeric<unsigned long>(out, ULONG_MAX, {}, 3, 0, '\0'), "18446744073709551615");

    out = "x";
    EXPECT_STREQ(uString::FromBool(true, out, false), "true");
    EXPECT_STREQ(uString::FromBool(out, false), "truefalse");
    EXPECT_STREQ(uString::FromLong(LONG_MIN, out, false, nullptr), "-9223372036854775808");
    EXPECT_STREQ(uString::FromLong(out, 255, " %lx"), "-9223372036854775808 ff");
    EXPECT_STREQ(uString::FromDouble(0.5, out, false, nullptr), "0.500000");
    EXPECT_STREQ(uString::FromDouble(out, 2, "/%.1f"), "0.500000/2.0");
    EXPECT_EQ(std::string(uString::FromDouble(1e300, out, false, "%2000f")).size(), 1023U);
}

TEST(uString, WritesEngineeringUnits) {
    const struct {
        double value;
        const char* text;
        const char* name;
    } rows[] = {{4700, "4.700000k", "4.700000kilo"},
                {0.012, "12.000000m", "12.000000milli"},
                {1.5, "1.500000", "1.500000"},
                {1, "1.000000", "1.000000"},
                {1000, "1.000000k", "1.000000kilo"},
                {999.999, "999.999000", "999.999000"},
                {0, "0.000000y", "0.000000yocto"},
                {2e24, "2.000000Y", "2.000000yotta"},
                {3e-6, "3.000000u", "3.000000micro"},
                {uEngineeringUnits::zepto, "1.000000z", "1.000000zepto"},
                {uEngineeringUnits::peta, "1.000000P", "1.000000peta"}};
    std::string out;
    for (const auto& row : rows) {
        EXPECT_STREQ(uString::FromDoubleInEngrUnits(row.value, out, false, nullptr, true), row.text);
        EXPECT_STREQ(uString::FromDoubleInEngrUnits(row.value, out, false, nullptr, false), row.name);
    }
    EXPECT_STREQ(uString::FromDoubleInEngrUnits(-5, out, false, "%g", true), "-5e+24y");
    EXPECT_STREQ(uString::FromDoubleInEngrUnits(out, std::nan(""), "%g", true), "-5e+24ynany");
    EXPECT_EQ(uEngineeringUnits::yobi, std::pow(2, 80));
    EXPECT_EQ(uEngineeringUnits::kibi * uEngineeringUnits::mebi * uEngineeringUnits::gibi, uEngineeringUnits::exbi);
}

TEST(uString, Splits) {
    const struct {
        const char* text;
        const char* delim;
        unsigned result;
        const char* first;
        const char* rest;
        std::vector<std::string> parts;
    } rows[] = {{"a,b,c", ",", 2, "a", "b,c", {"a", "b", "c"}},
                {"abc", ",", 1, "abc", "", {"abc"}},
                {"", ",", 0, "", "", {}},
                {"a,,b", ",", 2, "a", ",b", {"a", "", "b"}},
                {"a,b,", ",", 2, "a", "b,", {"a", "b"}},
                {",a", ",", 2, "", "a", {"", "a"}},
                {"x::y", "::", 2, "x", "y", {"x", "y"}},
                {"abc", "", 2, "", "abc", {"abc"}},
                {"", "", 2, "", "", {}}};
    for (const auto& row : rows) {
        std::string first = "?";
        std::string rest = row.text;
        EXPECT_EQ(uString::Split(rest.c_str(), first, rest, row.delim), row.result) << row.text;
        EXPECT_EQ(first, row.first) << row.text;
        EXPECT_EQ(rest, row.rest) << row.text;
        std::vector<std::string> parts{"before"};
        EXPECT_EQ(uString::Split(parts, row.text, row.delim), row.parts.size() + 1) << row.text;
        parts.erase(parts.begin());
        EXPECT_EQ(parts, row.parts) << row.text;
    }
}

TEST(uString, ReplacesAndStrips) {
    const struct {
        const char* text;
        const char* from;
        const char* to;
        const char* result;
    } rows[] = {{"abcabc", "abc", "x", "xx"}, {"aba", "a", "aa", "aabaa"}, {"a////b", "//", "/", "a//b"},
                {"abc", "", "x", "abc"},      {"aaa", "aa", "b", "ba"},    {"abc", "d", "x", "abc"},
                {"xx", "x", "", ""}};
    for (const auto& row : rows) {
        std::string s = row.text;
        EXPECT_STREQ(uString::Replace(s, row.from, row.to), row.result);
    }
    std::string s = "ab";
    EXPECT_STREQ(uString::Replace(s, s.c_str() + 1, s.c_str()), "aab") << "arguments within the text";
    s = " \tx ";
    EXPECT_EQ(uString::StripLeading(s, " \t"), "x ");
    s = " \tx ";
    EXPECT_EQ(uString::StripTrailing(s, " \t"), " \tx");
    s = "   ";
    EXPECT_EQ(uString::StripLeading(s, " "), "");
    s = "   ";
    EXPECT_EQ(uString::StripTrailing(s, " "), "");
}

}  // namespace
