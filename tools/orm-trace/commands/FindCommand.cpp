// orm-trace find: searches the samples of traces.
#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "analysis/WordFilter.h"
#include "tools/orm-trace/commands/Command.h"
#include "tools/orm-trace/commands/SampleScan.h"
#include "tools/orm-trace/options/FileOptions.h"
#include "tools/orm-trace/options/FormatOptions.h"
#include "tools/orm-trace/options/JobsOption.h"
#include "tools/orm-trace/options/TimeOptions.h"
#include "tools/orm-trace/options/TypeOption.h"
#include "tools/orm-trace/output/Printer.h"
#include "tools/orm-trace/output/Text.h"

namespace orm_trace {
namespace {

struct FoundWord {
    std::uint64_t sample;
    std::uint64_t word;
    bool isHit;                       // not only context of one
    std::optional<std::string> time;  // of a stamp, if it is asked for
};

Json HitJson(const FoundWord& found) {
    Json object{{"sample", Number64(found.sample)}, {"word", Number64(found.word)}};
    if (found.time) object["time"] = *found.time;
    if (!found.isHit) object["context"] = true;
    return object;
}

class TextFind : public TextPrinter {
public:
    TextFind(Output& out, const char* command) : TextPrinter(out, command), m_hasColor(out.HasColor()) {}

    void BeginFiles(std::size_t count) { m_isNamed = count > 1; }
    void BeginFile(const std::string& path) { m_name = m_isNamed ? WithoutControls(path) + ": " : ""; }
    void BeginHits() {}
    void Add(const FoundWord& found) {
        std::array<char, 20> digits;
        m_line = m_name;
        m_line.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), found.sample).ptr);
        m_line += found.isHit ? " " : "- ";
        const bool isColored = m_hasColor && IsStamp(found.word);
        if (isColored) m_line += kStampColor;
        AppendHexWord(m_line, found.word);
        if (found.time) (m_line += ' ') += *found.time;
        if (isColored) m_line += kNoColor;
        Write(m_line += '\n');
    }
    void EndHits() {}
    void Total(std::uint64_t hits, bool isAsked) {
        if (isAsked) Write(m_name + std::to_string(hits) + '\n');
    }

private:
    bool m_hasColor;
    bool m_isNamed = false;
    std::string m_name;
    std::string m_line;
};

class JsonFind : public JsonPrinter {
public:
    using JsonPrinter::JsonPrinter;

    void BeginHits() { Document().Begin('[', "hits"); }
    void Add(const FoundWord& found) { Document().Element(HitJson(found)); }
    void EndHits() { Document().End(); }
    void Total(std::uint64_t hits, bool) { Document().Value("hit_count", Number64(hits)); }
};

struct JsonLinesFind : JsonLinesPrinter {
    using JsonLinesPrinter::JsonLinesPrinter;

    void BeginHits() {}
    void Add(const FoundWord& found) { Line(HitJson(found)); }
    void EndHits() {}
    void Total(std::uint64_t hits, bool isAsked) {
        if (isAsked) Line({{"hit_count", Number64(hits)}});
    }
};

// Adds hits with the words around them. No word is added twice.
template <class Add> class ContextLines {
public:
    ContextLines(std::uint64_t count, Add add) : m_count(count), m_add(add) {}

    void Hit(std::uint64_t sample, std::uint64_t word) {
        for (const auto& [index, before] : m_before) m_add(index, before, false);
        m_before.clear();
        m_add(sample, word, true);
        m_after = m_count;
    }
    void Other(std::uint64_t sample, std::uint64_t word) {
        if (m_after != 0) {
            --m_after;
            return m_add(sample, word, false);
        }
        m_before.emplace_back(sample, word);
        if (m_before.size() > m_count) m_before.pop_front();
    }
    bool IsComplete() const noexcept { return m_after == 0; }

private:
    std::uint64_t m_count;
    Add m_add;
    std::deque<std::pair<std::uint64_t, std::uint64_t>> m_before;
    std::uint64_t m_after = 0;  // words still to be added after the last hit
};

class FindCommand : public Command {
public:
    explicit FindCommand(CLI::App& app) {
        m_files.AddTo(app, "Trace files, or folders of TDF files");
        auto* value = AddNumberOption(app, "--value", m_value, UINT64_MAX, "A hit equals this word");
        AddNumberOption(app, "--mask", m_mask, UINT64_MAX, "Compare only these bits (default: all)")->needs(value);
        m_types.AddTo(app, "--type", "A hit has this type, the upper 8 bits; may be given several times")
            ->excludes(value);
        AddNumberOption(app, "--limit", m_limit, UINT64_MAX, "Stop after this many hits in each file");
        AddNumberOption(app, "--context", m_context, kMaxContext, "Print this many words before and after each hit");
        app.add_flag("--only-count", m_isOnlyCount, "Print only the number of hits of each file");
        m_time.AddTo(app);
        m_range.AddTo(app);
        AddJobsOption(app, m_jobs);
        AddFormatOptions(app, m_format);
        app.footer("Example:\n  orm-trace find capture.tdf --type 0x88 --limit 10 --zero \"2026-11-16 10:00:00\"");
    }

    ExitCode Run(Output& out) override {
        m_time.Prepare();
        m_range.Prepare();
        if (m_limit == 0U) throw Error(ErrorKind::kArgument, "--limit", "has to be at least 1");
        const WordFilter filter = Filter();
        m_showsProgress = (m_isOnlyCount || !out.IsTerminal()) && m_jobs <= 1;  // which would mix with the hits
        std::atomic<bool> isFound = false;
        const auto work = [&](auto& printer, const std::string& path) {
            const InputFile input(path);
            const SampleFile file(input);
            if (!m_isOnlyCount) printer.BeginHits();
            const auto [samples, hits] =
                m_isOnlyCount ? CountHits(file, filter, printer.Out()) : PrintHits(file, filter, printer);
            if (!m_isOnlyCount) printer.EndHits();
            printer.Total(hits, m_isOnlyCount);
            if (hits != 0) isFound = true;
            return ReportMissing(path, samples);
        };
        const ExitCode code = Print<TextFind, JsonFind, JsonLinesFind>(
            m_format, out, "find", [&](auto& printer) { return PrintFiles(printer, m_files.Files(), m_jobs, work); });
        return code == ExitCode::kOk && !isFound ? ExitCode::kDifferent : code;
    }

private:
    static constexpr std::uint64_t kMaxContext = 10000;

    struct Found {
        SamplesRead samples;
        std::uint64_t hits = 0;
    };

    WordFilter Filter() const {
        if (m_value) return WordFilter::Masked(*m_value, m_mask.value_or(UINT64_MAX));
        if (!m_types.IsGiven()) throw Error(ErrorKind::kArgument, "find", "--value or --type is required");
        return WordFilter::OfTypes(m_types.Types());
    }

    Found CountHits(const SampleFile& file, const WordFilter& filter, const Output& out) const {
        Found found;
        const std::uint64_t limit = m_limit.value_or(UINT64_MAX);
        found.samples = ScanSamples(file, m_range.Of(file, m_time, m_showsProgress), out, m_showsProgress,
                                    [&](Words words, std::uint64_t) {
                                        found.hits = std::min(limit, found.hits + filter.Count(words));
                                        return found.hits < limit;
                                    });
        return found;
    }

    template <class Printer> Found PrintHits(const SampleFile& file, const WordFilter& filter, Printer& printer) const {
        Found found;
        ContextLines lines(m_context, [&](std::uint64_t sample, std::uint64_t word, bool isHit) {
            printer.Add(
                {sample, word, isHit, IsStamp(word) ? m_time.TimeAt(TicksOf(word, m_time.Reference())) : std::nullopt});
        });
        const std::uint64_t limit = m_limit.value_or(UINT64_MAX);
        found.samples = ScanSamples(file, m_range.Of(file, m_time, m_showsProgress), printer.Out(), m_showsProgress,
                                    [&](Words words, std::uint64_t first) {
                                        for (std::size_t at = 0; at < words.size();) {
                                            const std::size_t hit =
                                                found.hits < limit ? filter.Next(words, at) : words.size();
                                            // Of the words between hits only those near one can be context.
                                            if (m_context != 0) {
                                                for (; at < hit && !lines.IsComplete(); ++at)
                                                    lines.Other(first + at, words[at]);
                                                if (found.hits == limit) return !lines.IsComplete();
                                                at = std::max(at, hit - std::min<std::size_t>(hit, m_context));
                                                for (; at < hit; ++at) lines.Other(first + at, words[at]);
                                            }
                                            if (hit < words.size()) {
                                                lines.Hit(first + hit, words[hit]);
                                                ++found.hits;
                                            }
                                            at = hit + 1;
                                            if (found.hits == limit && m_context == 0) return false;
                                        }
                                        return found.hits < limit || !lines.IsComplete();
                                    });
        if (found.hits == limit) found.samples.wanted = found.samples.read;  // no more was asked for
        return found;
    }

    FileOptions m_files;
    std::optional<std::uint64_t> m_value;
    std::optional<std::uint64_t> m_mask;
    TypeOption m_types;
    RangeOptions m_range;
    std::optional<std::uint64_t> m_limit;
    std::uint64_t m_context = 0;
    bool m_isOnlyCount = false;
    bool m_showsProgress = false;
    TimeOptions m_time;
    unsigned m_jobs = 1;
    PrintFormat m_format = PrintFormat::kText;
};

}  // namespace

std::unique_ptr<Command> AddFindCommand(CLI::App& app) {
    return std::make_unique<FindCommand>(*app.add_subcommand("find", "Search the samples of traces"));
}

}  // namespace orm_trace
