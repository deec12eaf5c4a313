#include "timestamp/Timestamp.h"

#include <cmath>
#include <limits>

#include "support/ChangedLocale.h"
#include "support/LogCapture.h"

namespace {

using Orm::Lux::Trace::uTimestampCD;
using Fields = std::array<int, 8>;  // year to microsecond, as setTime takes them

constexpr unsigned long kStandalone = 0xB0UL << 56, kReferenced = 0x88UL << 56;
const std::string kInvalid = "Invalid time";

uTimestampCD Make(const Fields& f) {
    uTimestampCD time;
    time.setTime(f[0], f[1], f[2], f[3], f[4], f[5], f[6], f[7]);
    return time;
}

constexpr char kStampFormat[] = " %m/%d/%Y %H:%M:%S:%s:%u";
std::string StampOf(uTimestampCD time) {
    char text[64] = "";
    EXPECT_EQ(time.GetMicroSecond(), time.m_micro);
    return time.FormatTime(text, 64, kStampFormat);
}

TEST(Timestamp, AddsByTheTable) {
    // The fuzz target has a model of sums without these ends of ranges.
    constexpr int kMaxYear = std::numeric_limits<int>::max();
    const std::tuple<const char*, Fields, Fields, std::string> rows[] = {
        {"year of the duration", {7, 0, 1}, {2026, 12, 15}, " 12/16/7 00:00:00:000:000"},
        {"durations", {3, 0, 400, 23}, {5, 0, 400, 2}, " 00/801/3 01:00:00:000:000"},
        {"out of range", {2026, 1, 1, 50, 0, 0, 2500}, {0, 0, 0, 30}, " 01/02/2026 56:00:01:1500:000"},
        {"a day of 0", {2026, 3, 0}, {}, " 03/00/2026 00:00:00:000:000"},
        {"one cycle", {2026, 1, 1}, {0, 0, 146096}, " 12/31/2425 00:00:00:000:000"},
        {"two cycles less a day", {2026, 1, 1}, {0, 0, 2 * 146097 - 2}, " 12/30/2825 00:00:00:000:000"},
        {"last year", {kMaxYear, 12, 30}, {0, 0, 1}, " 12/31/2147483647 00:00:00:000:000"},
        {"year overflow", {kMaxYear, 12, 31, 23}, {0, 0, 1}, kInvalid},
        {"month 13", {2026, 13, 1}, {0, 0, 1}, kInvalid},
        {"month -1", {0, 0, 1}, {2026, -1, 1}, kInvalid}};
    for (const auto& [label, left, right, stamp] : rows) {
        uTimestampCD sum = Make(left) + Make(right);
        EXPECT_EQ(StampOf(sum), stamp) << label;
        EXPECT_EQ(StampOf(sum + uTimestampCD()) + StampOf(uTimestampCD() + sum), kInvalid + kInvalid) << label;
        sum.m_status = uTimestampCD::STATUS_VALID;
        EXPECT_EQ(StampOf(sum), stamp == kInvalid ? StampOf(Make(left)) : stamp) << label << ": a field changed";
    }
    uTimestampCD twice = Make({0, 0, 1, 2, 3, 4, 5, 600});
    EXPECT_EQ(StampOf(twice += twice), " 00/02/0 04:06:08:011:200") << "added to itself";
}

TEST(Timestamp, FormatsWithinEveryLength) {
    const test::ChangedLocale noHalfDays(LC_TIME, "LC_TIME", "PM", std::string_view("\0M", 2));
    uTimestampCD time = Make({2026, 11, 16, 15, 47, 8, 7, 42});
    for (const auto& [format, text] :
         {std::pair<const char*, std::string>{kStampFormat, " 11/16/2026 15:47:08:007:042"},
          {"%u%H%u:%u", "15:042"},
          {"%p%u", "042"},
          {"aa%Y%u", "aa2026042"},
          {"%u", "042"}}) {
        for (unsigned len = 1; len < 40; ++len) {
            std::string buffer(48, '~');
            time.FormatTime(buffer.data(), static_cast<int>(len), format);
            EXPECT_EQ(buffer.c_str(), text.size() < len ? text : kInvalid.substr(0, len - 1))
                << format << " in " << len;
            EXPECT_EQ(buffer[len], '~') << format << " in " << len;
        }
    }
    char buffer[16] = "~";
    EXPECT_EQ(time.FormatTime(nullptr, 64, "%u"), nullptr);
    EXPECT_STREQ(time.FormatTime(buffer, 0, "%u"), "~");
    EXPECT_STREQ(time.FormatTime(buffer, 16, "%S.%#s"), "08.7");
    EXPECT_STREQ(time.FormatTime(buffer, 16, nullptr), "");
    time.m_status = uTimestampCD::STATUS_NO_FORMAT;
    EXPECT_EQ(StampOf(time) + time.GetRcvTODStamp(kStandalone, 0, 0), "");
    time.m_yday = time.m_wday = 5;
    time.setTime(0, 1, 1, 0, 0, 0, 0, 0);
    EXPECT_EQ(test::Show(time.m_yday, time.m_wday) + time.GetRcvTODStamp(kStandalone, 0, 0),
              "0 0 01/01/0 00:00:00:000:000");
}

TEST(Timestamp, ConvertsStmWords) {
    // clang-format off
    const std::tuple<unsigned long, unsigned long, unsigned long, double, const char*> rows[] = {
        {kStandalone + 5, 0, 0, 1e6, ""},  // word, base, index, frequency, text
        {170000000, 10, 4, 1e6, "1000006"}, {0xFFUL << 56 | 170000000, 4, 1000010, 1e6, "18446744073709551610"},
        {170000000, 0, 0, 0.0, "0"}, {169, 0, 0, 1e6, "0"}, {1, 0, 0, 170e6, "1"}, {170000000, 3, 0, -1e6, "3"},
        {1, 0, 0, INFINITY, "18446744073709551615"}, {0, 0, 0, INFINITY, "0"},
        {170000000, 0, 0, 0x1p64, "18446744073709551615"}};
    // clang-format on
    uTimestampCD unused;
    for (const auto& [word, base, index, frequency, text] : rows) {
        EXPECT_EQ(unused.GetStmTODStamp(word, base, index, 9, frequency), text) << word << " at " << frequency;
    }
}

std::string RcvStamp(uTimestampCD zero, unsigned long word, unsigned long reference) {
    return zero.GetRcvTODStamp(word, static_cast<unsigned>(reference), static_cast<unsigned>(reference >> 32));
}

TEST(Timestamp, ConvertsReceiverWords) {
    const Fields ten{2026, 11, 16, 10};
    const std::tuple<Fields, unsigned long, unsigned long, std::string> rows[] = {
        // zero, word, reference, text; the fuzz target has a model of other words
        {ten, kStandalone + 15310455000000, 12345678901234, " 11/17/2026 11:01:01:500:000"},
        {ten, kReferenced + 171, ~0UL, " 11/16/2026 10:00:00:000:001"},
        {{2000, 1, 1}, kReferenced + (1UL << 56) - 1, 0, " 06/06/2013 21:10:00:223:105"},
        // Below 2^31 seconds, from there on, and where the steps would give 1007 microseconds.
        {{1900, 1, 1}, kReferenced + 159085833, ((1UL << 31) - 1) * 170000000, " 01/20/1968 03:14:07:935:798"},
        {{1900, 1, 1}, kReferenced + 16999999, (1UL << 31) * 170000000, " 01/20/1968 03:14:08:099:999"},
        {{2026, 11, 16, 10, 0, 0, 0, 999}, kReferenced, 14843663295541540684UL, " 10/19/4793 09:47:24:363:003"},
        {{2026, 13, 1}, kReferenced, 0, kInvalid}};
    for (const auto& [zero, word, reference, text] : rows) {
        EXPECT_EQ(RcvStamp(Make(zero), word, reference), text) << word << " + " << reference;
    }
    EXPECT_EQ(RcvStamp(uTimestampCD(), kReferenced, 0), kInvalid);
    // Fields that reach the end of their places, and beyond.
    for (std::size_t field = 0; field < 8; ++field) {
        for (const int value : {99, 100, 123, 124, 159, 160, 999, 1000, 1999, 2000, 9999, 10000}) {
            Fields f{2026};
            f[field] = value;
            EXPECT_EQ(RcvStamp(Make(f), kStandalone, 0), StampOf(Make(f) + Make({}))) << field << ": " << value;
        }
    }
}

TEST(Timestamp, LogsWhatTheDecodersDo) {
    const test::LogCapture log(3);
    RcvStamp(Make({2026, 11, 16, 10}), kReferenced + 15310455000000, 170);
    log.system.m_loggingLevel = 2;
    RcvStamp(Make({}), 0, 0);
    uTimestampCD().GetStmTODStamp(kStandalone, 10, 4, 0, 1e6);
    log.system.m_loggingLevel = 3;
    uTimestampCD().GetStmTODStamp(170000000, 10, 4, 0, 1e6);
    EXPECT_EQ(log.Text(), R"(  F    Timestamp #41  GetRcvTODStamp(...)
M     <time> uTimestampCD::GetRcvTODStamp RcvrData is 9799848099613199296
uTimestampCD::GetRcvTODStamp arg_TODRef_L is 170
uTimestampCD::GetRcvTODStamp arg_TODRef_H is 0
uTimestampCD::GetRcvTODStamp TODOffCnt is 15310455000170   offTimeD (TODOffCnt *1/170e6) is 90061.5
uTimestampCD::GetRcvTODStamp offTimeD converts to 1:1:1:1:500:0
  F    Timestamp #216  operator+=(...)
M     <time> uTimestampCD::GetTODStamp time stamp is  11/17/2026 11:01:01:500:000
  F    Timestamp #132  GetStmTODStamp(...)
M     <time> uTimestampCD::GetStmTODStamp numTransCycles since start recording is 1000000
uTimestampCD::GetStmTODStamp numTransCycles since for index 4 is 1000006
)");
}

}  // namespace
