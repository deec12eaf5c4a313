#include "source_utilities/uString.h"

#include <locale.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <locale>
#include <sstream>
#include <string_view>

#include "source_utilities/uEngineeringUnits.h"

namespace ORM_LUX {
namespace {

struct Base {
    std::ios::fmtflags flag;
    const char* digits;  // after the prefix
};

// REQUIRES: str is not empty.
Base BaseOf(const char* str) {
    if (str[0] != '0' || str[1] == '\0') return {std::ios::dec, str};
    if (str[1] == 'x' || str[1] == 'X') return {std::ios::hex, str + 2};
    return {std::ios::oct, str + 1};
}

const char* Put(std::string& out, bool append, std::string_view text) {
    if (!append) out.clear();
    out.append(text);
    return out.c_str();
}

// While this exists, the C library formats in the locale "C" in this thread, in which the text is read back too.
class ClassicLocale {
public:
    ClassicLocale() noexcept {
        static const locale_t classic = newlocale(LC_ALL_MASK, "C", nullptr);
        m_before = uselocale(classic);
    }
    ~ClassicLocale() { uselocale(m_before); }
    ClassicLocale(const ClassicLocale&) = delete;
    ClassicLocale& operator=(const ClassicLocale&) = delete;

private:
    locale_t m_before;
};

template <class T> const char* PutFormatted(std::string& out, bool append, const char* format, T value) {
    std::array<char, 1024> buffer{};
    {
        const ClassicLocale locale;
        std::snprintf(buffer.data(), buffer.size(), format, value);
    }
    return Put(out, append, buffer.data());
}

struct Prefix {
    double divisor;
    const char* symbol;
    const char* name;
};

using Units = uEngineeringUnits;
const std::array<Prefix, 17>& Prefixes() {
    static const std::array<Prefix, 17> prefixes{{{Units::yotta, "Y", "yotta"},
                                                  {Units::zetta, "Z", "zetta"},
                                                  {Units::exa, "E", "exa"},
                                                  {Units::peta, "P", "peta"},
                                                  {Units::tera, "T", "tera"},
                                                  {Units::giga, "G", "giga"},
                                                  {Units::mega, "M", "mega"},
                                                  {Units::kilo, "k", "kilo"},
                                                  {1.0, "", ""},
                                                  {Units::milli, "m", "milli"},
                                                  {Units::micro, "u", "micro"},
                                                  {Units::nano, "n", "nano"},
                                                  {Units::pico, "p", "pico"},
                                                  {Units::femto, "f", "femto"},
                                                  {Units::atto, "a", "atto"},
                                                  {Units::zepto, "z", "zepto"},
                                                  {Units::yocto, "y", "yocto"}}};
    return prefixes;
}

}  // namespace

uString::error::error(const std::string& message) : source_utilities_error(message) {}

uString::error::~error() = default;

template <class T> T uString::ToNumeric(const char* str) {
    if (str == nullptr) throw error("unable to convert null string to numeric");
    if (*str == '\0') throw error("unable to convert empty string to numeric");
    const Base base = BaseOf(str);
    std::istringstream stream{std::string(base.digits)};
    stream.imbue(std::locale::classic());
    stream.setf(base.flag, std::ios::basefield);
    T value{};
    stream >> value;
    return value;
}

long uString::ToLong(const char* str) { return ToNumeric<long>(str); }

long uString::ToInt64(const char* str) { return ToNumeric<long>(str); }

double uString::ToDouble(const char* str) { return ToNumeric<double>(str); }

bool uString::ToBool(const char* str) {
    if (str == nullptr) throw error("unable to convert null string to boolean");
    const std::string_view text(str);
    if (text.empty()) throw error("unable to convert empty string to boolean");
    if (text == "true" || text == "TRUE" || text == "True") return true;
    if (text == "false" || text == "FALSE" || text == "False") return false;
    throw error("unable to convert \"" + std::string(text) + "\" to boolean");
}

template <class T>
std::string& uString::FromNumeric(std::string& out, T value, std::ios::fmtflags flags, int precision, int width,
                                  char fill) {
    std::stringstream stream;
    stream.imbue(std::locale::classic());
    if (flags != std::ios::fmtflags()) stream.setf(flags);
    if (precision != 0) stream.precision(precision);
    if (width != 0) stream.width(width);
    if (fill != '\0') stream.fill(fill);
    stream << value;
    std::string word;
    stream >> word;
    return out.append(word);
}

template ORM_EXPORT unsigned long uString::ToNumeric<unsigned long>(const char*);
template ORM_EXPORT long uString::ToNumeric<long>(const char*);
template ORM_EXPORT double uString::ToNumeric<double>(const char*);
template ORM_EXPORT std::string& uString::FromNumeric<unsigned long>(std::string&, unsigned long, std::ios::fmtflags,
                                                                     int, int, char);
template ORM_EXPORT std::string& uString::FromNumeric<int>(std::string&, int, std::ios::fmtflags, int, int, char);

const char* uString::FromBool(bool value, std::string& out, bool append) {
    return Put(out, append, value ? "true" : "false");
}

const char* uString::FromBool(std::string& out, bool value) { return FromBool(value, out, true); }

const char* uString::FromLong(long value, std::string& out, bool append, const char* format) {
    return PutFormatted(out, append, format != nullptr ? format : "%ld", value);
}

const char* uString::FromLong(std::string& out, long value, const char* format) {
    return FromLong(value, out, true, format);
}

const char* uString::FromDouble(double value, std::string& out, bool append, const char* format) {
    return PutFormatted(out, append, format != nullptr ? format : "%f", value);
}

const char* uString::FromDouble(std::string& out, double value, const char* format) {
    return FromDouble(value, out, true, format);
}

const char* uString::FromDoubleInEngrUnits(double value, std::string& out, bool append, const char* format,
                                           bool shortPrefix) {
    const auto& prefixes = Prefixes();
    const auto* row =
        std::find_if(prefixes.begin(), prefixes.end(), [value](const Prefix& p) { return p.divisor <= value; });
    if (row == prefixes.end()) row = &prefixes.back();
    FromDouble(value / row->divisor, out, append, format);
    return Put(out, true, shortPrefix ? row->symbol : row->name);
}

const char* uString::FromDoubleInEngrUnits(std::string& out, double value, const char* format, bool shortPrefix) {
    return FromDoubleInEngrUnits(value, out, true, format, shortPrefix);
}

unsigned uString::Split(const char* str, std::string& first, std::string& rest, const char* delim) {
    if (str == nullptr) throw error("unable to split null string");
    if (delim == nullptr) throw error("unable to split with null delimeter");
    // str may be the text of first or rest, so both are made before either is replaced.
    const char* found = std::strstr(str, delim);
    std::string before = found != nullptr ? std::string(str, found) : std::string(str);
    std::string after = found != nullptr ? std::string(found + std::strlen(delim)) : std::string();
    first = std::move(before);
    rest = std::move(after);
    if (found != nullptr) return 2;
    return first.empty() ? 0 : 1;
}

unsigned uString::Split(std::vector<std::string>& parts, const char* str, const char* delim) {
    if (str == nullptr) throw error("unable to split null string");
    if (delim == nullptr) throw error("unable to split with null delimeter");
    if (*delim == '\0') {
        if (*str != '\0') parts.emplace_back(str);
        return static_cast<unsigned>(parts.size());
    }
    const std::string text(str);  // str and delim may lie in parts
    const std::string cut(delim);
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find(cut, at), text.size());
        parts.push_back(text.substr(at, end - at));
        at = end + cut.size();
    }
    return static_cast<unsigned>(parts.size());
}

const char* uString::Replace(std::string& s, const char* from, const char* to) {
    if (from == nullptr) throw error("unable to perform string replacement from null original text");
    if (to == nullptr) throw error("unable to perform string replacement with null replacement text");
    const std::string_view token(from);
    if (token.empty()) return s.c_str();
    std::string replaced;
    std::size_t copied = 0;
    for (std::size_t at = s.find(token); at != std::string::npos; at = s.find(token, copied)) {
        replaced.append(s, copied, at - copied).append(to);
        copied = at + token.size();
    }
    if (copied == 0) return s.c_str();
    replaced.append(s, copied, std::string::npos);
    s = std::move(replaced);
    return s.c_str();
}

std::string& uString::StripLeading(std::string& s, const char* chars) {
    if (chars == nullptr) return s;
    return s.erase(0, std::min(s.find_first_not_of(chars), s.size()));
}

std::string& uString::StripTrailing(std::string& s, const char* chars) {
    if (chars == nullptr) return s;
    const std::size_t last = s.find_last_not_of(chars);
    return s.erase(last == std::string::npos ? 0 : last + 1);
}

}  // namespace ORM_LUX
