// The two local time values: one per object, one per process.
#include "source_utilities/uTime.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>

#include "source_utilities/uTimeSnapshot.h"

namespace {

using ORM_LUX::uTime;
using ORM_LUX::uTimeSnapshot;

uTimeSnapshot Time(int year, unsigned month, unsigned day, unsigned hour, unsigned minute, unsigned second,
                   unsigned milli) {
    uTimeSnapshot t(false);
    t.m_status = uTimeSnapshot::STATUS_VALID;
    t.m_year = year;
    t.m_month = month;
    t.m_day = day;
    t.m_hour = hour;
    t.m_minute = minute;
    t.m_second = second;
    t.m_milli = milli;
    return t;
}

std::string Format(uTimeSnapshot t, int len, const char* format) {
    std::string buf(static_cast<std::size_t>(len) + 1, '#');
    EXPECT_EQ(t.FormatTime(buf.data(), len, format), buf.data());
    EXPECT_EQ(buf.back(), '#') << "written beyond the buffer";
    return buf.c_str();
}

TEST(uTimeSnapshot, Formats) {
    const uTimeSnapshot t = Time(2026, 11, 16, 9, 5, 3, 45);
    const std::string longText(300, 'x');
    const struct {
        const char* format;
        int len;
        std::string text;
    } rows[] = {{"%H:%M:%S:%s", 64, "09:05:03:045"},
                {"%S.%#s", 64, "03.45"},
                {"%m/%d/%y | ", 64, "11/16/26 | "},
                {"%Y-%m-%d", 64, "2026-11-16"},
                {"%s%s", 64, "045045"},
                {"", 8, ""},
                {nullptr, 8, ""},
                {"abcdef", 4, "abc"},
                {"%Y", 4, ""},
                {"%H:%M", 6, "09:05"},
                {"x", 1, ""},
                {longText.c_str(), 400, longText}};
    for (const auto& row : rows) EXPECT_EQ(Format(t, row.len, row.format), row.text) << row.format << ' ' << row.len;
    EXPECT_EQ(Format(Time(2026, 1, 1, 0, 0, 0, 123), 64, "%#s|"), "123|");
    EXPECT_EQ(Format(uTimeSnapshot(false), 5, "%Y"), "Inva");
    EXPECT_EQ(Format(uTimeSnapshot(false), 64, "%Y"), "Invalid time");

    // Fields out of every range are passed on without harm.
    for (const unsigned value : {0U, 13U, 0x80000000U, 0xFFFFFFFFU}) {
        uTimeSnapshot wild = Time(INT_MIN, value, value, value, value, value, value);
        wild.m_wday = wild.m_yday = static_cast<int>(value);
        Format(wild, 512, "%a %A %b %B %c %d %e %F %H %I %j %m %M %p %S %s %#s %U %W %V %G %y %Y");
    }
    uTimeSnapshot none = t;
    none.m_status = uTimeSnapshot::STATUS_NO_FORMAT;
    char kept = 'k';
    EXPECT_EQ(none.FormatTime(&kept, 1, ""), nullptr);
    uTimeSnapshot copy = t;
    EXPECT_EQ(copy.FormatTime(nullptr, 5, ""), nullptr);
    EXPECT_EQ(copy.FormatTime(&kept, 0, ""), nullptr);
    EXPECT_EQ(kept, 'k');
}

TEST(uTimeSnapshot, CountsDaysOfTheYear) {
    EXPECT_EQ(Time(2024, 3, 1, 0, 0, 0, 0).CalculateYDays(), 61);
    EXPECT_EQ(Time(2023, 3, 1, 0, 0, 0, 0).CalculateYDays(), 60);
    EXPECT_EQ(Time(1900, 3, 1, 0, 0, 0, 0).CalculateYDays(), 61) << "no rule for centuries";
    EXPECT_EQ(Time(2023, 1, 1, 0, 0, 0, 0).CalculateYDays(), 1);
    EXPECT_EQ(Time(2024, 12, 31, 0, 0, 0, 0).CalculateYDays(), 366);
    EXPECT_EQ(Time(2024, 13, 5, 0, 0, 0, 0).CalculateYDays(), 371);
    for (const unsigned month : {0U, 14U, 0xFFFFFFFFU}) EXPECT_EQ(Time(2024, month, 5, 0, 0, 0, 0).CalculateYDays(), 0);
    EXPECT_EQ(uTimeSnapshot(false).CalculateYDays(), 0);
}

TEST(uTimeSnapshot, FindsAndReplaces) {
    uTimeSnapshot t(false);
    const struct {
        const char* text;
        const char* needle;
        int start;
        int at;
    } finds[] = {{"abc", "c", 0, 2}, {"abc", "c", 2, 2},  {"abc", "c", 3, -1},   {"abc", "c", 4, -1},
                 {"abc", "", 3, 3},  {"abc", "a", -7, 0}, {nullptr, "a", 0, -1}, {"abc", nullptr, 0, -1}};
    for (const auto& row : finds) EXPECT_EQ(t.FindSubString(row.text, row.needle, row.start), row.at) << row.start;

    const struct {
        const char* text;
        int len;
        const char* token;
        const char* replacement;
        int count;
        const char* result;
    } rows[] = {{"x%sy%s", 9, "%s", "007", 2, "x007y007"},
                {"x%sy%s", 8, "%s", "007", 0, "x%sy%s"},
                {"abc", 4, "b", "", 1, "ac"},
                {"aaa", 16, "aa", "x", 2, "xa"},
                {"aa", 16, "a", "ba", 2, "bbaa"},
                {"abc", 16, "", "x", 0, "abc"},
                {"aab", 16, "a", "", 2, "ab"},
                {"abc", 16, nullptr, "x", 0, "abc"},
                {"abc", 16, "b", nullptr, 0, "abc"}};
    for (const auto& row : rows) {
        char buf[17] = "";
        std::strcpy(buf, row.text);
        EXPECT_EQ(t.ReplaceString(buf, row.len, row.token, row.replacement), row.count) << row.text;
        EXPECT_STREQ(buf, row.result) << row.text;
    }
}

TEST(uTimeSnapshot, IsInCalendarOrder) {
    const uTimeSnapshot base = Time(2026, 6, 15, 12, 30, 30, 500);
    uTimeSnapshot day = base;
    day.m_yday = day.m_wday = 5;
    EXPECT_TRUE(day == base && day <= base && day >= base && !(day < base) && !(day > base) && !(day != base));
    for (unsigned uTimeSnapshot::*field :
         {&uTimeSnapshot::m_month, &uTimeSnapshot::m_day, &uTimeSnapshot::m_hour, &uTimeSnapshot::m_minute,
          &uTimeSnapshot::m_second, &uTimeSnapshot::m_milli}) {
        uTimeSnapshot later = base;
        ++(later.*field);
        uTimeSnapshot yearBefore = later;
        --yearBefore.m_year;
        for (const auto& [a, b] : {std::pair(base, later), std::pair(yearBefore, base), std::pair(yearBefore, later)}) {
            EXPECT_TRUE(a < b && b > a && a <= b && b >= a && a != b && !(b < a) && !(a > b) && !(a >= b) && !(a == b));
        }
        later.m_status = uTimeSnapshot::STATUS_INVALID;
        EXPECT_TRUE(!(base < later) && !(base > later) && base != later && !(base <= later) && !(base >= later));
    }
}

TEST(uTime, IsOneValueForTheProcess) {
    uTime a;
    uTime::m_status = uTime::STATUS_INVALID;  // as it begins; other tests may have logged since
    char buf[64];
    EXPECT_STREQ(a.FormatTime(buf, 64, "%Y"), "Invalid time");
    setenv("TZ", "UTC0", 1);
    const uTime b(a.GetLocal());
    EXPECT_EQ(b.GetYear(), uTime::m_year);
    EXPECT_TRUE(a == b && a <= b && a >= b && !(a != b) && !(a < b) && !(a > b));
    std::tm fields{};
    uTime::ConvertTime(&fields);
    const std::time_t now = timegm(&fields);
    EXPECT_NEAR(static_cast<double>(now), static_cast<double>(std::time(nullptr)), 2);
    EXPECT_EQ(fields.tm_yday + 1, a.CalculateYDays());

    // Another zone is followed, by the snapshot too; so is the return to none.
    const unsigned hour = uTime::m_hour;
    setenv("TZ", "XYZ-7", 1);
    a.GetLocal();
    EXPECT_TRUE(uTime::m_hour == (hour + 7) % 24 || uTime::m_hour == (hour + 8) % 24);
    const uTimeSnapshot snapshot(true);
    EXPECT_TRUE(snapshot.GetHour() == uTime::m_hour || snapshot.GetHour() == (uTime::m_hour + 1) % 24);
    EXPECT_LT(snapshot.GetMilliSecond(), 1000U);
    unsetenv("TZ");
    a.GetLocal();
    std::tm local{};
    const std::time_t then = std::time(nullptr);
    localtime_r(&then, &local);
    EXPECT_EQ(a.GetHour(), static_cast<unsigned>(local.tm_hour));
}

}  // namespace
