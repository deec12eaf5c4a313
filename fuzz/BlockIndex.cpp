// Questions about words, beside plain loops: the index of blocks and its timeline, also of a file that becomes shorter,
// the statistics, and the search.
// The input has the questions, and then the words as runs: a first word, a step from word to word, and a count.
#include "analysis/BlockIndex.h"

#include "analysis/StampTimeline.h"
#include "analysis/Statistics.h"
#include "analysis/WordFilter.h"
#include "fuzz/Fuzz.h"

using namespace fuzz;
using namespace orm_trace;

namespace {

struct Run {
    std::vector<std::uint64_t> words;
    std::uint64_t reference;

    bool HasStamp(std::size_t n) const { return IsStampType(words[n] >> 56); }
    std::uint64_t Ticks(std::size_t n) const {
        return (words[n] & 0xFFFFFFFFFFFFFF) + (words[n] >> 56 == 0xB0 ? 0 : reference);
    }
    std::size_t Size() const { return words.size(); }
    Words Part(std::size_t begin, std::size_t end) const { return Words(words).subspan(begin, end - begin); }
};

// Many blocks take long, so that few inputs get them: which ones, says a sum of their bytes.
std::size_t MostWords(std::string_view bytes) {
    std::uint32_t sum = 1;
    for (const char c : bytes) sum = sum * 31 + static_cast<unsigned char>(c);
    sum ^= sum >> 15;
    return sum % 1024 == 0 ? 70000 : sum % 128 == 0 ? 10000 : 200;
}

Run ReadRun(Input& input, std::uint64_t reference, std::size_t most) {
    Run run{{}, reference};
    while (!input.IsEmpty() && run.Size() < most) {
        const unsigned kind = input.Number();
        const std::uint64_t type = kind % 4 != 0 ? static_cast<unsigned char>("\x88\xB0\xC8"[kind % 4 - 1]) : kind;
        std::uint64_t word = type << 56 | input.Number<std::uint32_t>() << (kind >> 4 & 3) * 8;
        const auto step = static_cast<std::uint64_t>(std::int64_t{input.Number<std::int8_t>()});
        const std::size_t count = std::min<std::size_t>(input.Number<std::uint16_t>() + 1, most - run.Size());
        for (std::size_t n = 0; n < count; ++n, word += step) run.words.push_back(word);
    }
    return run;
}

RangeSummary SummaryOf(const Run& run, std::size_t begin, std::size_t end) {
    RangeSummary summary;
    StampSummary& stamps = summary.stamps;
    for (std::size_t n = begin; n < end; ++n) {
        ++summary.samples;
        ++summary.types[run.words[n] >> 56];
        if (!run.HasStamp(n)) continue;
        const std::uint64_t ticks = run.Ticks(n);
        if (stamps.count++ == 0) stamps.first = stamps.last = ticks;
        if (ticks < stamps.last) ++stamps.stepsBack;
        if (ticks > stamps.last) stamps.greatestStep = std::max(stamps.greatestStep, ticks - stamps.last);
        stamps.last = ticks;
        stamps.least = std::min(stamps.least, ticks);
        stamps.greatest = std::max(stamps.greatest, ticks);
    }
    return summary;
}

// All steps.
Steps StepsOf(const Run& run, std::size_t begin, std::size_t end, std::uint64_t gap) {
    Steps steps;
    std::size_t last = end;
    for (std::size_t n = begin; n < end; ++n) {
        if (!run.HasStamp(n)) continue;
        const std::uint64_t ticks = run.Ticks(n), before = last == end ? ticks : run.Ticks(last);
        if (ticks < before) steps.back.first.push_back({n, before - ticks});
        if (ticks > before && ticks - before > gap) steps.gaps.first.push_back({n, ticks - before});
        last = n;
    }
    return steps;
}

void RequireSteps(const StampSteps& steps, const StampSteps& all, std::size_t limit) {
    Require(steps.count == all.first.size() && steps.first.size() == std::min(limit, all.first.size()));
    Require(std::equal(steps.first.begin(), steps.first.end(), all.first.begin(),
                       [](const auto& a, const auto& b) { return a.sample == b.sample && a.ticks == b.ticks; }));
}
void RequireSteps(const Steps& steps, const Steps& all, std::size_t limit) {
    RequireSteps(steps.gaps, all.gaps, limit);
    RequireSteps(steps.back, all.back, limit);
}

// The file that the words are read from, which may end before the run does, and what was read of it.
struct File {
    const Run& run;
    std::size_t size;
    int reads = 0;

    BlockIndex::ReadWords Reader() {
        return [this](std::uint64_t first, std::span<std::uint64_t> words) {
            Require(first + words.size() <= run.Size() && words.size() <= BlockIndex::kBlock);
            ++reads;
            const std::size_t end = std::min<std::size_t>(first + words.size(), size);
            const std::size_t count = end - std::min<std::size_t>(first, end);
            std::copy_n(run.words.begin() + static_cast<std::ptrdiff_t>(first), count, words.begin());
            return count;
        };
    }
};

void CheckSummary(const Run& run, const BlockIndex& index, std::uint64_t begin, std::uint64_t end, std::size_t size) {
    constexpr std::size_t kBlock = BlockIndex::kBlock;
    File file{run, run.Size()}, shorter{run, size};
    const std::size_t to = std::min<std::size_t>(end, run.Size()), from = std::min<std::size_t>(begin, to);
    Require(index.Summarize(begin, end, file.Reader()) == SummaryOf(run, from, to) && file.reads <= 2);
    // What is read is at the ends of the range, and ends where the file does.
    const std::size_t whole = std::min((from + kBlock - 1) / kBlock * kBlock, to);
    const std::size_t wholeEnd = to == run.Size() ? to : std::max(whole, to / kBlock * kBlock);
    std::size_t seen = std::max(wholeEnd, std::min(to, size));
    if (from < whole && size < whole) seen = std::max(from, size);
    Require(index.Summarize(begin, end, shorter.Reader()) == SummaryOf(run, from, seen));
    if (whole < wholeEnd) Require(index.SummarizeBlocks(whole, wholeEnd) == SummaryOf(run, whole, wholeEnd));
}

void CheckStatistics(const Run& run, const RangeSummary& all, const Steps& steps, std::size_t cut, std::uint64_t gap,
                     std::size_t limit) {
    constexpr std::uint64_t kFirst = 1000;
    Statistics statistics(kFirst, {run.reference, gap, limit});
    statistics.Add(run.Part(0, cut));
    statistics.Add(run.Part(cut, run.Size()));
    Require(statistics.Samples() == all.samples && statistics.Types() == all.types);
    Require(statistics.Stamps() == static_cast<const StampTotals&>(all.stamps));
    Steps moved = steps;
    for (StampSteps* const each : {&moved.gaps, &moved.back})
        for (StampStep& step : each->first) step.sample += kFirst;
    RequireSteps(statistics.Gaps(), moved.gaps, limit);
    RequireSteps(statistics.StepsBack(), moved.back, limit);
    EqualRun longest;
    for (std::size_t n = 0, begin = 0; n < run.Size(); ++n) {
        if (run.words[n] != run.words[begin]) begin = n;
        if (n - begin + 1 > longest.count) longest = {run.words[n], begin + kFirst, n - begin + 1};
    }
    const EqualRun& found = statistics.LongestRun();
    Require(found.count == longest.count && found.first == longest.first && found.word == longest.word);
}

std::size_t FindTicks(const Run& run, const Stretch& stretch, std::uint64_t ticks) {
    std::size_t n = stretch.begin;
    if (ticks <= stretch.least) return n;
    while (n < stretch.end && !(run.HasStamp(n) && run.Ticks(n) >= ticks)) ++n;
    return n;
}

void CheckStretch(const Run& run, const StampTimeline& timeline, const Stretch& stretch,
                  const std::vector<std::uint64_t>& edges) {
    File file{run, run.Size()};
    const auto read = file.Reader();
    const auto columns = timeline.Columns(stretch, edges, read);
    Require(columns.size() == edges.size());
    for (std::size_t n = 0; n < edges.size(); ++n) {
        const std::size_t begin = FindTicks(run, stretch, edges[n]);
        Require(columns[n].begin == begin && timeline.Find(stretch, edges[n], read) == begin);
        const std::size_t end = n + 1 < edges.size() ? FindTicks(run, stretch, edges[n + 1]) : begin;
        Require(columns[n].types == SummaryOf(run, begin, end).types);
    }
}

void CheckTimeline(const Run& run, const BlockIndex& index, const Steps& steps, std::size_t limit,
                   std::vector<std::uint64_t> edges, std::size_t begin, std::size_t end, std::size_t which) {
    File file{run, run.Size()};
    const auto read = file.Reader();
    const StampTimeline timeline(index, limit, read);
    RequireSteps(timeline.All(), steps, limit);
    end = std::min(end, run.Size());
    begin = std::min(begin, end);
    RequireSteps(timeline.StepsOf(begin, end, limit, read), StepsOf(run, begin, end, index.Gap()), limit);
    const auto& stretches = timeline.Stretches();
    const auto& back = steps.back.first;
    Require(stretches.size() == std::min(limit, back.size() + 1));
    std::sort(edges.begin(), edges.end());
    for (std::size_t n = 0; n < stretches.size(); ++n) {
        const Stretch& stretch = stretches[n];
        Require(stretch.begin == (n == 0 ? 0 : back[n - 1].sample));
        Require(stretch.end == (n < back.size() ? back[n].sample : run.Size()));
        const StampSummary stamps = SummaryOf(run, stretch.begin, stretch.end).stamps;
        Require(stamps.stepsBack == 0);
        if (stamps.count != 0) Require(stretch.least == stamps.first && stretch.greatest == stamps.last);
        if (n == which % stretches.size()) CheckStretch(run, timeline, stretch, edges);
    }
}

void CheckSearch(const Run& run, std::uint64_t value, std::uint64_t mask, std::size_t from) {
    std::array<bool, kTypes> types{};
    types[value >> 56] = types[mask >> 56] = true;
    for (const bool isMasked : {true, false}) {
        const auto isHit = [&](std::uint64_t word) {
            return isMasked ? ((word ^ value) & mask) == 0 : word >> 56 == value >> 56 || word >> 56 == mask >> 56;
        };
        std::vector<std::uint64_t> expected, hits(run.Size());  // its end is guarded
        for (std::size_t n = 0; n < run.Size(); ++n)
            if (isHit(run.words[n])) expected.push_back(n + 5);
        const WordFilter filter = isMasked ? WordFilter::Masked(value, mask) : WordFilter::OfTypes(types);
        Require(filter.Count(run.words) == expected.size());
        hits.resize(filter.Collect(run.words, 5, hits.data()));
        Require(hits == expected);
        const auto next = std::lower_bound(expected.begin(), expected.end(), from + 5);
        Require(filter.Next(run.words, from) == (next == expected.end() ? run.Size() : *next - 5));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const unsigned what = input.Number();
    const auto reference = input.Number<std::uint64_t>() >> (what & 63);
    const std::uint64_t gap = input.Number<std::uint16_t>(), begin = input.Number<std::uint16_t>(),
                        end = begin + input.Number<std::uint16_t>() * std::uint64_t{1 + (what >> 6)};
    const std::size_t limit = input.Number() % 6;
    std::vector<std::uint64_t> edges(3);
    for (std::uint64_t& edge : edges) edge = reference + input.Number<std::uint32_t>();
    edges.push_back(input.Number<std::uint64_t>());
    const auto mask = input.Number<std::uint64_t>();
    const Run run = ReadRun(input, reference, MostWords({reinterpret_cast<const char*>(data), size}));
    const std::size_t cut = std::min<std::size_t>(edges[0] & 0xFFFF, run.Size());

    BlockIndex index(run.Size(), reference, gap);
    const std::size_t half = cut / BlockIndex::kBlock * BlockIndex::kBlock;
    index.Fill(half, run.Part(half, run.Size()));
    index.Fill(0, run.Part(0, half));
    index.Finish();
    const RangeSummary all = SummaryOf(run, 0, run.Size());
    const Steps steps = StepsOf(run, 0, run.Size(), gap);
    Require(index.Samples() == run.Size() && Summarize(run.words, reference) == all);
    Require(index.SummarizeBlocks(0, run.Size()) == all);
    CheckSummary(run, index, begin, end, cut);
    CheckStatistics(run, all, steps, cut, gap, limit);
    CheckTimeline(run, index, steps, limit, edges, begin, end, what);
    CheckSearch(run, run.Size() == 0 ? mask : run.words[cut % run.Size()], mask, cut);
    return 0;
}
