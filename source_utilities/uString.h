// Text to numbers and back, and a few edits of text.
#pragma once

#include <ios>
#include <string>
#include <vector>

#include "source_utilities/Export.h"
#include "source_utilities/source_utilities_error.h"

namespace ORM_LUX {

// String helpers without state.
// Errors:  uString::error with a fixed text, as stated; nothing is modified before it is thrown.
// Threads: every operation may be called from any thread.
class ORM_EXPORT uString {
public:
    class ORM_EXPORT error : public source_utilities_error {
    public:
        explicit error(const std::string& message);
        ~error() override;
    };

    // Reads a number as the standard streams do, independent of the process's locale: leading white space and a sign
    // are accepted, reading stops at the first character that cannot belong to it, and what follows is ignored. A text
    // that begins with 0x or 0X is hexadecimal, one that begins with 0 and continues is octal. For double the prefix is
    // only removed.
    // Examples: "0x1F" is 31, "017" is 15, "42abc" is 42, " 0x10" is 0, "-12" is -12; as double "0x1A" is 1.
    // Returns:  0 when no number can be read; the nearest value of T when the number is out of range, except that a
    //           negative number wraps around when T is unsigned.
    // Errors:   a null or an empty str.
    // T:        unsigned long, long or double.
    template <class T> static T ToNumeric(const char* str);
    static long ToLong(const char* str);
    static long ToInt64(const char* str);
    static double ToDouble(const char* str);

    // Reads "true", "TRUE", "True", "false", "FALSE" or "False". Errors: any other text, null and empty included.
    static bool ToBool(const char* str);

    // Appends value as a stream writes it with the given settings, independent of the process's locale. flags are added
    // to the stream's own (which has std::ios::dec); a setting of 0 changes nothing. Blank padding is dropped, any
    // other fill character is kept: width 6 and fill '0' give "000042".
    // T: unsigned long or int.
    // Returns: out.
    template <class T>
    static std::string& FromNumeric(std::string& out, T value, std::ios::fmtflags flags, int precision, int width,
                                    char fill);

    // The From... operations below write into out and return its text, valid until out changes. The forms that begin
    // with the value replace out, or append to it when append is set; the forms that begin with out append.

    // "true" or "false".
    static const char* FromBool(bool value, std::string& out, bool append);
    static const char* FromBool(std::string& out, bool value);

    // format takes exactly one argument of the value's type, a long or a double; null means "%ld" or "%f". The text is
    // cut at 1023 characters. The To... operations can read the result, whatever the process's locale is.
    static const char* FromLong(long value, std::string& out, bool append, const char* format);
    static const char* FromLong(std::string& out, long value, const char* format);
    static const char* FromDouble(double value, std::string& out, bool append, const char* format);
    static const char* FromDouble(std::string& out, double value, const char* format);

    // Divides value by the largest SI prefix that does not exceed it, and writes the prefix's symbol (shortPrefix) or
    // name after the number. Values that no prefix fits (0, negative, NaN) are written in yocto.
    // Examples: 4700 is "4.700000k" or "4.700000kilo", 1.5 is "1.500000", 0 is "0.000000y".
    static const char* FromDoubleInEngrUnits(double value, std::string& out, bool append, const char* format,
                                             bool shortPrefix);
    static const char* FromDoubleInEngrUnits(std::string& out, double value, const char* format, bool shortPrefix);

    // Cuts str at the first delim: first is the text before it, rest the text after it. str may be part of first or
    // rest.
    // Returns: 2 when delim was found, else 1, or 0 for an empty str, with all of str in first. An empty delim is found
    //          at the start.
    // Errors:  a null str or delim.
    static unsigned Split(const char* str, std::string& first, std::string& rest, const char* delim);

    // Appends the fields of str between the delims to parts. str may be part of parts. Empty fields count, except
    // one after the last delim. An empty delim gives all of str as one field.
    // Examples: "a,,b" adds "a", "" and "b"; "a,b," adds "a" and "b"; "" adds nothing.
    // Returns:  the size of parts afterwards.
    // Errors:   a null str or delim.
    static unsigned Split(std::vector<std::string>& parts, const char* str, const char* delim);

    // Replaces every from in s by to, from the left; the replacement itself is not searched. An empty from
    // replaces nothing. from and to may be part of s.
    // Returns: the text of s, valid until s changes.
    // Errors:  a null from or to.
    static const char* Replace(std::string& s, const char* from, const char* to);

    // Removes the characters of the set chars from one end of s. A null chars removes nothing. Returns: s.
    static std::string& StripLeading(std::string& s, const char* chars);
    static std::string& StripTrailing(std::string& s, const char* chars);
};

extern template unsigned long uString::ToNumeric<unsigned long>(const char*);
extern template long uString::ToNumeric<long>(const char*);
extern template double uString::ToNumeric<double>(const char*);
extern template std::string& uString::FromNumeric<unsigned long>(std::string&, unsigned long, std::ios::fmtflags, int,
                                                                 int, char);
extern template std::string& uString::FromNumeric<int>(std::string&, int, std::ios::fmtflags, int, int, char);

}  // namespace ORM_LUX
