// The two local time values: one per object, one per process.
#include "source_utilities/uTime.h"

#include <chrono>
#include <climits>
#include <cstring>

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

TEST(uTimeSnapshot, Formats) {
    const std::string longText(300, 'x');
    // clang-format off
    const std::tuple<const char*, int, std::string> rows[] = {
        {"%H:%M:%S:%s", 64, "09:05:03:045"}, {"%S.%#s", 64, "03.45"}, {"%m/%d/%y | ", 64, "11/16/26 | "},
        {"%Y-%m-%d", 64, "2026-11-16"}, {"%s%s", 64, "045045"}, {"", 8, ""}, {nullptr, 8, ""}, {"abcdef", 4, "abc"},
        {"%Y", 4, ""}, {"%H:%M", 6, "09:05"}, {"x", 1, ""}, {longText.c_str(), 400, longText}};
    // clang-format on
    uTimeSnapshot t = Time(2026, 11, 16, 9, 5, 3, 45);
    for (const auto& [format, len, text] : rows) EXPECT_EQ(Format(t, len, format), text) << format << ' ' << len;
    EXPECT_EQ(Format(Time(2026, 1, 1, 0, 0, 0, 123), 64, "%#s|"), "123|");
    EXPECT_EQ(Format(uTimeSnapshot(false), 5, "%Y"), "Inva");
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
        {2024, 13, 5, 371}, {2024, 14, 5, 0}, {2024, 0xFFFFFFFF, 5, 0}};  // there is no rule for centuries
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
    char text[9] = "x%sy%s";  // the fuzz target has a model of the rest
    EXPECT_EQ(uTime::ReplaceString(text, 8, "%s", "007") + uTime::ReplaceString(text, 9, nullptr, "x") +
                  uTime::ReplaceString(text, 9, "y", nullptr),
              0);
    EXPECT_EQ(uTime::ReplaceString(text, 9, "%s", "007"), 2);
    EXPECT_STREQ(text, "x007y007");
}

TEST(uTimeSnapshot, IsInCalendarOrder) {
    // The comparisons that hold between two values.
    const auto compare = [](const uTimeSnapshot& a, const uTimeSnapshot& b) {
        return test::Show(a<b, a <= b, a == b, a >= b, a> b, a != b);
    };
    const uTimeSnapshot base = Time(2026, 6, 15, 12, 30, 30, 500);
    uTimeSnapshot same = base;
    same.m_yday = 5;
    EXPECT_EQ(compare(base, same), "0 1 1 1 0 0");
    using T = uTimeSnapshot;
    unsigned T::*const fields[] = {&T::m_month, &T::m_day, &T::m_hour, &T::m_minute, &T::m_second, &T::m_milli};
    for (std::size_t n = 0; n < std::size(fields); ++n) {
        // One field decides against those behind it.
        uTimeSnapshot later = base;
        ++(later.*fields[n]);
        for (std::size_t behind = n + 1; behind < std::size(fields); ++behind) --(later.*fields[behind]);
        uTimeSnapshot yearBefore = later;
        --yearBefore.m_year;
        for (const auto& [a, b] : {std::pair(base, later), {yearBefore, base}, {yearBefore, later}}) {
            EXPECT_EQ(compare(a, b), "1 1 0 0 0 1") << n;
            EXPECT_EQ(compare(b, a), "0 0 0 1 1 1") << n;
        }
        later.m_status = T::STATUS_INVALID;
        EXPECT_EQ(compare(base, later), "0 0 0 0 0 1") << n;
        EXPECT_EQ(compare(later, base), "0 0 0 0 0 1") << n;
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
