#include "tools/orm-trace/options/RangeOptions.h"

#include <algorithm>

#include "capture/Error.h"
#include "capture/WordBuffer.h"
#include "tools/orm-trace/options/NumberOption.h"
#include "tools/orm-trace/options/ParseTime.h"
#include "tools/orm-trace/output/ProgressBar.h"

namespace orm_trace {
namespace {

struct FoundStamp {
    std::uint64_t sample;    // the number of samples if there is none
    bool hasStamps = false;  // whether any was looked at
};

// Returns: the first stamp from first on whose time is chosen.
template <class IsChosen>
FoundStamp FindStamp(const SampleFile& file, std::uint64_t first, const TimeOptions& time, ProgressBar& bar,
                     IsChosen isChosen) {
    WordBuffer buffer(16 * 1024);
    FoundStamp found{first};
    while (found.sample < file.Available()) {
        const auto words = buffer.Words().first(
            static_cast<std::size_t>(std::min<std::uint64_t>(buffer.Words().size(), file.Available() - found.sample)));
        if (file.Read(found.sample, words) < words.size()) file.File().ThrowShorter();
        for (std::size_t n = 0; n < words.size(); ++n) {
            if (!IsStamp(words[n])) continue;
            found.hasStamps = true;
            if (!isChosen(TimeAt(time.Zero().value(), TicksOf(words[n], time.Reference())).count)) continue;
            found.sample += n;
            return found;
        }
        found.sample += words.size();
        bar.Advance(words.size_bytes());
    }
    return found;
}

}  // namespace

void RangeOptions::AddTo(CLI::App& app) {
    auto* from = AddNumberOption(app, "--from", m_from, UINT64_MAX, "First sample, counted from 0");
    auto* count =
        AddNumberOption(app, "--count", m_count, UINT64_MAX, "Number of samples (default: up to the last one)");
    const auto addTime = [&](const char* name, std::optional<std::string>& text, const char* help) {
        app.add_option_function<std::string>(
               name, [&text](const std::string& given) { text = given; }, help)
            ->option_text("TIME")
            ->excludes(from)
            ->excludes(count)
            ->needs("--zero");
    };
    addTime("--from-time", m_fromText, "Begin at the first stamp that is not before this time");
    addTime("--to-time", m_toText, "End before the next stamp that is after this time");
}

void RangeOptions::Prepare() {
    if (m_fromText) m_fromTime = ParseMicroseconds("--from-time", *m_fromText);
    if (m_toText) m_toTime = ParseMicroseconds("--to-time", *m_toText);
}

SampleRange RangeOptions::Of(std::uint64_t total) const noexcept {
    return {m_from, m_count.value_or(total - std::min(total, m_from)), !m_count};
}

SampleRange RangeOptions::Of(const SampleFile& file, const TimeOptions& time, bool showsProgress) const {
    const std::uint64_t total = file.Count();
    if (!IsByTime()) return Of(total);
    ProgressBar bar(file.Available() * sizeof(std::uint64_t), showsProgress);
    const auto refuse = [&](const std::string& what) {
        throw Error(ErrorKind::kFailed, file.Path(), "has no stamp" + what);
    };
    FoundStamp first{0};
    if (m_fromTime) {
        first = FindStamp(file, 0, time, bar, [&](std::int64_t at) { return at >= m_fromTime->count; });
        if (first.sample == file.Available()) refuse(" from " + TimeText(*m_fromTime) + " on");
    }
    if (!m_toTime) return {first.sample, total - first.sample, true};
    const FoundStamp end =
        FindStamp(file, first.sample, time, bar, [&](std::int64_t at) { return at > m_toTime->count; });
    if (!end.hasStamps) refuse("");
    if (m_fromTime && end.sample == first.sample) {
        refuse(" from " + TimeText(*m_fromTime) + " to " + TimeText(*m_toTime));
    }
    const bool isOpen = end.sample == file.Available();
    return {first.sample, (isOpen ? total : end.sample) - first.sample, isOpen};
}

}  // namespace orm_trace
