// Text to numbers and back, and edits of text.
#include "source_utilities/uString.h"

#include <cmath>
#include <functional>
#include <locale>

#include "source_utilities/uEngineeringUnits.h"
#include "support/ChangedLocale.h"

namespace {

using ORM_LUX::uString;
using Units = ORM_LUX::uEngineeringUnits;
using test::Show;

// Groups digits and writes a decimal comma, as a host's locale may.
struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

// The fuzz target has a model of numbers and of edits; here are the host's locale, and what the model leaves out.
TEST(uString, ReadsNumbers) {
    const std::pair<const char*, unsigned long> rows[] = {
        {"1.234", 1}, {"+5", 5}, {"0x-1", -1UL}, {"08", 0}, {"0x", 0}, {" 0x10", 0}, {"18446744073709551616", -1UL}};
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Grouping));
    for (const auto& [text, number] : rows) EXPECT_EQ(uString::ToNumeric<unsigned long>(text), number) << text;
    EXPECT_EQ(Show(uString::ToLong("-12"), uString::ToLong("-0x10"), uString::ToInt64("-9223372036854775809"),
                   uString::ToInt64("0x7FFFFFFFFFFFFFFF")),
              "-12 0 -9223372036854775808 9223372036854775807");
    EXPECT_EQ(Show(uString::ToDouble("3.5e2"), uString::ToDouble("0.25"), uString::ToDouble("-0.5"),
                   uString::ToDouble("0x1A"), uString::ToDouble("1e999")),
              "350 0.25 -0.5 1 1.79769e+308");
    std::locale::global(before);
    for (const char* text : {"true", "TRUE", "True"}) EXPECT_TRUE(uString::ToBool(text)) << text;
    for (const char* text : {"false", "FALSE", "False"}) EXPECT_FALSE(uString::ToBool(text)) << text;
}

TEST(uString, RefusesOtherTexts) {
    std::string s = "kept", rest = "kept";
    std::vector<std::string> parts;
    const std::pair<std::function<void()>, const char*> rows[] = {
        {[] { uString::ToNumeric<unsigned long>(nullptr); }, "unable to convert null string to numeric"},
        {[] { uString::ToLong(""); }, "unable to convert empty string to numeric"},
        {[] { uString::ToDouble(nullptr); }, "unable to convert null string to numeric"},
        {[] { uString::ToBool(nullptr); }, "unable to convert null string to boolean"},
        {[] { uString::ToBool(""); }, "unable to convert empty string to boolean"},
        {[] { uString::ToBool("1"); }, "unable to convert \"1\" to boolean"},
        {[] { uString::ToBool("tRUE"); }, "unable to convert \"tRUE\" to boolean"},
        {[] { uString::ToBool(" true"); }, "unable to convert \" true\" to boolean"},
        {[] { uString::ToBool("true "); }, "unable to convert \"true \" to boolean"},
        {[&] { uString::Split(nullptr, s, rest, nullptr); }, "unable to split null string"},
        {[&] { uString::Split("a", s, rest, nullptr); }, "unable to split with null delimeter"},
        {[&] { uString::Split(parts, nullptr, ","); }, "unable to split null string"},
        {[&] { uString::Split(parts, "a", nullptr); }, "unable to split with null delimeter"},
        {[&] { uString::Replace(s, nullptr, ""); }, "unable to perform string replacement from null original text"},
        {[&] { uString::Replace(s, "a", nullptr); },
         "unable to perform string replacement with null replacement text"}};
    for (const auto& [call, error] : rows) EXPECT_EQ(test::ErrorOf<uString::error>(call), error);
    EXPECT_EQ(Show(s, rest, parts.size()), "kept kept 0");
}

TEST(uString, WritesNumbers) {
    // clang-format off
    const std::tuple<int, std::ios::fmtflags, int, char, const char*> rows[] = {
        {7, {}, 0, '\0', "log_7"}, {11162026, {}, 0, '\0', "log_11162026"}, {7, std::ios::showpos, 0, '\0', "log_+7"},
        {255, std::ios::hex, 0, '\0', "log_255"}, {42, {}, 6, '\0', "log_42"}, {42, {}, 6, '0', "log_000042"},
        {42, std::ios::left, 6, '.', "log_42...."}};
    // clang-format on
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Grouping));
    for (const auto& [value, flags, width, fill, text] : rows) {
        std::string out = "log_";
        EXPECT_EQ(uString::FromNumeric<int>(out, value, flags, 0, width, fill), text);
    }
    std::string out;
    EXPECT_EQ(uString::FromNumeric<unsigned long>(out, -1UL, {}, 3, 0, '\0'), "18446744073709551615");
    std::locale::global(before);

    EXPECT_STREQ(uString::FromBool(true, out, false), "true");
    EXPECT_STREQ(uString::FromBool(out, false), "truefalse");
    EXPECT_STREQ(uString::FromLong(-1, out, false, nullptr), "-1");
    EXPECT_STREQ(uString::FromLong(out, 255, " %lx"), "-1 ff");
    EXPECT_STREQ(uString::FromDouble(0.5, out, false, nullptr), "0.500000");
    EXPECT_STREQ(uString::FromDouble(out, 2, "/%.1f"), "0.500000/2.0");
    EXPECT_EQ(std::string(uString::FromDouble(1e300, out, false, "%2000f")).size(), 1023U);

    // A host whose decimal point is a comma: what is written can be read, and the host's locale stays.
    const test::ChangedLocale comma(LC_NUMERIC, "LC_NUMERIC", ".", ",");
    EXPECT_EQ(uString::ToDouble(uString::FromDouble(3.75, out, false, nullptr)), 3.75) << out;
    EXPECT_STREQ(uString::FromDoubleInEngrUnits(4700, out, false, "%.1f", true), "4.7k");
    EXPECT_STREQ(std::localeconv()->decimal_point, ",");
}

TEST(uString, WritesEngineeringUnits) {
    // clang-format off
    const std::string names[] = {"yocto", "zepto", "atto", "femto", "pico", "nano", "micro", "milli", "", "kilo", "mega",
                                 "giga", "tera", "peta", "exa", "zetta", "yotta"};
    const std::tuple<double, const char*, const char*> rows[] = {
        {1, "%f", "1.000000"}, {1000, "%g", "1k"}, {999.999, "%g", "999.999"}, {0, nullptr, "0.000000y"},
        {-5, "%g", "-5e+24y"}, {2e27, "%g", "2000Y"}, {std::nan(""), "%g", "nany"}};
    const double binary[] = {Units::kibi, Units::mebi, Units::gibi, Units::tebi, Units::pebi, Units::exbi, Units::zebi,
                             Units::yobi};
    // clang-format on
    std::string out;
    for (int n = 0; n < 17; ++n) {
        const char symbol[] = {"yzafpnum\0kMGTPEZY"[n], '\0'};
        const double value = 1.5 * std::pow(10, 3 * n - 24);
        EXPECT_EQ(uString::FromDoubleInEngrUnits(value, out, false, "%g", true), std::string("1.5") + symbol);
        EXPECT_EQ(uString::FromDoubleInEngrUnits(value, out, false, "%g", false), "1.5" + names[n]);
    }
    for (const auto& [value, format, text] : rows) {
        EXPECT_EQ(uString::FromDoubleInEngrUnits(out = "<", value, format, true), std::string("<") + text);
    }
    for (int n = 0; n < 8; ++n) EXPECT_EQ(binary[n], std::ldexp(1, 10 * n + 10)) << n;
}

TEST(uString, EditsATextByItself) {
    std::string first = "?", rest = "a,,b,";
    EXPECT_EQ(uString::Split(rest.c_str(), first, rest, ","), 2U);
    EXPECT_EQ(first + "|" + rest, "a|,b,");
    std::string s = "ab";
    EXPECT_STREQ(uString::Replace(s, s.c_str() + 1, s.c_str()), "aab");
}

}  // namespace
