// Text to numbers, the edits of text, and the formats of times, beside the C library and plain loops.
#include <cerrno>

#include "fuzz/Fuzz.h"
#include "source_utilities/uString.h"
#include "source_utilities/uTimeSnapshot.h"

using namespace fuzz;
using ORM_LUX::uString;

namespace {

// What the standard streams read as one number, and strtol and its kind do not: they skip a second prefix.
void CheckNumbers(const std::string& text) {
    if (text.empty()) return Require(!ErrorOf([&] { uString::ToNumeric<long>(""); }).empty());
    const char* digits = text.c_str();
    int base = 10;
    if (text[0] == '0' && text.size() > 1) {
        const bool isHex = text[1] == 'x' || text[1] == 'X';
        base = isHex ? 16 : 8;
        digits += isHex ? 2 : 1;
    }
    Require(uString::ToNumeric<long>(text.c_str()) == std::strtol(digits, nullptr, base));
    Require(uString::ToLong(text.c_str()) == uString::ToNumeric<long>(text.c_str()));
    Require(uString::ToNumeric<unsigned long>(text.c_str()) == std::strtoul(digits, nullptr, base));
    // A stream reads only decimal numbers, and only complete ones.
    std::string decimal(digits, std::strspn(digits, " \t\n\v\f\r"));
    decimal += std::string(digits + decimal.size(), std::strspn(digits + decimal.size(), "+-.eE0123456789"));
    char* end = nullptr;
    const double expected = std::strtod(decimal.c_str(), &end);
    const double value = uString::ToDouble(text.c_str());
    if (*end == '\0' && std::abs(expected) < 1e308) Require(value == expected);
    Require(value == value);
}

std::vector<std::string> Fields(const std::string& text, const std::string& delim) {
    std::vector<std::string> fields;
    for (std::size_t at = 0, end = 0; at < text.size(); at = end + delim.size()) {
        end = delim.empty() ? text.size() : std::min(text.find(delim, at), text.size());
        fields.push_back(text.substr(at, end - at));
    }
    return fields;
}

std::string Replaced(const std::string& text, const std::string& from, const std::string& to) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const bool isHere = !from.empty() && text.compare(at, from.size(), from) == 0;
        result += isHere ? to : text.substr(at, 1);
        at += isHere ? from.size() : 1;
    }
    return result;
}

void CheckEdits(const std::string& text, const std::string& a, const std::string& b) {
    std::vector<std::string> parts{"old"}, expected = Fields(text, a);
    Require(uString::Split(parts, text.c_str(), a.c_str()) == expected.size() + 1);
    Require(std::vector<std::string>(parts.begin() + 1, parts.end()) == expected);
    std::string first, rest, copy = text;
    const std::size_t cut = text.find(a);
    const unsigned count = uString::Split(text.c_str(), first, rest, a.c_str());
    Require(count == (text.empty() ? 0U : cut != text.npos ? 2U : 1U) || (text.empty() && a.empty()));
    Require(first == text.substr(0, cut) && rest == (cut != text.npos ? text.substr(cut + a.size()) : ""));
    Require(uString::Replace(copy, a.c_str(), b.c_str()) == Replaced(text, a, b));
    std::string leading = text, trailing = text;
    const std::size_t begin = std::min(text.find_first_not_of(a), text.size());
    Require(uString::StripLeading(leading, a.c_str()) == text.substr(begin));
    Require(uString::StripTrailing(trailing, a.c_str()) == text.substr(0, text.find_last_not_of(a) + 1));
}

// ReplaceString as it is documented.
int ReplaceToken(std::string& text, std::size_t room, const std::string& token, const std::string& by) {
    int count = 0;
    if (token.empty()) return 0;
    for (std::size_t at = text.find(token); at != text.npos; at = text.find(token, at + 1)) ++count;
    const auto growth = static_cast<long>(by.size()) - static_cast<long>(token.size());
    if (static_cast<long>(text.size()) + count * growth > static_cast<long>(room) - 1) return 0;
    std::size_t at = 0;
    for (int n = 0; n < count && (at = text.find(token, at)) != text.npos; ++n, ++at)
        text.replace(at, token.size(), by);
    return count;
}

void CheckTime(const std::string& text, const std::string& token, const std::string& by, Input& input) {
    ORM_LUX::uTimeSnapshot time(false);
    const std::size_t room = input.Number() + 1;
    std::vector<char> buffer(room);  // its end is guarded
    const std::string cut = text.substr(0, room - 1);
    std::copy(cut.begin(), cut.end(), buffer.begin());
    std::string expected = cut;
    const int count = ReplaceToken(expected, room, token, by);
    Require(time.ReplaceString(buffer.data(), static_cast<int>(room), token.c_str(), by.c_str()) == count);
    Require(buffer.data() == expected);

    time.m_status = input.Number() % 2;
    time.m_year = input.Number<std::int16_t>();
    for (unsigned* const field : {&time.m_month, &time.m_day, &time.m_hour, &time.m_minute, &time.m_second})
        *field = input.Number() % 64;
    time.m_milli = input.Number<std::uint16_t>() % 1000;
    expected = cut;
    char digits[8];
    std::snprintf(digits, sizeof digits, "%03u", time.m_milli);
    ReplaceToken(expected, room, "%s", digits);
    ReplaceToken(expected, room, "%#s", std::to_string(time.m_milli));
    std::tm fields{};
    time.ConvertTime(&fields);
    std::vector<char> formatted(room);
    if (strftime(formatted.data(), room, expected.c_str(), &fields) == 0) formatted[0] = '\0';
    expected = time.m_status == ORM_LUX::uTimeSnapshot::STATUS_INVALID ? std::string("Invalid time").substr(0, room - 1)
                                                                       : formatted.data();
    Require(time.FormatTime(buffer.data(), static_cast<int>(room), text.c_str()) == expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const unsigned what = input.Number() % 3;
    const std::string text = input.Text(), a = input.Text(), b = input.Text();
    if (what == 0) CheckNumbers(text);
    if (what == 1) CheckEdits(text, a, b);
    if (what == 2) CheckTime(text, a, b, input);
    return 0;
}
