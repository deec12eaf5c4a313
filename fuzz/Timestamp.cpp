// The addition of time stamps and the decoders, beside calendar arithmetic on day numbers and integers of 128 bits.
#include "timestamp/Timestamp.h"

#include <cmath>

#include "fuzz/Fuzz.h"

using namespace fuzz;
using Orm::Lux::Trace::uTimestampCD;

namespace {

__extension__ using Wide = unsigned __int128;

// The number of a day in the calendar of 400-year cycles, counted from 1 March of the year 0, and back.
struct Date {
    std::int64_t year, month, day;
    bool operator==(const Date&) const = default;
};
std::int64_t DayNumber(Date date) {
    const std::int64_t year = date.year - (date.month <= 2), era = (year >= 0 ? year : year - 399) / 400;
    const std::int64_t yearOfEra = year - era * 400, dayOfYear = (153 * ((date.month + 9) % 12) + 2) / 5 + date.day - 1;
    return era * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
}
Date DateOf(std::int64_t number) {
    const std::int64_t era = (number >= 0 ? number : number - 146096) / 146097, day = number - era * 146097;
    const std::int64_t year = (day - day / 1460 + day / 36524 - day / 146096) / 365;
    const std::int64_t dayOfYear = day - (365 * year + year / 4 - year / 100), month = (5 * dayOfYear + 2) / 153;
    return {year + era * 400 + (month >= 10), month < 10 ? month + 3 : month - 9,
            dayOfYear - (153 * month + 2) / 5 + 1};
}

std::int64_t TimeOfDay(std::int64_t hour, std::int64_t minute, std::int64_t second, std::int64_t milli,
                       std::int64_t micro) {
    return (((hour * 60 + minute) * 60 + second) * 1000 + milli) * 1000 + micro;
}
std::int64_t TimeOfDay(const uTimestampCD& t) {
    return TimeOfDay(t.m_hour, t.m_minute, t.m_second, t.m_milli, t.m_micro);
}
constexpr std::int64_t kDay = 86400LL * 1000 * 1000;

uTimestampCD Time(Input& input, int year, int month, int day) {
    uTimestampCD time;
    const int hour = input.Number() % 24, minute = input.Number() % 60, second = input.Number() % 60;
    time.setTime(year, month, day, hour, minute, second, input.Number<std::uint16_t>() % 1000,
                 input.Number<std::uint16_t>() % 1000);
    return time;
}

void CheckAddition(Input& input) {
    const int year = input.Number<std::int32_t>();
    const int month = input.Number() % 12 + 1, day = input.Number() % 28 + 1;
    uTimestampCD calendar = Time(input, year != 0 ? year : 1, month, day);
    uTimestampCD duration = Time(input, 0, 0, input.Number<std::int32_t>());
    const uTimestampCD sum = input.Number() % 2 ? calendar + duration : duration + calendar;
    const std::int64_t time = TimeOfDay(calendar) + TimeOfDay(duration);
    // Days are summed in 32 bits.
    const auto days = static_cast<std::uint32_t>(calendar.m_day + duration.m_day + time / kDay);
    Date expected{calendar.m_year, month, days};
    if (days != 0) expected = DateOf(DayNumber({calendar.m_year, month, 1}) + days - 1);
    if (expected.year > 0x7FFFFFFF) return Require(sum.m_status == uTimestampCD::STATUS_INVALID);
    Require(Date{sum.m_year, sum.m_month, sum.m_day} == expected && sum.m_status == uTimestampCD::STATUS_VALID);
    Require(TimeOfDay(sum) == time % kDay);
    const uTimestampCD longer = duration + duration;
    Require(longer.m_month == 0 && TimeOfDay(longer) == 2 * TimeOfDay(duration) % kDay);
    Require(longer.m_day == static_cast<std::uint32_t>(2 * duration.m_day + 2 * TimeOfDay(duration) / kDay));
    Require((calendar + calendar).m_status == uTimestampCD::STATUS_INVALID);
}

void CheckReceiver(Input& input) {
    const auto word = input.Number<std::uint64_t>(), reference = input.Number<std::uint64_t>();
    uTimestampCD zero =
        Time(input, 900 + input.Number<std::uint16_t>() % 9200, input.Number() % 12 + 1, input.Number() % 28 + 1);
    const std::string text =
        zero.GetRcvTODStamp(word, static_cast<unsigned>(reference), static_cast<unsigned>(reference >> 32));
    const auto type = static_cast<unsigned>(word >> 56);
    const bool isStamp = IsStampType(type);
    Require(zero.isRcvrStatusTimeStamp(word) == isStamp && text.empty() == !isStamp);
    if (!isStamp) return;
    long f[8] = {};
    int end = 0;
    Require(std::sscanf(text.c_str(), " %2ld/%2ld/%ld %2ld:%2ld:%2ld:%3ld:%3ld%n", f, f + 1, f + 2, f + 3, f + 4, f + 5,
                        f + 6, f + 7, &end) == 8);
    Require(static_cast<std::size_t>(end) == text.size());
    const std::int64_t passed =
        (DayNumber({f[2], f[0], f[1]}) - DayNumber({zero.m_year, zero.m_month, zero.m_day})) * kDay +
        TimeOfDay(f[3], f[4], f[5], f[6], f[7]) - TimeOfDay(zero);
    // A tick is 1/170 of a microsecond. The documented steps, for less than 2^31 seconds, round: to the unit in the last
    // place of the seconds, and then microseconds down.
    const std::uint64_t count = (word & 0xFFFFFFFFFFFFFF) + (type == 0xB0 ? 0 : reference);
    const double seconds = static_cast<double>(count) / 170e6;
    const double unit = (std::nextafter(seconds, 1e300) - seconds) * 1e6;
    const auto exact = static_cast<std::int64_t>(count / 170);
    if (seconds >= 0x1p31) return Require(passed == exact);
    Require(std::llabs(passed - exact) <= 1 + std::llround(2 * unit));
    // What these steps give exactly.
    const auto whole = static_cast<std::int64_t>(seconds);
    const auto milli = static_cast<std::int64_t>(std::fabs((seconds - static_cast<double>(whole)) * 1000.0));
    const double parts = static_cast<double>(milli) / 1000.0 + static_cast<double>(whole);
    const auto micro = static_cast<std::int64_t>(std::fabs(1e6 * (seconds - parts)));
    Require(passed == whole * 1000000 + milli * 1000 + micro);
}

void CheckStm(Input& input) {
    const auto word = input.Number<std::uint64_t>(), base = input.Number<std::uint64_t>(),
               index = input.Number<std::uint64_t>();
    const auto frequency = input.Number<std::uint64_t>() >> input.Number() % 64;
    const bool isWhole = input.Number() % 2 != 0;  // otherwise any bits are one
    double hertz = static_cast<double>(frequency);
    if (!isWhole) std::memcpy(&hertz, &frequency, sizeof hertz);
    const std::string text = uTimestampCD().GetStmTODStamp(word, base, index, 0, hertz);
    if (word >> 56 == 0xB0) return Require(text.empty());
    const std::uint64_t count = word & 0xFFFFFFFFFFFFFF, shifted = std::strtoull(text.c_str(), nullptr, 10);
    Require(text == std::to_string(shifted));
    const std::uint64_t cycles = shifted - (base - index);
    const double quotient = static_cast<double>(count) / 170e6 / (1.0 / hertz);
    if (!(quotient >= 1)) return Require(cycles == 0);
    if (quotient >= 0x1p64) return Require(cycles == ~std::uint64_t{0});
    Require(cycles == static_cast<std::uint64_t>(quotient));
    if (!isWhole) return;
    const Wide exact = Wide{count} * frequency / 170000000, off = exact > cycles ? exact - cycles : cycles - exact;
    Require(off <= 1 + (exact >> 50));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const unsigned what = input.Number() % 3;
    (what == 0 ? CheckAddition : what == 1 ? CheckReceiver : CheckStm)(input);
    return 0;
}
