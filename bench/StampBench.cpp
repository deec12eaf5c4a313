// The cost of a receiver's time stamp, compared with the same text made with Howard Hinnant's date library and {fmt}.
#include <date/date.h>
#include <fmt/chrono.h>
#include <fmt/compile.h>
#include <fmt/format.h>

#include <chrono>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "bench/Common.h"
#include "timestamp/Timestamp.h"

namespace {

using Orm::Lux::Trace::uTimestampCD;
using MicroTime = date::sys_time<std::chrono::microseconds>;

constexpr unsigned long kType = 0x88UL << 56;
constexpr unsigned long kTicksPerSecond = 170000000;
constexpr unsigned long kTicksPerMicrosecond = 170;

// Random words within this many seconds of the reference. Each is halfway between two microseconds, so that rounding
// does not matter.
std::vector<unsigned long> Words(unsigned long seconds) {
    std::mt19937_64 random(1);
    std::vector<unsigned long> words(4096);
    for (unsigned long& word : words) {
        const unsigned long count = random() % (seconds * kTicksPerSecond);
        word = kType | (count - count % kTicksPerMicrosecond + kTicksPerMicrosecond / 2);
    }
    return words;
}

MicroTime TimeOf(unsigned long word) {
    return date::sys_days{date::year{2026} / 11 / 16} + std::chrono::hours{10} +
           std::chrono::microseconds{(word & ~kType) / kTicksPerMicrosecond};
}

// make formats the fields in the order in which the text shows them.
template <class Make> std::string DateAndFmt(unsigned long word, Make make) {
    const MicroTime time = TimeOf(word);
    const auto day = date::floor<date::days>(time);
    const date::year_month_day ymd{day};
    const date::hh_mm_ss<std::chrono::microseconds> hms{time - day};
    const auto micro = hms.subseconds().count();
    return make(static_cast<unsigned>(ymd.month()), static_cast<unsigned>(ymd.day()), static_cast<int>(ymd.year()),
                hms.hours().count(), hms.minutes().count(), hms.seconds().count(), micro / 1000, micro % 1000);
}

#define STAMP_FORMAT " {:02}/{:02}/{} {:02}:{:02}:{:02}:{:03}:{:03}"

std::string DateAndPlainFmt(unsigned long word) {
    return DateAndFmt(word, [](auto... field) { return fmt::format(STAMP_FORMAT, field...); });
}

std::string DateAndCompiledFmt(unsigned long word) {
    return DateAndFmt(word, [](auto... field) { return fmt::format(FMT_COMPILE(STAMP_FORMAT), field...); });
}

// fmt's own calendar, with a resolution of seconds.
std::string FmtGmtime(unsigned long word) {
    const MicroTime time = TimeOf(word);
    const auto second = date::floor<std::chrono::seconds>(time);
    const auto micro = (time - second).count();
    const std::tm calendar = fmt::gmtime(static_cast<std::time_t>(second.time_since_epoch().count()));
    return fmt::format(" {:%m/%d/%Y %H:%M:%S}:{:03}:{:03}", calendar, micro / 1000, micro % 1000);
}

// Only the digits, written to their places, of a time that is known to be within a few days of the reference: the least
// that any way of making this text must do. It does not handle other times.
std::string Digits(unsigned long word) {
    std::string text = " 11/16/2026 10:00:00:000:000";
    const unsigned long micro = (word & ~kType) / kTicksPerMicrosecond + 10UL * 3600 * 1000000;
    const auto put = [&](std::size_t at, unsigned long value, int digits) {
        for (int n = digits; n-- > 0; value /= 10)
            text[at + static_cast<std::size_t>(n)] = static_cast<char>('0' + value % 10);
    };
    const unsigned long second = micro / 1000000;
    put(4, 16 + second / 86400, 2);
    put(12, second / 3600 % 24, 2);
    put(15, second / 60 % 60, 2);
    put(18, second % 60, 2);
    put(21, micro / 1000 % 1000, 3);
    put(25, micro % 1000, 3);
    return text;
}

std::string Library(unsigned long word) {
    static uTimestampCD zero = [] {
        uTimestampCD time;
        time.setTime(2026, 11, 16, 10, 0, 0, 0, 0);
        return time;
    }();
    return zero.GetRcvTODStamp(word, 0, 0);
}

template <std::string (*Stamp)(unsigned long)> void Measure(benchmark::State& state, unsigned long seconds) {
    const auto words = Words(seconds);
    for (const unsigned long word : words) {
        if (Stamp(word) != DateAndPlainFmt(word)) state.SkipWithError("the texts differ");
    }
    std::size_t at = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(Stamp(words[at]));
        at = (at + 1) % words.size();
    }
}

}  // namespace

void bench::RegisterStamp() {
    const auto add = [](const std::string& name, unsigned long seconds, auto run) {
        benchmark::RegisterBenchmark(("Stamp/" + name).c_str(), run, seconds);
    };
    for (const auto& [span, seconds] : {std::pair("an hour", 3600UL), {"10 years", 10 * 365UL * 86400}}) {
        const std::string work = std::string("within ") + span + "/";
        add(work + "library", seconds, Measure<Library>);
        if (seconds < 86400) add(work + "limit", seconds, Measure<Digits>);
        add(work + "peer:date-fmt", seconds, Measure<DateAndPlainFmt>);
        add(work + "peer:date-fmt-compiled", seconds, Measure<DateAndCompiledFmt>);
        add(work + "peer:fmt-gmtime", seconds, Measure<FmtGmtime>);
    }
}
