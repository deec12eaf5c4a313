// orm-trace stats: counts what the samples of traces are.
#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "analysis/Statistics.h"
#include "tools/orm-trace/commands/Command.h"
#include "tools/orm-trace/commands/SampleScan.h"
#include "tools/orm-trace/options/FileOptions.h"
#include "tools/orm-trace/options/GapOption.h"
#include "tools/orm-trace/options/JobsOption.h"
#include "tools/orm-trace/options/TimeOptions.h"
#include "tools/orm-trace/output/Printer.h"
#include "tools/orm-trace/output/Text.h"

namespace orm_trace {
namespace {

std::string TypeName(std::size_t type) {
    std::array<char, 8> text;
    std::snprintf(text.data(), text.size(), "0x%02X", static_cast<unsigned>(type));
    return text.data();
}

// Ticks as seconds, for people.
std::string SecondsText(std::uint64_t ticks) {
    std::array<char, 48> text;
    std::snprintf(text.data(), text.size(), "%.6f s", static_cast<double>(ticks) / kTicksPerSecond);
    return text.data();
}

class TextStats : public TextPrinter {
public:
    using TextPrinter::TextPrinter;

    void Describe(const std::string& path, const Statistics& statistics, const TimeOptions& time) {
        Write(WithoutControls(path) + '\n');
        Line("samples", std::to_string(statistics.Samples()));
        Types(statistics.Types());
        const StampTotals& stamps = statistics.Stamps();
        Line("stamps", std::to_string(stamps.count));
        if (stamps.count != 0) {
            Ticks("first", stamps.first, time);
            Ticks("last", stamps.last, time);
            Ticks("least", stamps.least, time);
            Ticks("greatest", stamps.greatest, time);
        }
        Steps("gaps", statistics.Gaps());
        Steps("steps back", statistics.StepsBack());
        const EqualRun& run = statistics.LongestRun();
        if (run.count == 0) return;
        std::string word;
        AppendHexWord(word, run.word);
        Line("longest run", Counted(run.count, "sample") + " of " + word + " from sample " + std::to_string(run.first));
    }

private:
    static constexpr std::size_t kShown = 3;  // steps of each kind, so that a file takes one screen

    void Line(const std::string& name, const std::string& value) {
        constexpr std::size_t kWidth = 13;
        Write("  " + name + std::string(kWidth - std::min(kWidth, name.size()), ' ') + value + '\n');
    }
    // A line for each, or several in a line where there are many, so that a file takes one screen.
    void Types(const std::array<std::uint64_t, kTypes>& counts) {
        constexpr std::size_t kMaxLines = 16, kMaxWidth = 104;
        const std::size_t types = kTypes - static_cast<std::size_t>(std::count(counts.begin(), counts.end(), 0U));
        const std::size_t digits = std::to_string(*std::max_element(counts.begin(), counts.end())).size();
        std::string name = "types", line;
        for (std::size_t type = 0; type < kTypes; ++type) {
            if (counts[type] == 0) continue;
            const std::string count = std::to_string(counts[type]);
            if (types <= kMaxLines) {
                Line("type " + TypeName(type), count + (kIsStamp[type] ? " stamps" : ""));
                continue;
            }
            if (line.size() + digits + 7 > kMaxWidth) {
                Line(std::exchange(name, ""), std::exchange(line, ""));
            }
            line += (line.empty() ? "" : "  ") + TypeName(type) + std::string(digits + 1 - count.size(), ' ') + count;
        }
        if (!line.empty()) Line(name, line);
    }
    void Ticks(const std::string& name, std::uint64_t ticks, const TimeOptions& time) {
        const auto text = time.TimeAt(ticks);
        Line(name, std::to_string(ticks) + " ticks" + (text ? ", " + *text : ""));
    }
    void Steps(const std::string& name, const StampSteps& steps) {
        Line(name, std::to_string(steps.count));
        const std::size_t shown = std::min(kShown, steps.first.size());
        for (std::size_t n = 0; n < shown; ++n) {
            Line("", SecondsText(steps.first[n].ticks) + " before sample " + std::to_string(steps.first[n].sample));
        }
        if (steps.count > shown) Line("", "and " + std::to_string(steps.count - shown) + " more");
    }
};

// A line for each file.
class TableStats : public TextPrinter {
public:
    using TextPrinter::TextPrinter;

    void BeginFiles(std::size_t) {
        Write("     samples     types      stamps        gaps  steps back        span  file\n");
    }
    void Describe(const std::string& path, const Statistics& statistics, const TimeOptions&) {
        const StampTotals& stamps = statistics.Stamps();
        const auto& types = statistics.Types();
        std::array<char, 160> numbers;
        std::snprintf(numbers.data(), numbers.size(), "%12llu  %8zu  %10llu  %10llu  %10llu  %10s  ",
                      static_cast<unsigned long long>(statistics.Samples()),
                      kTypes - static_cast<std::size_t>(std::count(types.begin(), types.end(), 0U)),
                      static_cast<unsigned long long>(stamps.count),
                      static_cast<unsigned long long>(statistics.Gaps().count),
                      static_cast<unsigned long long>(statistics.StepsBack().count),
                      stamps.count == 0 ? "-" : SecondsText(stamps.greatest - stamps.least).c_str());
        Write(numbers.data() + WithoutControls(path) + '\n');
    }
};

class JsonStats : public JsonPrinter {
public:
    using JsonPrinter::JsonPrinter;

    void Describe(const std::string&, const Statistics& statistics, const TimeOptions&) {
        Document().Value("samples", Number64(statistics.Samples()));
        Json types = Json::object();
        for (std::size_t type = 0; type < kTypes; ++type) {
            if (statistics.Types()[type] != 0) types[TypeName(type)] = Number64(statistics.Types()[type]);
        }
        Document().Value("types", types);
        const StampTotals& stamps = statistics.Stamps();
        const auto ticks = [&](std::uint64_t number) { return stamps.count != 0 ? Number64(number) : Json(); };
        Document().Value("stamps", {{"count", Number64(stamps.count)},
                                    {"first", ticks(stamps.first)},
                                    {"last", ticks(stamps.last)},
                                    {"least", ticks(stamps.least)},
                                    {"greatest", ticks(stamps.greatest)}});
        Steps("steps_back", statistics.StepsBack());
        Steps("gaps", statistics.Gaps());
        const EqualRun& run = statistics.LongestRun();
        Json longest;
        if (run.count != 0) {
            longest = {{"word", Number64(run.word)}, {"first", Number64(run.first)}, {"count", Number64(run.count)}};
        }
        Document().Value("longest_run", longest);
    }

private:
    void Steps(const std::string& name, const StampSteps& steps) {
        Document().Begin('[', name.c_str());
        for (const StampStep& step : steps.first) {
            Document().Element({{"sample", Number64(step.sample)}, {"ticks", Number64(step.ticks)}});
        }
        Document().End();
        Document().Value((name + "_count").c_str(), Number64(steps.count));
    }
};

class StatsCommand : public Command {
public:
    explicit StatsCommand(CLI::App& app) {
        m_files.AddTo(app, "Trace files, or folders of TDF files");
        m_time.AddTo(app, "Time at 0 ticks: print the first, last, least and greatest stamp as times, too");
        m_range.AddTo(app);
        AddGapOption(app, m_gap);
        AddJobsOption(app, m_jobs);
        auto* table = app.add_flag("--table", m_isTable, "Write a line for each file");
        auto* json = app.add_flag(kJsonOption, m_json, kJsonOptionHelp)->excludes(table);
        AddNumberOption(app, "--limit", m_limit, kMaxLimit, "Gaps and steps back to list of a file (default: 1000)")
            ->needs(json);
        app.footer("Example:\n  orm-trace stats capture.tdf --gap 0.5");
    }

    ExitCode Run(Output& out) override {
        m_time.Prepare();
        m_range.Prepare();
        const Statistics::Settings settings{m_time.Reference(), m_gap, m_limit};
        const auto work = [&](auto& printer, const std::string& path) {
            const InputFile input(path);
            const SampleFile file(input);
            const SampleRange range = m_range.Of(file, m_time, m_jobs <= 1);
            Statistics statistics(range.first, settings);
            const SamplesRead samples =
                ScanSamples(file, range, printer.Out(), m_jobs <= 1, [&](Words words, std::uint64_t) {
                    statistics.Add(words);
                    return true;
                });
            printer.Describe(path, statistics, m_time);
            return ReportMissing(path, samples);
        };
        const auto print = [&](auto& printer) { return PrintFiles(printer, m_files.Files(), m_jobs, work); };
        if (m_isTable) return PrintWith<TableStats>(out, "stats", print);
        return Print<TextStats, JsonStats>(m_json, out, "stats", print);
    }

private:
    static constexpr std::size_t kMaxLimit = 1000000;

    FileOptions m_files;
    RangeOptions m_range;
    TimeOptions m_time;
    std::uint64_t m_gap = kTicksPerSecond;
    std::size_t m_limit = 1000;
    unsigned m_jobs = 1;
    bool m_isTable = false;
    bool m_json = false;
};

}  // namespace

std::unique_ptr<Command> AddStatsCommand(CLI::App& app) {
    return std::make_unique<StatsCommand>(*app.add_subcommand("stats", "Count types, stamps, gaps and steps back"));
}

}  // namespace orm_trace
