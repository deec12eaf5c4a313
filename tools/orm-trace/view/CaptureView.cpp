#include "tools/orm-trace/view/CaptureView.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <future>
#include <thread>
#include <vector>

#include "capture/Error.h"
#include "capture/SectionWalk.h"
#include "capture/WordBuffer.h"
#include "tools/orm-trace/output/FaultReport.h"
#include "tools/orm-trace/output/Json.h"
#include "tools/orm-trace/output/ProgressBar.h"
#include "tools/orm-trace/output/Text.h"

namespace orm_trace {
namespace {

constexpr std::size_t kMaxListed = 1000;  // steps, stretches and sections
constexpr std::size_t kMaxLanes = 8;

std::string TypeName(std::size_t type) {
    std::string name;
    constexpr char kDigits[] = "0123456789ABCDEF";
    return (name += "0x") += {kDigits[type / 16], kDigits[type % 16]};
}

// Equal parts of what is from `from` up to `to`; at least one, which may be empty.
struct Columns {
    std::uint64_t from;
    std::uint64_t to;
    std::uint64_t count;

    Columns(std::uint64_t begin, std::uint64_t end, std::uint64_t most)
        : from(begin), to(end), count(std::max<std::uint64_t>(1, std::min(most, end - begin))) {}

    // Returns: where this column begins; where the last one ends, for the number of columns.
    std::uint64_t Edge(std::uint64_t column) const {
        const std::uint64_t width = to - from;
        return from + width / count * column + width % count * column / count;
    }
};

// Arrays of columns are written without a tree of objects: they have up to a million elements.
class ColumnWriter {
public:
    explicit ColumnWriter(std::string& text) : m_text(text) {}

    void Begin(const char* key) { (((m_text += m_isFirst ? "\"" : ",\"") += key) += "\":["), m_isFirst = true; }
    void Number(std::uint64_t number) { Append(number, ""); }
    void Number64(std::uint64_t number) { Append(number, "\""); }
    void Null() { Separate() += "null"; }
    void End() { m_text += ']', m_isFirst = false; }

private:
    std::string& Separate() {
        if (!std::exchange(m_isFirst, false)) m_text += ',';
        return m_text;
    }
    void Append(std::uint64_t number, const char* quote) {
        std::array<char, 20> digits;
        Separate() += quote;
        m_text.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr) += quote;
    }

    std::string& m_text;
    bool m_isFirst = true;
};

// The counts of each type that occurs, by column.
template <class Column> void AppendTypes(std::string& text, const std::vector<Column>& columns) {
    text += "\"types\":{";
    ColumnWriter writer(text);
    for (std::size_t type = 0; type < kTypes; ++type) {
        const auto has = [&](const Column& column) { return column.types[type] != 0; };
        if (std::none_of(columns.begin(), columns.end(), has)) continue;
        writer.Begin(TypeName(type).c_str());
        for (const Column& column : columns) writer.Number(column.types[type]);
        writer.End();
    }
    text += '}';
}

// The steps to the first stamps of columns, from the stamps before, are in no column's summary. before: ticks of the last
// stamp before the columns.
void AddStepsBetween(std::optional<std::uint64_t> before, std::vector<RangeSummary>& columns) {
    for (RangeSummary& column : columns) {
        StampSummary& stamps = column.stamps;
        if (stamps.count == 0) continue;
        if (before && stamps.first < *before) ++stamps.stepsBack;
        if (before && stamps.first > *before) {
            stamps.greatestStep = std::max(stamps.greatestStep, stamps.first - *before);
        }
        before = stamps.last;
    }
}

std::string HeadOf(const Columns& columns) {
    return R"({"from":")" + std::to_string(columns.from) + R"(","to":")" + std::to_string(columns.to) +
           R"(","columns":)" + std::to_string(columns.count) + ',';
}

// Calls work(isFirst) in this thread, for which isFirst is true, and in others if there is enough for them to do. parts: pieces
// of about a millisecond that the work has.
template <class Work> void InThreads(std::uint64_t parts, Work work) {
    constexpr unsigned kMaxThreads = 8;
    std::vector<std::future<void>> others;
    const unsigned threads = parts < 4 ? 1 : std::min(kMaxThreads, std::thread::hardware_concurrency());
    while (others.size() + 1 < threads) others.push_back(std::async(std::launch::async, work, false));
    work(true);
    for (auto& other : others) other.get();
}

Json StepsJson(const StampSteps& steps) {
    Json list = Json::array();
    for (const StampStep& step : steps.first) {
        list.push_back({{"sample", Number64(step.sample)}, {"ticks", Number64(step.ticks)}});
    }
    return list;
}

}  // namespace

CaptureView::CaptureView(const InputFile& file, const TimeOptions& time, std::uint64_t gap)
    : m_file(file), m_opened(StateOf(file)), m_time(time) {
    try {
        m_samples.emplace(file);
        m_missing = m_samples->Count() - m_samples->Available();
        if (m_missing != 0) m_note = Missing(m_missing, m_samples->Count(), "sample");
    } catch (const Error& error) {
        m_note = error.what();
    }
    m_read = [this](std::uint64_t first, std::span<std::uint64_t> words) { return Read(first, words); };
    m_index.emplace(m_samples ? m_samples->Available() : 0, time.Reference(), gap);
    Build();
    m_whole = m_index->SummarizeBlocks(0, Samples());
    m_timeline.emplace(*m_index, kMaxListed, m_read);
}

void CaptureView::Build() {
    constexpr std::uint64_t kPart = 32 * BlockIndex::kBlock;  // samples, 1 MiB
    std::atomic<std::uint64_t> next = 0;
    ProgressBar bar(Samples() * sizeof(std::uint64_t));
    std::uint64_t shown = 0;
    InThreads(Samples() / kPart, [&](bool isFirst) {
        WordBuffer buffer(static_cast<std::size_t>(std::min(kPart, Samples())));
        for (std::uint64_t first = next.fetch_add(kPart); first < Samples(); first = next.fetch_add(kPart)) {
            const auto words = buffer.Words().first(static_cast<std::size_t>(std::min(kPart, Samples() - first)));
            Read(first, words);
            m_index->Fill(first, words);
            const std::uint64_t end = first + words.size();
            if (isFirst) bar.Advance((end - std::exchange(shown, end)) * sizeof(std::uint64_t));
        }
    });
    m_index->Finish();
}

std::size_t CaptureView::Read(std::uint64_t first, std::span<std::uint64_t> words) const {
    if (m_samples->Read(first, words) < words.size()) m_file.ThrowShorter();
    return words.size();
}

void CaptureView::RequireWhole() const {
    const std::lock_guard lock(m_measuring);
    m_file.Measure();
    const FileState now = StateOf(m_file);
    if (now.size == m_opened.size && now.modified != m_opened.modified) {
        throw Error(ErrorKind::kChanged, m_file.Path(), "was changed while it was in view");
    }
    if (!now.hasName) throw Error(ErrorKind::kChanged, m_file.Path(), "was replaced or deleted while it was in view");
}

CaptureView::FileState CaptureView::StateOf(const InputFile& file) {
    struct stat open {};
    struct stat named {};
    if (fstat(fileno(file.Stream()), &open) != 0) throw MakeSystemError(ErrorKind::kFailed, file.Path(), errno);
    const bool hasName =
        stat(file.Path().c_str(), &named) == 0 && open.st_dev == named.st_dev && open.st_ino == named.st_ino;
    return {open.st_size, std::int64_t{open.st_mtim.tv_sec} * 1000000000 + open.st_mtim.tv_nsec, hasName};
}

std::optional<std::uint64_t> CaptureView::LastStampBefore(std::uint64_t sample) const {
    const StampSummary stamps = m_index->Summarize(0, sample, m_read).stamps;
    return stamps.count != 0 ? std::optional(stamps.last) : std::nullopt;
}

std::string CaptureView::Info(const std::string& path) const {
    RequireWhole();
    Json info;
    AddBytes(info, "file", path.substr(path.rfind('/') + 1));
    AddBytes(info, "path", path);
    info["kind"] = m_file.HasIdentifier() && m_file.IsNamedTdf() ? "tdf" : "plain";
    info["size"] = Number64(m_file.Size());
    info["samples"] = Number64(Samples());
    info["samples_missing"] = Number64(m_missing);
    info["reference"] = Number64(m_time.Reference());
    info["zero"] = m_time.Zero() ? Json(TimeText(*m_time.Zero())) : Json();
    info["gap"] = Number64(m_index->Gap());
    info["columns_max"] = kMaxColumns;
    info["types"] = Json::object();
    for (std::size_t type = 0; type < kTypes; ++type) {
        if (m_whole.types[type] != 0) info["types"][TypeName(type)] = Number64(m_whole.types[type]);
    }
    const StampSummary& stamps = m_whole.stamps;
    const auto ticks = [&](std::uint64_t number) { return stamps.count != 0 ? Number64(number) : Json(); };
    info["stamps"] = {{"count", Number64(stamps.count)},
                      {"first", ticks(stamps.first)},
                      {"last", ticks(stamps.last)},
                      {"least", ticks(stamps.least)},
                      {"greatest", ticks(stamps.greatest)}};
    const Steps& steps = m_timeline->All();
    info["gaps"] = StepsJson(steps.gaps);
    info["gaps_count"] = Number64(steps.gaps.count);
    info["steps_back"] = StepsJson(steps.back);
    info["steps_back_count"] = Number64(steps.back.count);
    info["stretches"] = Json::array();
    for (const Stretch& stretch : m_timeline->Stretches()) {
        info["stretches"].push_back({{"from", Number64(stretch.begin)},
                                     {"to", Number64(stretch.end)},
                                     {"least", ticks(stretch.least)},
                                     {"greatest", ticks(stretch.greatest)}});
    }
    info["stretch_count"] = Number64(steps.back.count + 1);
    Json sections = Json::array(), faults = Json::array();
    std::uint64_t count = 0;
    if (info["kind"] == "tdf") {
        SectionWalk walk(m_file);
        while (walk.Next()) {
            if (walk.Index() < kMaxListed) sections.push_back(SectionJson(walk.Index(), walk.Section()));
        }
        count = walk.Count();
        if (walk.Fault()) faults.push_back(WithoutControls(walk.Fault()->Message()));
    }
    info["section_count"] = Number64(count);
    info["sections"] = std::move(sections);
    info["faults"] = std::move(faults);
    if (!m_note.empty()) info["note"] = WithoutControls(m_note);
    return info.dump();
}

std::string CaptureView::Range(std::uint64_t from, std::uint64_t to, std::uint64_t count) const {
    RequireWhole();
    to = std::min(to, Samples());
    const Columns edges(std::min(from, to), to, count);
    std::vector<RangeSummary> columns(static_cast<std::size_t>(edges.count));
    std::atomic<std::uint64_t> next = 0;
    // Each column has two parts of blocks to read.
    InThreads(std::min(edges.count, (edges.to - edges.from) / BlockIndex::kBlock) / 64, [&](bool) {
        for (std::uint64_t n = next++; n < edges.count; n = next++) {
            columns[static_cast<std::size_t>(n)] = m_index->Summarize(edges.Edge(n), edges.Edge(n + 1), m_read);
        }
    });
    AddStepsBetween(LastStampBefore(edges.from), columns);

    std::string text = HeadOf(edges);
    AppendTypes(text, columns);
    text += ',';
    ColumnWriter writer(text);
    const auto append = [&](const char* key, auto isGiven, auto value) {
        writer.Begin(key);
        for (const RangeSummary& column : columns) {
            isGiven(column.stamps) ? writer.Number64(value(column.stamps)) : writer.Null();
        }
        writer.End();
    };
    const auto hasStamps = [](const StampSummary& stamps) { return stamps.count != 0; };
    append("least", hasStamps, [](const StampSummary& stamps) { return stamps.least; });
    append("greatest", hasStamps, [](const StampSummary& stamps) { return stamps.greatest; });
    append(
        "greatest_step", [](const StampSummary& stamps) { return stamps.greatestStep != 0; },
        [](const StampSummary& stamps) { return stamps.greatestStep; });
    writer.Begin("steps_back");
    for (const RangeSummary& column : columns) writer.Number(column.stamps.stepsBack);
    writer.End();
    return text += '}';
}

std::string CaptureView::Times(std::uint64_t from, std::uint64_t to, std::uint64_t count) const {
    RequireWhole();
    const Columns times(from, to, count);
    const auto laneOf = [&](std::size_t number) {
        const Stretch& stretch = m_timeline->Stretches()[number];
        std::vector<std::uint64_t> edges;
        for (std::uint64_t n = 0; n <= times.count; ++n) edges.push_back(times.Edge(n));
        auto columns = m_timeline->Columns(stretch, edges, m_read);
        std::transform(columns.begin(), columns.end(), edges.begin(),
                       [](const TimeColumn& column) { return column.begin; });
        columns.pop_back();
        std::string text = R"({"stretch":)" + std::to_string(number) + R"(,"from":")" + std::to_string(edges.front()) +
                           R"(","to":")" + std::to_string(edges.back()) + "\",";
        AppendTypes(text, columns);
        ColumnWriter writer(text += ',');
        writer.Begin("samples");
        for (const std::uint64_t edge : edges) writer.Number64(edge);
        writer.End();
        return text += '}';
    };
    std::vector<std::future<std::string>> lanes;
    const auto& stretches = m_timeline->Stretches();
    std::uint64_t folded = m_timeline->All().back.count + 1 - stretches.size();  // any of them may be in the range
    for (std::size_t n = 0; n < stretches.size() && HasStamps(); ++n) {
        if (stretches[n].least >= to || stretches[n].greatest < from) continue;
        if (lanes.size() < kMaxLanes) {
            lanes.push_back(std::async(std::launch::async, laneOf, n));
        } else {
            ++folded;
        }
    }
    std::string text = HeadOf(times) + R"("folded":")" + std::to_string(folded) + R"(","lanes":[)";
    for (std::size_t n = 0; n < lanes.size(); ++n) (text += n == 0 ? "" : ",") += lanes[n].get();
    return text += "]}";
}

std::string CaptureView::WordsFrom(std::uint64_t from, std::uint64_t count) const {
    RequireWhole();
    from = std::min(from, Samples());
    std::vector<std::uint64_t> words(static_cast<std::size_t>(std::min(count, Samples() - from)));
    Read(from, words);
    std::optional<std::uint64_t> before = LastStampBefore(from);
    Json answer{{"from", Number64(from)}, {"words", Json::array()}};
    for (std::size_t n = 0; n < words.size(); ++n) {
        std::string hex;
        AppendHexWord(hex, words[n]);
        Json object{{"sample", Number64(from + n)}, {"word", hex}};
        if (IsStamp(words[n])) {
            const std::uint64_t ticks = TicksOf(words[n], m_time.Reference());
            object["ticks"] = Number64(ticks);
            if (const auto time = m_time.TimeAt(ticks)) object["time"] = *time;
            if (before) {
                object["since"] =
                    ticks < *before ? '-' + std::to_string(*before - ticks) : std::to_string(ticks - *before);
            }
            before = ticks;
        }
        answer["words"].push_back(std::move(object));
    }
    return answer.dump();
}

std::string CaptureView::Find(const WordFilter& filter, std::uint64_t from, Direction direction) const {
    constexpr std::uint64_t kMaxSearched = std::uint64_t{32} << 20;  // samples
    constexpr std::uint64_t kChunk = 16 * 1024;
    RequireWhole();
    from = std::min(from, Samples());
    const bool isNext = direction == Direction::kNext;
    const std::uint64_t limit =
        isNext ? from + std::min(kMaxSearched, Samples() - from) : from - std::min(kMaxSearched, from);
    WordBuffer buffer(kChunk);
    std::optional<std::uint64_t> hit;
    while (!hit && from != limit) {
        const std::uint64_t size = std::min(kChunk, isNext ? limit - from : from - limit);
        const auto words = buffer.Words().first(static_cast<std::size_t>(size));
        const std::uint64_t begin = isNext ? from : from - size;
        Read(begin, words);
        if (isNext) {
            const std::size_t at = filter.Next(words, 0);
            if (at < words.size()) hit = begin + at;
        } else {
            const auto at =
                std::find_if(words.rbegin(), words.rend(), [&](std::uint64_t word) { return filter.IsHit(word); });
            if (at != words.rend()) hit = begin + static_cast<std::uint64_t>(words.rend() - at) - 1;
        }
        from = isNext ? begin + size : begin;
    }
    return Json{{"sample", hit ? Number64(*hit) : Json()}, {"searched_to", Number64(from)}}.dump();
}

std::string CaptureView::StepsOf(StepKind kind, std::uint64_t from, std::uint64_t to) const {
    RequireWhole();
    const Steps steps = m_timeline->StepsOf(from, to, kMaxListed, m_read);
    const StampSteps& chosen = kind == StepKind::kGaps ? steps.gaps : steps.back;
    return Json{{"steps", StepsJson(chosen)}, {"count", Number64(chosen.count)}}.dump();
}

}  // namespace orm_trace
