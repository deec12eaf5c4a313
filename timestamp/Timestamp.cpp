#include "timestamp/Timestamp.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <locale>
#include <sstream>
#include <string_view>

#include "source_utilities/internal/CalendarTables.h"
#include "source_utilities/internal/LogCall.h"

namespace Orm::Lux::Trace {
namespace {

constexpr char kStampFormat[] = " %m/%d/%Y %H:%M:%S:%s:%u";
constexpr std::string_view kMicroToken = "%u";

// Time stamp words.
constexpr unsigned long kTicks = 170'000'000;  // a second
constexpr double kTicksPerSecond = kTicks;
constexpr int kTypeShift = 56;
constexpr unsigned long kCountMask = (1UL << kTypeShift) - 1;

// The types of a receiver's status time stamps: one whose count is absolute, and those that count from a reference.
constexpr unsigned long kStandaloneType = 0xB0;
constexpr std::array<unsigned long, 9> kReferencedTypes{0x88, 0x90, 0x98, 0xA0, 0xC0, 0xC8, 0xD8, 0xE0, 0xE8};

unsigned long TypeOf(unsigned long word) noexcept { return word >> kTypeShift; }

using ORM_LUX::CumulativeDays;

// Moves a day that is counted from the first of a month, and may be in any later year, to its own month.
// REQUIRES: month is 1 to 12. Returns: false, with the arguments unspecified, when the year overflows.
bool CarryDays(int& year, unsigned int& month, unsigned int& day) noexcept {
    constexpr long kCycleYears = 400;  // after these the calendar repeats
    constexpr unsigned int kCycleDays = 400 * 365 + 97;
    const unsigned int cycles = day != 0 ? (day - 1) / kCycleDays : 0;
    day -= cycles * kCycleDays;
    long carriedYear = year + kCycleYears * cycles;

    const auto* table = &CumulativeDays(carriedYear);
    while (day > (*table)[12] - (*table)[month - 1]) {
        day -= (*table)[12] - (*table)[month - 1];
        month = 1;
        table = &CumulativeDays(++carriedYear);
    }
    // The day is within the year, so this ends in December at the latest.
    for (; day > (*table)[month] - (*table)[month - 1]; ++month) day -= (*table)[month] - (*table)[month - 1];

    if (carriedYear > std::numeric_limits<int>::max()) return false;
    year = static_cast<int>(carriedYear);
    return true;
}

// Adds term to field; if the sum reaches limit, carries one to next.
void AddWithCarry(unsigned int& field, unsigned int term, unsigned int limit, unsigned int& next) noexcept {
    field += term;
    if (field < limit) return;
    field -= limit;
    ++next;
}

// Returns: the nearest count to a quotient, fractions cut off; 0 for not-a-number.
unsigned long ToCount(double quotient) noexcept {
    if (!(quotient >= 1.0)) return 0;
    if (quotient >= 0x1p64) return std::numeric_limits<unsigned long>::max();
    return static_cast<unsigned long>(quotient);
}

struct Offset {
    int days, hours, minutes, seconds, milliseconds, microseconds;
};

// Tools compare stamps as text, so each rounding of these steps is part of the result: integer arithmetic gives another
// result for one word in a hundred. Above INT_MAX seconds there is nothing to agree with, and a double no longer
// resolves microseconds (these steps can yield 1,000 or more): such a time is split exactly.
Offset Split(unsigned long count, double time) noexcept {
    unsigned long whole = static_cast<unsigned long>(time);
    const auto wholeSeconds = static_cast<double>(whole);
    int milliseconds = static_cast<int>(std::fabs((time - wholeSeconds) * 1000.0));
    int microseconds = static_cast<int>(std::fabs(1e6 * (time - (milliseconds / 1000.0 + wholeSeconds))));
    if (whole > std::numeric_limits<int>::max()) {
        whole = count / kTicks;
        milliseconds = static_cast<int>(count % kTicks / (kTicks / 1000));
        microseconds = static_cast<int>(count % (kTicks / 1000) / (kTicks / 1000000));
    }
    return {static_cast<int>(whole / 86400),
            static_cast<int>(whole / 3600 % 24),
            static_cast<int>(whole / 60 % 60),
            static_cast<int>(whole % 60),
            milliseconds,
            microseconds};
}

// Writes the last digits of value, padded with zeros.
void PutDigits(char* at, int digits, unsigned int value) noexcept {
    for (char* end = at + digits; end != at; value /= 10) *--end = static_cast<char>('0' + value % 10);
}

// Returns: the time in kStampFormat. Fields that fit their places in the text are written directly, at a fraction of
//          the cost of FormatTime.
std::string StampText(uTimestampCD& time) {
    const bool fits = time.m_status == uTimestampCD::STATUS_VALID && time.m_year >= 1000 && time.m_year <= 9999 &&
                      std::max({time.m_month, time.m_day, time.m_hour, time.m_minute, time.m_second}) <= 99 &&
                      std::max(time.m_milli, time.m_micro) <= 999;
    if (!fits) {
        std::array<char, 64> buffer{};
        return time.FormatTime(buffer.data(), static_cast<int>(buffer.size()), kStampFormat);
    }
    std::string stamp = " mm/dd/yyyy hh:mm:ss:mmm:uuu";
    char* text = stamp.data();
    PutDigits(text + 1, 2, time.m_month);
    PutDigits(text + 4, 2, time.m_day);
    PutDigits(text + 7, 4, static_cast<unsigned int>(time.m_year));
    PutDigits(text + 12, 2, time.m_hour);
    PutDigits(text + 15, 2, time.m_minute);
    PutDigits(text + 18, 2, time.m_second);
    PutDigits(text + 21, 3, time.m_milli);
    PutDigits(text + 25, 3, time.m_micro);
    return stamp;
}

// The decoders' log texts. Numbers look the same in every locale.
std::string StmLogText(unsigned long cycles, unsigned long index, unsigned long shifted) {
    constexpr char kPrefix[] = "uTimestampCD::GetStmTODStamp numTransCycles since ";
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << kPrefix << "start recording is " << cycles << '\n';
    text << kPrefix << "for index " << index << " is " << shifted << '\n';
    return text.str();
}

std::string RcvLogText(unsigned long word, unsigned int low, unsigned int high, unsigned long count, double time,
                       const Offset& offset) {
    constexpr char kPrefix[] = "uTimestampCD::GetRcvTODStamp ";
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << kPrefix << "RcvrData is " << word << '\n';
    text << kPrefix << "arg_TODRef_L is " << low << '\n';
    text << kPrefix << "arg_TODRef_H is " << high << '\n';
    text << kPrefix << "TODOffCnt is " << count << "   offTimeD (TODOffCnt *1/170e6) is " << time << '\n';
    text << kPrefix << "offTimeD converts to " << offset.days << ':' << offset.hours << ':' << offset.minutes << ':'
         << offset.seconds << ':' << offset.milliseconds << ':' << offset.microseconds << '\n';
    return text.str();
}

}  // namespace

uTimestampCD::uTimestampCD(const uTimestampCD& other) = default;

uTimestampCD::~uTimestampCD() = default;

uTimestampCD& uTimestampCD::operator=(const uTimestampCD& other) = default;

void uTimestampCD::setTime(int year, int month, int day, int hour, int minute, int second, int millisecond,
                           int microsecond) {
    m_status = STATUS_VALID;
    m_year = year;
    m_month = static_cast<unsigned int>(month);
    m_day = static_cast<unsigned int>(day);
    m_hour = static_cast<unsigned int>(hour);
    m_minute = static_cast<unsigned int>(minute);
    m_second = static_cast<unsigned int>(second);
    m_milli = static_cast<unsigned int>(millisecond);
    m_micro = static_cast<unsigned int>(microsecond);
    m_yday = 0;
    m_wday = 0;
}

uTimestampCD& uTimestampCD::operator+=(const uTimestampCD& other) {
    ORM_LOG_ENTRY("Timestamp", 216, "operator+=");
    // The sum is computed in a separate object: both operands may be the same one, and this one keeps its fields if
    // there is no sum.
    const bool isCalendar = m_month != 0 || other.m_month != 0;
    int year = isCalendar && m_year == 0 ? other.m_year : m_year;
    unsigned int month = m_month != 0 ? m_month : other.m_month;
    unsigned int day = m_day, hour = m_hour, minute = m_minute, second = m_second, milli = m_milli, micro = m_micro;
    AddWithCarry(micro, other.m_micro, 1000, milli);
    AddWithCarry(milli, other.m_milli, 1000, second);
    AddWithCarry(second, other.m_second, 60, minute);
    AddWithCarry(minute, other.m_minute, 60, hour);
    AddWithCarry(hour, other.m_hour, 24, day);
    day += other.m_day;

    const bool canAdd = m_status != STATUS_INVALID && other.m_status != STATUS_INVALID &&
                        (m_month == 0 || other.m_month == 0) && month <= 12;
    if (!canAdd || (isCalendar && !CarryDays(year, month, day))) {
        m_status = STATUS_INVALID;
        return *this;
    }
    m_year = year;
    m_month = month;
    m_day = day;
    m_hour = hour;
    m_minute = minute;
    m_second = second;
    m_milli = milli;
    m_micro = micro;
    return *this;
}

uTimestampCD uTimestampCD::operator+(const uTimestampCD& other) {
    uTimestampCD sum(*this);
    sum += other;
    return sum;
}

char* uTimestampCD::FormatTime(char* buf, int len, const char* fmt) {
    if (buf == nullptr || len < 1 || m_status == STATUS_NO_FORMAT) return buf;
    std::string calendarFormat;
    bool hasMicro = false;
    std::string_view rest = fmt != nullptr ? fmt : "";
    for (std::size_t at = rest.find(kMicroToken); at != rest.npos; at = rest.find(kMicroToken)) {
        hasMicro = true;
        calendarFormat += rest.substr(0, at);
        rest.remove_prefix(at + kMicroToken.size());
    }
    calendarFormat += rest;
    uTimeSnapshot::FormatTime(buf, len, calendarFormat.c_str());
    if (m_status == STATUS_INVALID || !hasMicro) return buf;

    // The base class returns an empty text if the whole does not fit; the microseconds would then follow nothing. A
    // character before the format, with room for it, distinguishes that from a text that is empty in this locale.
    const std::size_t used = std::strlen(buf);
    bool isLost = false;
    if (used == 0) {
        std::string probe(static_cast<std::size_t>(std::min(len, 4096)) + 1, '\0');
        uTimeSnapshot::FormatTime(probe.data(), static_cast<int>(probe.size()), ("x" + calendarFormat).c_str());
        isLost = probe.front() == '\0';
    }
    const std::size_t room = static_cast<std::size_t>(len) - used;
    const int digits = isLost ? len : std::snprintf(buf + used, room, "%03d", static_cast<int>(m_micro));
    if (static_cast<std::size_t>(digits) >= room) uTimeSnapshot(false).FormatTime(buf, len, "");
    return buf;
}

unsigned int uTimestampCD::GetMicroSecond() const { return m_micro; }

std::string uTimestampCD::GetStmTODStamp(unsigned long stmData, unsigned long baseIndex, unsigned long index,
                                         unsigned char, double transCycleFrequency) {
    ORM_LOG_ENTRY("Timestamp", 132, "GetStmTODStamp");
    if (TypeOf(stmData) == kStandaloneType) return std::string();
    // Two divisions in this order: each rounding is part of the result.
    const double seconds = static_cast<double>(stmData & kCountMask) / kTicksPerSecond;
    const unsigned long cycles = ToCount(seconds / (1.0 / transCycleFrequency));
    const unsigned long shifted = cycles + (baseIndex - index);
    ORM_LOG_TRACE("%s", StmLogText(cycles, index, shifted).c_str());
    return std::to_string(shifted);
}

bool uTimestampCD::isRcvrStatusTimeStamp(unsigned long RcvrData) {
    const unsigned long type = TypeOf(RcvrData);
    return type == kStandaloneType ||
           std::find(kReferencedTypes.begin(), kReferencedTypes.end(), type) != kReferencedTypes.end();
}

std::string uTimestampCD::GetRcvTODStamp(unsigned long RcvrData, unsigned int arg_TODRef_L, unsigned int arg_TODRef_H) {
    ORM_LOG_ENTRY("Timestamp", 41, "GetRcvTODStamp");
    if (!isRcvrStatusTimeStamp(RcvrData)) return std::string();
    unsigned long count = RcvrData & kCountMask;
    if (TypeOf(RcvrData) != kStandaloneType) {
        count += (static_cast<unsigned long>(arg_TODRef_H) << 32) | arg_TODRef_L;
    }
    const double time = static_cast<double>(count) / kTicksPerSecond;
    const Offset offset = Split(count, time);
    ORM_LOG_TRACE("%s", RcvLogText(RcvrData, arg_TODRef_L, arg_TODRef_H, count, time, offset).c_str());

    uTimestampCD duration;
    duration.setTime(0, 0, offset.days, offset.hours, offset.minutes, offset.seconds, offset.milliseconds,
                     offset.microseconds);
    uTimestampCD sum = *this + duration;
    std::string stamp = StampText(sum);
    ORM_LOG_TRACE("uTimestampCD::GetTODStamp time stamp is %s\n", stamp.c_str());
    return stamp;
}

}  // namespace Orm::Lux::Trace
