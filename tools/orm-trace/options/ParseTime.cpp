#include "tools/orm-trace/options/ParseTime.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "capture/Error.h"
#include "source_utilities/internal/CalendarTables.h"

namespace orm_trace {

using Orm::Lux::Trace::uTimestampCD;

std::optional<uTimestampCD> ParseTime(std::string text) {
    constexpr std::string_view kForm = "0000-00-00 00:00:00";
    constexpr std::size_t kDateSize = 10;
    const auto isOfForm = [](char c, char form) { return form == '0' ? c >= '0' && c <= '9' : c == form; };
    if (text.size() > kDateSize && text[kDateSize] == 'T') text[kDateSize] = ' ';
    if (text.size() < kForm.size() ||
        !std::equal(kForm.begin(), kForm.end(), text.begin(), [&](char form, char c) { return isOfForm(c, form); })) {
        return std::nullopt;
    }
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    std::sscanf(text.c_str(), "%d-%d-%d %d:%d:%d", &year, &month, &day, &hour, &minute, &second);
    std::string fraction = text.substr(kForm.size());
    if (!fraction.empty() && (fraction[0] != '.' || fraction.size() < 2 || fraction.size() > 7 ||
                              fraction.find_first_not_of("0123456789", 1) != fraction.npos)) {
        return std::nullopt;
    }
    fraction.resize(7, '0');
    const int micro = std::atoi(fraction.c_str() + 1);
    if (year < 1 || month < 1 || month > 12 || day < 1 || hour > 23 || minute > 59 || second > 59) return std::nullopt;
    const auto& days = ORM_LUX::CumulativeDays(year);
    const auto after = static_cast<std::size_t>(month);
    if (static_cast<unsigned>(day) > days[after] - days[after - 1]) return std::nullopt;
    uTimestampCD time;
    time.setTime(year, month, day, hour, minute, second, micro / 1000, micro % 1000);
    return time;
}

Microseconds ParseMicroseconds(const char* option, const std::string& text) {
    const auto time = ParseTime(text);
    if (!time) throw Error(ErrorKind::kArgument, option, "not a time YYYY-MM-DD HH:MM:SS[.ffffff]: " + text);
    return FromCalendar(time->GetYear(), time->GetMonth(), time->GetDay(), time->GetHour(), time->GetMinute(),
                        time->GetSecond(), time->GetMilliSecond() * 1000 + time->GetMicroSecond());
}

}  // namespace orm_trace
