// The process's one shared time value.
#pragma once

#include <ctime>

#include "source_utilities/Export.h"

namespace ORM_LUX {

// A uTimeSnapshot whose fields are static: every object has the same, process-wide value. It is STATUS_INVALID until
// the first GetLocal. The operations do what those of uTimeSnapshot do, on the shared fields.
// Errors:  nothing throws, except FormatTime when memory runs out.
// Threads: no lock; a thread that shares the value with others must hold a lock around GetLocal and reading the fields.
class ORM_EXPORT uTime {
public:
    enum { STATUS_VALID = 0, STATUS_INVALID = 1, STATUS_NO_FORMAT = 2 };

    // Creating, copying and assigning objects changes no field.
    uTime();
    uTime(const uTime& other);
    virtual ~uTime();
    uTime& operator=(const uTime& other);

    // Returns: this object.
    uTime& GetLocal();

    int GetYear() const;
    unsigned int GetMonth() const;
    unsigned int GetDay() const;
    unsigned int GetHour() const;
    unsigned int GetMinute() const;
    unsigned int GetSecond() const;
    unsigned int GetMilliSecond() const;
    int CalculateYDays();
    char* FormatTime(char* buf, int len, const char* fmt) const;
    static int FindSubString(const char* str, const char* needle, int start);
    static int ReplaceString(char* buf, int len, const char* token, const char* replacement);
    static void ConvertTime(tm* out);

    // Both operands are the same value: ==, <= and >= always hold, the others never.
    bool operator==(const uTime& other) const;
    bool operator!=(const uTime& other) const;
    bool operator<(const uTime& other) const;
    bool operator>(const uTime& other) const;
    bool operator<=(const uTime& other) const;
    bool operator>=(const uTime& other) const;

    static int m_status;
    static int m_year;
    static unsigned int m_month, m_day, m_hour, m_minute, m_second, m_milli;
    static int m_yday, m_wday;
};

}  // namespace ORM_LUX
