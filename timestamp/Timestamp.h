// Time-of-day stamps: a calendar time to the microsecond, and the decoders of hardware time stamp words.
#pragma once

#include <string>

#include "source_utilities/Export.h"
#include "source_utilities/uTimeSnapshot.h"

namespace Orm::Lux::Trace {

// A uTimeSnapshot with microseconds. A month from 1 to 12 makes it a calendar time; month 0 makes it a duration, whose
// m_day counts whole days. m_status says whether it is valid; an invalid value becomes valid only by
// setTime or assignment.
//
// The decoders take words of trace hardware: the type in the upper 8 bits, below it a count of 56 bits in ticks of a
// 170 MHz clock. They log what they do.
//
// Errors:  only std::bad_alloc.
// Threads: one object belongs to one thread at a time, but the decoders only read it and may overlap each other.
class ORM_EXPORT uTimestampCD : public ORM_LUX::uTimeSnapshot {
public:
    // STATUS_INVALID, every other field 0.
    uTimestampCD() : uTimeSnapshot(false), m_micro(0) {}
    uTimestampCD(const uTimestampCD& other);
    ~uTimestampCD() override;
    uTimestampCD& operator=(const uTimestampCD& other);

    // Stores the values as they are, without a check, and makes the value STATUS_VALID; the days of week and year are
    // 0. Year and month 0 make a duration.
    void setTime(int year, int month, int day, int hour, int minute, int second, int millisecond, int microsecond);

    // Adds a duration to a calendar time, in either order, or two durations, whose days are summed without limit.
    // STATUS_INVALID, with no other field changed, is the sum of two calendar times, a sum with an invalid value or
    // with a month beyond 12, and a sum whose year does not fit in an int. Time fields carry only once: a field
    // that was out of range stays so. The days of week and year are not changed.
    uTimestampCD& operator+=(const uTimestampCD& other);
    uTimestampCD operator+(const uTimestampCD& other);

    // As uTimeSnapshot::FormatTime, except that a "%u" anywhere in fmt appends the microseconds, with three digits, to
    // the text: "%H:%M:%S:%s:%u" gives 15:47:08:007:042.
    // Returns: buf, always; nothing is written for a len below 1 and for STATUS_NO_FORMAT. It holds "Invalid time" (cut
    //          to fit) for STATUS_INVALID, and when fmt has a "%u" and the whole text does not fit.
    char* FormatTime(char* buf, int len, const char* fmt);

    unsigned int GetMicroSecond() const;  // 0 to 999

    // Converts the count of a System Trace Module's time stamp word, whatever its type, to transaction cycles since the
    // start of recording; the object is not used.
    // Units:   transCycleFrequency in Hz; baseIndex and index count samples, and their difference is added to the
    //          cycles modulo 2^64. reserved is ignored.
    // Returns: the decimal digits of the cycles, a fraction cut off; empty for type 0xB0. A quotient that is not a
    //          count (a negative or infinite frequency, too many cycles) counts as the nearest one, not-a-number as 0.
    std::string GetStmTODStamp(unsigned long stmData, unsigned long baseIndex, unsigned long index,
                               unsigned char reserved, double transCycleFrequency);

    // Returns: whether the word's type is that of a receiver's status time stamp; the object is not used.
    bool isRcvrStatusTimeStamp(unsigned long RcvrData);

    // Converts a receiver's time stamp word to calendar text. The object holds the calendar time of count 0. The 64-bit
    // reference count in arg_TODRef_H and arg_TODRef_L is added to the word's count modulo 2^64, except for type 0xB0.
    // Below 2^31 seconds the conversion uses double precision and may be low by a microsecond; from there on it is
    // exact.
    // Returns: the sum in the format " %m/%d/%Y %H:%M:%S:%s:%u", for example " 11/16/2026 15:47:08:007:042"; empty when
    //          the word is not a receiver status time stamp; "Invalid time" when the object is STATUS_INVALID or the
    //          sum is.
    std::string GetRcvTODStamp(unsigned long RcvrData, unsigned int arg_TODRef_L, unsigned int arg_TODRef_H);

    unsigned int m_micro;  // microseconds within the millisecond
};

}  // namespace Orm::Lux::Trace
