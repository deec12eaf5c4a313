#include "source_utilities/uTimeSnapshot.h"

#include <sys/time.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <tuple>

#include "source_utilities/internal/CalendarTables.h"

namespace ORM_LUX {
namespace {

// localtime_r does not read TZ again by itself. tzset does: with TZ set it compares texts; without TZ it looks at the
// zone's file, which is enough once per second.
void FollowTimeZone(time_t now) noexcept {
    static std::atomic<time_t> second{-1};
    if (second.exchange(now, std::memory_order_relaxed) != now || std::getenv("TZ") != nullptr) tzset();
}

// The fields of the calendar order.
auto Calendar(const uTimeSnapshot& t) noexcept {
    return std::tie(t.m_year, t.m_month, t.m_day, t.m_hour, t.m_minute, t.m_second, t.m_milli);
}

// Copies text, which may be part of buf, into buf of len bytes, cut to fit and terminated. REQUIRES: len is at least 1.
void CopyText(char* buf, int len, const char* text) {
    const std::size_t size = strnlen(text, static_cast<std::size_t>(len) - 1);
    std::memmove(buf, text, size);
    buf[size] = '\0';
}

}  // namespace

uTimeSnapshot::uTimeSnapshot(bool now)
    : m_status(STATUS_INVALID),
      m_year(0),
      m_month(0),
      m_day(0),
      m_hour(0),
      m_minute(0),
      m_second(0),
      m_milli(0),
      m_yday(0),
      m_wday(0) {
    if (now) GetLocal();
}

uTimeSnapshot::uTimeSnapshot(const uTimeSnapshot& other) = default;

uTimeSnapshot::~uTimeSnapshot() = default;

uTimeSnapshot& uTimeSnapshot::operator=(const uTimeSnapshot& other) = default;

void uTimeSnapshot::GetLocal() {
    timeval now{};
    gettimeofday(&now, nullptr);
    FollowTimeZone(now.tv_sec);
    tm local{};
    if (localtime_r(&now.tv_sec, &local) != nullptr) {
        m_year = local.tm_year + 1900;
        m_month = static_cast<unsigned int>(local.tm_mon + 1);
        m_day = static_cast<unsigned int>(local.tm_mday);
        m_hour = static_cast<unsigned int>(local.tm_hour);
        m_minute = static_cast<unsigned int>(local.tm_min);
        m_second = static_cast<unsigned int>(local.tm_sec);
        m_wday = local.tm_wday;
        m_yday = local.tm_yday;
    }
    m_milli = static_cast<unsigned int>(now.tv_usec / 1000);
    m_status = STATUS_VALID;
}

int uTimeSnapshot::GetYear() const { return m_year; }
unsigned int uTimeSnapshot::GetMonth() const { return m_month; }
unsigned int uTimeSnapshot::GetDay() const { return m_day; }
unsigned int uTimeSnapshot::GetHour() const { return m_hour; }
unsigned int uTimeSnapshot::GetMinute() const { return m_minute; }
unsigned int uTimeSnapshot::GetSecond() const { return m_second; }
unsigned int uTimeSnapshot::GetMilliSecond() const { return m_milli; }

int uTimeSnapshot::CalculateYDays() {
    if (m_status == STATUS_INVALID || m_month < 1 || m_month > YDAYS.size()) return 0;
    const auto& table = m_year % 4 == 0 ? YDAYS_LEAP : YDAYS;
    return static_cast<int>(table[m_month - 1] + m_day);
}

char* uTimeSnapshot::FormatTime(char* buf, int len, const char* fmt) {
    if (buf == nullptr || m_status == STATUS_NO_FORMAT || len < 1) return nullptr;
    if (m_status == STATUS_INVALID) {
        CopyText(buf, len, "Invalid time");
        return buf;
    }
    CopyText(buf, len, fmt != nullptr ? fmt : "");

    std::array<char, 16> milli{};
    std::snprintf(milli.data(), milli.size(), "%03d", static_cast<int>(m_milli));
    ReplaceString(buf, len, "%s", milli.data());
    std::snprintf(milli.data(), milli.size(), "%d", static_cast<int>(m_milli));
    ReplaceString(buf, len, "%#s", milli.data());

    // strftime must not read the buffer that it writes to. Formats of ordinary length need no heap memory.
    const std::size_t size = std::strlen(buf) + 1;
    std::array<char, 128> nearby;
    std::unique_ptr<char[]> allocated;
    if (size > nearby.size()) allocated.reset(new char[size]);
    char* calendarFormat = allocated ? allocated.get() : nearby.data();
    std::memcpy(calendarFormat, buf, size);

    tm fields{};
    ConvertTime(&fields);
    if (std::strftime(buf, static_cast<std::size_t>(len), calendarFormat, &fields) == 0) *buf = '\0';
    return buf;
}

int uTimeSnapshot::FindSubString(const char* str, const char* needle, int start) {
    if (str == nullptr || needle == nullptr) return -1;
    const std::size_t from = start > 0 ? static_cast<std::size_t>(start) : 0;
    if (from > std::strlen(str)) return -1;
    const char* found = std::strstr(str + from, needle);
    return found != nullptr ? static_cast<int>(found - str) : -1;
}

int uTimeSnapshot::ReplaceString(char* buf, int len, const char* token, const char* replacement) {
    if (buf == nullptr || token == nullptr || *token == '\0' || replacement == nullptr) return 0;
    int count = 0;
    for (int at = FindSubString(buf, token, 0); at >= 0; at = FindSubString(buf, token, at + 1)) ++count;

    const std::size_t tokenLength = std::strlen(token);
    const std::size_t replacementLength = std::strlen(replacement);
    const long growth = static_cast<long>(replacementLength) - static_cast<long>(tokenLength);
    if (static_cast<long>(std::strlen(buf)) + count * growth > static_cast<long>(len) - 1) return 0;

    // A replacement may contain the token and be found again: the count limits that.
    int at = FindSubString(buf, token, 0);
    for (int left = count; left > 0 && at >= 0; --left) {
        char* place = buf + at;
        const char* rest = place + tokenLength;
        std::memmove(place + replacementLength, rest, std::strlen(rest) + 1);
        std::memcpy(place, replacement, replacementLength);
        at = FindSubString(buf, token, at + 1);
    }
    return count;
}

void uTimeSnapshot::ConvertTime(tm* out) {
    if (out == nullptr) return;
    *out = tm{};
    out->tm_sec = static_cast<int>(m_second);
    out->tm_min = static_cast<int>(m_minute);
    out->tm_hour = static_cast<int>(m_hour);
    out->tm_mday = static_cast<int>(m_day);
    out->tm_mon = static_cast<int>(m_month - 1);
    out->tm_year = static_cast<int>(static_cast<unsigned int>(m_year) - 1900);  // any year, without signed overflow
    out->tm_wday = m_wday;
    out->tm_yday = m_yday;
}

bool uTimeSnapshot::operator==(const uTimeSnapshot& other) const {
    return m_status == other.m_status && Calendar(*this) == Calendar(other);
}

bool uTimeSnapshot::operator!=(const uTimeSnapshot& other) const { return !(*this == other); }

bool uTimeSnapshot::operator<(const uTimeSnapshot& other) const {
    return m_status == other.m_status && Calendar(*this) < Calendar(other);
}

bool uTimeSnapshot::operator>(const uTimeSnapshot& other) const { return other < *this; }

bool uTimeSnapshot::operator<=(const uTimeSnapshot& other) const { return *this == other || *this < other; }

bool uTimeSnapshot::operator>=(const uTimeSnapshot& other) const { return *this == other || *this > other; }

}  // namespace ORM_LUX
