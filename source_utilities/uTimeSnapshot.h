// A local calendar time to the millisecond.
#pragma once

#include <ctime>

#include "source_utilities/Export.h"

namespace ORM_LUX {

// A broken-down local time held by value. m_status says whether it is valid; an invalid one is formatted as "Invalid
// time".
// Errors:  nothing throws, except FormatTime when memory runs out.
// Threads: objects are independent; one object belongs to one thread at a time.
class ORM_EXPORT uTimeSnapshot {
public:
    // STATUS_VALID: the fields hold a time. STATUS_INVALID: no time. STATUS_NO_FORMAT: formatting writes nothing.
    enum { STATUS_VALID = 0, STATUS_INVALID = 1, STATUS_NO_FORMAT = 2 };

    // now: the present local time (GetLocal). Otherwise STATUS_INVALID with every other field 0.
    uTimeSnapshot(bool now);
    uTimeSnapshot(const uTimeSnapshot& other);
    virtual ~uTimeSnapshot();
    uTimeSnapshot& operator=(const uTimeSnapshot& other);

    // Reads the clock and converts it to local time. A change of the variable TZ takes effect at once, unsetting it
    // within a second. If the C library cannot convert the time, the calendar fields keep their values. The value is
    // STATUS_VALID afterwards.
    void GetLocal();

    int GetYear() const;                  // the full year, 2026
    unsigned int GetMonth() const;        // 1 to 12, 0 for no month
    unsigned int GetDay() const;          // 1 to 31
    unsigned int GetHour() const;         // 0 to 23
    unsigned int GetMinute() const;       // 0 to 59
    unsigned int GetSecond() const;       // 0 to 60, as the C library delivers it
    unsigned int GetMilliSecond() const;  // 0 to 999

    // Returns: the day of the year from 1, every year divisible by 4 counting as a leap year; 0 for an invalid value
    //          and for a month outside the tables (1 to 13; month 13 counts from the end of the year).
    int CalculateYDays();

    // Formats into buf of len bytes, terminator included. fmt is a strftime format in which "%s" is the milliseconds
    // with three digits and "%#s" the milliseconds without leading zeros; what exceeds len - 1 characters of it is cut.
    // fmt may be buf. If the digits do not fit, the token is passed on to strftime. For example "%H:%M:%S:%s" gives
    // 09:05:03:045.
    // Returns: buf, holding "" when the text does not fit, and "Invalid time" (cut to fit) for STATUS_INVALID. Null for
    //          a null buf, a len below 1 and STATUS_NO_FORMAT: nothing is written then.
    // Errors:  std::bad_alloc, for a long fmt.
    char* FormatTime(char* buf, int len, const char* fmt);

    // Returns: the first position of needle in str at or after start, counted from the start of str; -1 if it does not
    //          occur, if start is beyond the end, and for a null text. A negative start counts as 0.
    int FindSubString(const char* str, const char* needle, int start);

    // Replaces token in the terminated text in buf, a buffer of len bytes, from the left. The occurrences are counted
    // first, overlapping ones included, and at most that many are replaced; each search begins one character after the
    // start of the previous replacement. token and replacement must not be part of buf.
    // Returns: the count; 0, with buf unchanged, if token does not occur, if the text could outgrow the buffer, and for
    //          a null argument or an empty token.
    int ReplaceString(char* buf, int len, const char* token, const char* replacement);

    // Stores the fields as struct tm has them (year from 1900, month from 0). Values out of range are passed on.
    void ConvertTime(tm* out);

    // Equality of all fields except the days of week and year.
    bool operator==(const uTimeSnapshot& other) const;
    bool operator!=(const uTimeSnapshot& other) const;
    // Calendar order, from year to millisecond. Values whose status differs have no order: neither < nor > holds.
    bool operator<(const uTimeSnapshot& other) const;
    bool operator>(const uTimeSnapshot& other) const;
    bool operator<=(const uTimeSnapshot& other) const;
    bool operator>=(const uTimeSnapshot& other) const;

    int m_status;
    int m_year;
    unsigned int m_month, m_day, m_hour, m_minute, m_second, m_milli;
    int m_yday, m_wday;  // as tm_yday (from 0) and tm_wday (0 is Sunday)
};

}  // namespace ORM_LUX
