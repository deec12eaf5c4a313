// The two local time values: one per object, one per process.
#include "source_utilities/uTime.h"

#include <chrono>
#include <climits>

#include "source_utilities/uTimeSnapshot.h"
#include "support/Files.h"

namespace {

using ORM_LUX::uTime;
using ORM_LUX::uTimeSnapshot;

uTimeSnapshot Time(int year, unsigned month, unsigned day, unsigned hour = 0, unsigned minute = 0, unsigned second = 0,
                   unsigned milli = 0) {
    uTimeSnapshot t(false);
    std::tie(t.m_status, t.m_year) = std::tuple(uTimeSnapshot::STATUS_VALID, year);
    std::tie(t.m_month, t.m_day) = std::tie(month, day);
    std::tie(t.m_hour, t.m_minute, t.m_second, t.m_milli) = std::tie(hour, minute, second, milli);
    return t;
}

std::string Format(uTimeSnapshot t, int len, const char* format) {
    std::string buf(static_cast<std::size_t>(len) + 1, '#');
    EXPECT_EQ(t.FormatTime(buf.data(), len, format), buf.data());
    EXPECT_EQ(buf.back(), '#') << "written beyond the buffer";
    return buf.c_str();
}

// The fuzz target has a model of formats and replacements; here is what it leaves out.
TEST(uTimeSnapshot, Formats) {
    const std::string longText(300, 'x');
    uTimeSnapshot t = Time(2026, 11, 16, 9, 5, 3, 45);
    EXPECT_EQ(Format(t, 64, "%m/%d/%y %H:%M:%S:%s.%#s"), "11/16/26 09:05:03:045.45");
    EXPECT_EQ(Format(t, 8, nullptr), "");
    EXPECT_EQ(Format(t, 6, "%H:%M"), "09:05") << "just fits";
    EXPECT_EQ(Format(t, 400, longText.c_str()), longText);
    // Fields out of every range are passed on without harm.
    for (const unsigned value : {0U, 13U, 0x80000000U, 0xFFFFFFFFU}) {
        uTimeSnapshot wild = Time(INT_MIN, value, value, value, value, value, value);
        wild.m_wday = wild.m_yday = static_cast<int>(value);
        Format(wild, 512, "%a %A %b %B %c %d %e %F %H %I %j %m %M %p %S %s %#s %U %W %V %G %y %Y");
    }
    char kept = 'k';
    EXPECT_TRUE(t.FormatTime(nullptr, 5, "") == nullptr && t.FormatTime(&kept, 0, "") == nullptr);
    t.m_status = uTimeSnapshot::STATUS_NO_FORMAT;
    EXPECT_EQ(t.FormatTime(&kept, 1, ""), nullptr);
    EXPECT_EQ(kept, 'k');
}

TEST(uTimeSnapshot, CountsDaysOfTheYear) {
    // clang-format off
    const std::tuple<int, unsigned, unsigned, int> rows[] = {
        {2024, 3, 1, 61}, {2023, 3, 1, 60}, {1900, 3, 1, 61}, {2023, 1, 1, 1}, {2024, 12, 31, 366}, {2024, 0, 5, 0},
        {2024, 13, 5, 371}, {2024, 14, 5, 0}, {2024, 0xFFFFFFFF, 5, 0}};  // centuries have no rule
    // clang-format on
    for (const auto& [year, month, day, count] : rows) EXPECT_EQ(Time(year, month, day).CalculateYDays(), count);
    EXPECT_EQ(uTimeSnapshot(false).CalculateYDays(), 0);
}

TEST(uTimeSnapshot, FindsAndReplaces) {
    // clang-format off
    const std::tuple<const char*, const char*, int, int> finds[] = {
        {"abc", "c", 0, 2}, {"abc", "c", 2, 2}, {"abc", "c", 3, -1}, {"abc", "c", 4, -1}, {"abc", "", 3, 3},
        {"abc", "a", -7, 0}, {nullptr, "a", 0, -1}, {"abc", nullptr, 0, -1}};
    // clang-format on
    for (const auto& [text, needle, start, at] : finds) {
        EXPECT_EQ(uTime::FindSubString(text, needle, start), at) << text << ' ' << start;
    }
    char text[9] = "x%sy%s";
    EXPECT_EQ(uTime::ReplaceString(text, 9, nullptr, "x") + uTime::ReplaceString(text, 9, "y", nullptr), 0);
    EXPECT_EQ(uTime::ReplaceString(text, 9, "%s", "007"), 2);
    EXPECT_STREQ(text, "x007y007");
}

TEST(uTimeSnapshot, IsInCalendarOrder) {
    // The comparisons that hold between two values.
    const auto compare = [](const uTimeSnapshot& a, const uTimeSnapshot& b) {
        return test::Show(a<b, a <= b, a == b, a >= b, a> b, a != b);
    };
    // In each the first field that is less than in those after it decides against the rest.
    const uTimeSnapshot times[] = {Time(2025, 7, 16, 13, 31, 31, 501), Time(2026, 5, 16, 13, 31, 31, 501),
                                   Time(2026, 6, 14, 13, 31, 31, 501), Time(2026, 6, 15, 11, 31, 31, 501),
                                   Time(2026, 6, 15, 12, 29, 31, 501), Time(2026, 6, 15, 12, 30, 29, 501),
                                   Time(2026, 6, 15, 12, 30, 30, 499), Time(2026, 6, 15, 12, 30, 30, 500)};
    for (const uTimeSnapshot& a : times) {
        for (const uTimeSnapshot& b : times) {
            EXPECT_EQ(compare(a, b), &a < &b   ? "1 1 0 0 0 1"
                                     : &a > &b ? "0 0 0 1 1 1"
                                               : "0 1 1 1 0 0")
                << &a - times << ' ' << &b - times;
        }
        uTimeSnapshot other = a;
        other.m_yday = 5;
        EXPECT_EQ(compare(a, other), "0 1 1 1 0 0") << "no field of the order differs";
        other.m_status = uTimeSnapshot::STATUS_INVALID;
        EXPECT_EQ(compare(a, other) + "|" + compare(other, a), "0 0 0 0 0 1|0 0 0 0 0 1");
    }
}

TEST(uTime, IsOneValueForTheProcess) {
    uTime a;
    uTime::m_status = uTime::STATUS_INVALID;  // as it begins; other tests may have logged since
    char buf[64];
    EXPECT_STREQ(a.FormatTime(buf, 64, "%Y"), "Invalid time");
    setenv("TZ", "UTC0", 1);
    const uTime b(a.GetLocal());
    EXPECT_TRUE(a == b && a <= b && a >= b && !(a != b) && !(a < b) && !(a > b));
    std::tm fields{};
    uTime::ConvertTime(&fields);
    EXPECT_NEAR(static_cast<double>(timegm(&fields)), static_cast<double>(std::time(nullptr)), 2);
    EXPECT_EQ(fields.tm_yday + 1, a.CalculateYDays());
    EXPECT_EQ(b.GetYear(), fields.tm_year + 1900);

    // Another zone is followed, by the snapshot too; so is the return to none.
    const auto minutes = [] { return uTime::m_hour * 60 + uTime::m_minute; };
    const unsigned utc = minutes(), ahead = 7 * 60 + 17;  // as no zone on earth is
    setenv("TZ", "XYZ-7:17", 1);
    a.GetLocal();
    EXPECT_LE((minutes() + 2 * 1440 - ahead - utc) % 1440, 1U);
    const uTimeSnapshot snapshot(true);
    EXPECT_TRUE(snapshot.GetHour() == uTime::m_hour || snapshot.GetHour() == (uTime::m_hour + 1) % 24);
    EXPECT_LT(snapshot.GetMilliSecond(), 1000U);
    unsetenv("TZ");  // which is seen when the second is another
    using Clock = std::chrono::system_clock;
    const auto second = [] { return Clock::to_time_t(std::chrono::floor<std::chrono::seconds>(Clock::now())); };
    for (const std::time_t then = second(); second() == then;) usleep(1000);
    a.GetLocal();
    tzset();  // after the library, which has to do it itself
    const std::time_t now = second();
    localtime_r(&now, &fields);
    EXPECT_LE((static_cast<unsigned>(fields.tm_hour * 60 + fields.tm_min) + 1440 - minutes()) % 1440, 1U);
}

}  // namespace
