#include "tools/orm-trace/options/RangeOptions.h"

#include <algorithm>
#include <vector>

#include "capture/Error.h"
#include "tools/orm-trace/options/NumberOption.h"
#include "tools/orm-trace/options/ParseTime.h"

namespace orm_trace {
namespace {

// Returns: the index of the first stamp from first on whose ticks are chosen, or the number of samples.
template <class IsChosen>
std::uint64_t FindStamp(const SampleFile& file, std::uint64_t first, std::uint64_t reference, IsChosen isChosen) {
    std::vector<std::uint64_t> chunk(16 * 1024);
    while (const std::size_t got = file.Read(first, chunk)) {
        for (std::size_t n = 0; n < got; ++n) {
            if (IsStamp(chunk[n]) && isChosen(TicksOf(chunk[n], reference))) return first + n;
        }
        first += got;
    }
    return first;
}

}  // namespace

void RangeOptions::AddTo(CLI::App& app) {
    auto* from = AddNumberOption(app, "--from", m_from, UINT64_MAX, "First sample, counted from 0");
    auto* count =
        AddNumberOption(app, "--count", m_count, UINT64_MAX, "Number of samples (default: up to the last one)");
    const auto addTime = [&](const char* name, std::string& text, const char* help) {
        app.add_option(name, text, help)->option_text("TIME")->excludes(from)->excludes(count)->needs("--zero");
    };
    addTime("--from-time", m_fromText, "Begin at the first stamp that is not before this time");
    addTime("--to-time", m_toText, "End before the next stamp that is after this time");
}

void RangeOptions::Prepare() {
    if (!m_fromText.empty()) m_fromTime = ParseMicroseconds("--from-time", m_fromText);
    if (!m_toText.empty()) m_toTime = ParseMicroseconds("--to-time", m_toText);
}

SampleRange RangeOptions::Of(std::uint64_t total) const noexcept {
    return {m_from, m_count.value_or(total - std::min(total, m_from)), !m_count};
}

SampleRange RangeOptions::Of(const SampleFile& file, const TimeOptions& time) const {
    const std::uint64_t total = file.Count();
    if (!IsByTime()) return Of(total);
    const auto ticksAt = [&](Microseconds at) { return TicksAt(time.Zero().value(), at); };
    std::uint64_t first = 0;
    if (m_fromTime) {
        first =
            FindStamp(file, 0, time.Reference(), [&](std::uint64_t ticks) { return ticks >= ticksAt(*m_fromTime); });
        if (first == file.Available()) {
            throw Error(ErrorKind::kFailed, file.Path(), "has no stamp from " + TimeText(*m_fromTime) + " on");
        }
    }
    if (!m_toTime) return {first, total - first, true};
    // Even 0 ticks are after a time before 0 ticks.
    const bool isBeforeAll = m_toTime->count < time.Zero()->count;
    const std::uint64_t end = FindStamp(file, first, time.Reference(),
                                        [&](std::uint64_t ticks) { return isBeforeAll || ticks > ticksAt(*m_toTime); });
    if (m_fromTime && end == first) {
        throw Error(ErrorKind::kFailed, file.Path(),
                    "has no stamp from " + TimeText(*m_fromTime) + " to " + TimeText(*m_toTime));
    }
    return {first, (end < file.Available() ? end : total) - first, end >= file.Available()};
}

}  // namespace orm_trace
