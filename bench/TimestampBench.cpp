// What a receiver's time stamp costs, beside the same text made with Howard Hinnant's date library and {fmt}.
#include <benchmark/benchmark.h>
#include <date/date.h>
#include <fmt/compile.h>
#include <fmt/format.h>

#include <chrono>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "timestamp/Timestamp.h"

namespace {

using Orm::Lux::Trace::uTimestampCD;
using MicroTime = date::sys_time<std::chrono::microseconds>;

constexpr unsigned long kType = 0x88UL << 56;
constexpr unsigned long kTicksPerSecond = 170000000;
constexpr unsigned long kTicksPerMicrosecond = 170;

// Words at random within so many seconds of the reference. They stand between two microseconds, where every way of
// counting gives the same one.
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

std::string Library(unsigned long word) {
    static uTimestampCD zero = [] {
        uTimestampCD time;
        time.setTime(2026, 11, 16, 10, 0, 0, 0, 0);
        return time;
    }();
    return zero.GetRcvTODStamp(word, 0, 0);
}

// Argument: the seconds that the words lie within.
template <std::string (*Stamp)(unsigned long)> void Measure(benchmark::State& state) {
    const auto words = Words(static_cast<unsigned long>(state.range(0)));
    for (const unsigned long word : words) {
        if (Stamp(word) != DateAndPlainFmt(word)) state.SkipWithError("the texts differ");
    }
    std::size_t at = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(Stamp(words[at]));
        at = (at + 1) % words.size();
    }
}

constexpr long kHour = 3600;
constexpr long kYears = 10 * 365L * 86400;

BENCHMARK_TEMPLATE(Measure, Library)->Arg(kHour)->Arg(kYears);
BENCHMARK_TEMPLATE(Measure, DateAndPlainFmt)->Arg(kHour)->Arg(kYears);
BENCHMARK_TEMPLATE(Measure, DateAndCompiledFmt)->Arg(kHour)->Arg(kYears);

}  // namespace

BENCHMARK_MAIN();
