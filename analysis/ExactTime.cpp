#include "analysis/ExactTime.h"

#include <array>
#include <chrono>
#include <cstdio>

namespace orm_trace {

using std::chrono::days;
using std::chrono::sys_days;
using std::chrono::year_month_day;

namespace {

constexpr std::int64_t kMicrosecondsPerDay = std::int64_t{86400} * 1000000;

}  // namespace

Microseconds FromCalendar(int year, unsigned month, unsigned day, unsigned hour, unsigned minute, unsigned second,
                          unsigned microsecond) noexcept {
    const sys_days date = year_month_day(std::chrono::year(year), std::chrono::month(month), std::chrono::day(day));
    const std::int64_t seconds = (std::int64_t{hour} * 60 + minute) * 60 + second;
    return {date.time_since_epoch().count() * kMicrosecondsPerDay + seconds * 1000000 + microsecond};
}

std::string TimeText(Microseconds time) {
    std::int64_t day = time.count / kMicrosecondsPerDay;
    std::int64_t left = time.count % kMicrosecondsPerDay;
    if (left < 0) {
        --day;
        left += kMicrosecondsPerDay;
    }
    const year_month_day date(sys_days(days(static_cast<int>(day))));
    std::array<char, 48> text;
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d.%06d", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(left / 3600000000), static_cast<int>(left / 60000000 % 60),
                  static_cast<int>(left / 1000000 % 60), static_cast<int>(left % 1000000));
    return text.data();
}

}  // namespace orm_trace
