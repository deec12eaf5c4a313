// orm-trace diff: compares two captures.
#include <algorithm>
#include <exception>
#include <optional>
#include <string>

#include "analysis/Comparison.h"
#include "capture/SampleFile.h"
#include "capture/SectionPairs.h"
#include "capture/WordBuffer.h"
#include "tdf/TraceSection.h"
#include "tools/orm-trace/commands/Command.h"
#include "tools/orm-trace/options/FormatOptions.h"
#include "tools/orm-trace/options/NumberOption.h"
#include "tools/orm-trace/options/SectionPattern.h"
#include "tools/orm-trace/options/TypeOption.h"
#include "tools/orm-trace/output/FaultReport.h"
#include "tools/orm-trace/output/MissingSamples.h"
#include "tools/orm-trace/output/ProgressBar.h"
#include "tools/orm-trace/output/Text.h"

namespace orm_trace {
namespace {

using Orm::Lux::Trace::kSampleSize;

struct Names {
    const std::string& a;
    const std::string& b;
};

struct SampleDiff {
    std::uint64_t a;  // samples
    std::uint64_t b;
    const Comparison& comparison;

    bool IsDifferent() const noexcept { return a != b || comparison.Differing() != 0; }
};

// Shows what differs.
class TextDiff : public TextPrinter {
public:
    using TextPrinter::TextPrinter;

    void Begin(const Names& names) {
        m_onlyInA = "only in " + WithoutControls(names.a) + ": ";
        m_onlyInB = "only in " + WithoutControls(names.b) + ": ";
    }
    void BeginSections() {}
    void Section(const SectionPairs::Pair& pair, bool isEqual) {
        if (isEqual) return;
        const std::string label = "section " + SectionLabel(pair.name, pair.version);
        if (!pair.b) return Write(m_onlyInA + label + ", " + Counted(pair.a->length, "byte") + '\n');
        if (!pair.a) return Write(m_onlyInB + label + ", " + Counted(pair.b->length, "byte") + '\n');
        Write("different: " + label + ", " +
              (pair.a->length == pair.b->length
                   ? Counted(pair.a->length, "byte")
                   : std::to_string(pair.a->length) + " and " + Counted(pair.b->length, "byte")) +
              '\n');
    }
    void EndSections() {}
    void Samples(const SampleDiff& diff) {
        const Comparison& comparison = diff.comparison;
        if (diff.a > diff.b)
            Write(m_onlyInA + Counted(diff.a - diff.b, "sample") + " from " + std::to_string(diff.b) + '\n');
        if (diff.b > diff.a)
            Write(m_onlyInB + Counted(diff.b - diff.a, "sample") + " from " + std::to_string(diff.a) + '\n');
        if (comparison.Differing() == 0) return;
        Write("different: " + std::to_string(comparison.Differing()) + " of " +
              Counted(comparison.Compared(), "sample") + ", from " + std::to_string(comparison.First().sample) + '\n');
        for (const auto& [sample, a, b] : comparison.Kept()) {
            std::string line = std::to_string(sample) + ' ';
            AppendHexWord(line, a);
            AppendHexWord(line += ' ', b);
            Write(line += '\n');
        }
    }

private:
    std::string m_onlyInA;
    std::string m_onlyInB;
};

Json PairJson(const SectionPairs::Pair& pair, bool isEqual) {
    Json object;
    AddBytes(object, "name", pair.name);
    object["version"] = pair.version;
    object["in"] = !pair.b ? "a" : !pair.a ? "b" : "both";
    object["equal"] = isEqual;
    if (pair.a) object["data_length_a"] = pair.a->length;
    if (pair.b) object["data_length_b"] = pair.b->length;
    return object;
}

Json DifferenceJson(const Comparison::Difference& difference) {
    return {{"sample", Number64(difference.sample)}, {"a", Number64(difference.a)}, {"b", Number64(difference.b)}};
}

Json SamplesJson(const SampleDiff& diff) {
    const Comparison& comparison = diff.comparison;
    return {{"a", Number64(diff.a)},
            {"b", Number64(diff.b)},
            {"differing", Number64(comparison.Differing())},
            {"first", comparison.Differing() != 0 ? DifferenceJson(comparison.First()) : Json()}};
}

struct JsonDiff : JsonPrinter {
    using JsonPrinter::JsonPrinter;

    void Begin(const Names& names) {
        Json files;
        AddBytes(files, "file_a", names.a);
        AddBytes(files, "file_b", names.b);
        Document().Members(files);
    }
    void BeginSections() { Document().Begin('[', "sections"); }
    void Section(const SectionPairs::Pair& pair, bool isEqual) { Document().Element(PairJson(pair, isEqual)); }
    void EndSections() { Document().End(); }
    void Samples(const SampleDiff& diff) {
        Document().Value("samples", SamplesJson(diff));
        Document().Begin('[', "differences");
        for (const auto& difference : diff.comparison.Kept()) Document().Element(DifferenceJson(difference));
        Document().End();
    }
};

// A line for each section, one for each of the first differences, and one for the samples.
struct JsonLinesDiff : JsonLinesPrinter {
    using JsonLinesPrinter::JsonLinesPrinter;

    void Begin(const Names&) {}
    void BeginSections() {}
    void Section(const SectionPairs::Pair& pair, bool isEqual) { Line(PairJson(pair, isEqual)); }
    void EndSections() {}
    void Samples(const SampleDiff& diff) {
        for (const auto& difference : diff.comparison.Kept()) Line(DifferenceJson(difference));
        Line({{"samples", SamplesJson(diff)}});
    }
};

bool IsTdf(const InputFile& file) { return file.HasIdentifier() && file.IsNamedTdf(); }

class DiffCommand : public Command {
public:
    explicit DiffCommand(CLI::App& app) {
        app.add_option("A", m_a, "Trace file")->required();
        app.add_option("B", m_b, "Trace file to compare it with")->required();
        AddNumberOption(app, "--mask", m_settings.mask, UINT64_MAX,
                        "Compare only these bits of samples (default: all)");
        m_ignored.AddTo(app, "--ignore-type", "Samples are equal if both have one of these types");
        const auto setPattern = [this](const std::string& text) { m_pattern = SectionPattern::Parse(text); };
        app.add_option_function<std::string>("--section", setPattern,
                                             "Compare only sections of this name and, if given, version")
            ->option_text("NAME[:VERSION]");
        AddNumberOption(app, "--limit", m_settings.limit, kMaxLimit, "Differing samples to list (default: 10)");
        AddFormatOptions(app, m_format);
        app.footer("Example:\n  orm-trace diff before.tdf after.tdf --ignore-type 0x88");
    }

    ExitCode Run(Output& out) override {
        m_settings.ignored = m_ignored.Types();
        return Print<TextDiff, JsonDiff, JsonLinesDiff>(m_format, out, "diff", [&](auto& printer) {
            printer.Begin({m_a, m_b});
            const InputFile a(m_a), b(m_b);
            if (m_pattern) {
                a.RequireIdentifier();
                b.RequireIdentifier();
            }
            const bool hasSections = m_pattern || (IsTdf(a) && IsTdf(b));
            return hasSections ? CompareTdf(printer, a, b) : CompareSamples(printer, SampleFile(a), SampleFile(b));
        });
    }

private:
    static constexpr std::size_t kMaxLimit = 1000000;

    // The trace is compared as samples, whose result holds for its section.
    template <class Printer> ExitCode CompareTdf(Printer& printer, const InputFile& a, const InputFile& b) const {
        const SectionPairs pairs(a, b, [&](const auto& section) { return !m_pattern || m_pattern->Fits(section); });
        std::optional<SampleFile> samplesA, samplesB;
        std::exception_ptr noTrace;
        try {
            samplesA.emplace(a);
            samplesB.emplace(b);
        } catch (const Error&) {
            noTrace = std::current_exception();
        }
        const auto isTrace = [&](const SectionPairs::Pair& pair) {
            return samplesA && samplesB && samplesA->IsTdf() && samplesB->IsTdf() && pair.a && pair.b &&
                   pair.a->offset == samplesA->BytesOf(0, 0).begin && pair.b->offset == samplesB->BytesOf(0, 0).begin;
        };
        bool isTraceChosen = !m_pattern;
        bool isFound = false;
        if (m_pattern) pairs.Visit([&](const auto& pair) { isTraceChosen = isTraceChosen || isTrace(pair); });

        std::optional<Result> result;
        if (isTraceChosen && !noTrace) result = Compare(*samplesA, *samplesB);
        bool isDifferent = false;
        ProgressBar bar(2 * std::min(a.Size(), b.Size()));
        // Whether the data is the same from this byte on.
        const auto isSameFrom = [&](const SectionPairs::Pair& pair, std::uint64_t at) {
            return HasSameBytes(a, pair.a->offset + at, b, pair.b->offset + at, pair.a->available - at,
                                [&](std::uint64_t size) { bar.Advance(size); });
        };
        // A last sample that is cut short is completed by bytes after the section, which are not its data.
        const auto isSameTrace = [&](const SectionPairs::Pair& pair) {
            const std::uint64_t whole = pair.a->available / kSampleSize;
            const Comparison& comparison = result->comparison;
            const bool isSame = comparison.Differing() == 0 || comparison.First().sample >= whole;
            return isSame && isSameFrom(pair, whole * kSampleSize);
        };
        printer.BeginSections();
        pairs.Visit([&](const SectionPairs::Pair& pair) {
            isFound = true;
            const bool isEqual = pair.a && pair.b && pair.a->length == pair.b->length &&
                                 pair.a->available == pair.b->available &&
                                 (result && isTrace(pair) ? isSameTrace(pair) : isSameFrom(pair, 0));
            isDifferent = isDifferent || !isEqual;
            printer.Section(pair, isEqual);
        });
        printer.EndSections();
        const ExitCode faults = std::max(ReportFault(m_a, pairs.FaultA()), ReportFault(m_b, pairs.FaultB()));
        if (!isFound && m_pattern) {
            throw Error(ErrorKind::kFailed, m_a + ", " + m_b, "have no " + m_pattern->Label());
        }
        if (isTraceChosen && !result) std::rethrow_exception(noTrace);
        const ExitCode samples = result ? Show(printer, *result) : ExitCode::kOk;
        if (faults != ExitCode::kOk) return faults;
        return samples == ExitCode::kOk && isDifferent ? ExitCode::kDifferent : samples;
    }

    struct Result {
        SamplesRead a;
        SamplesRead b;
        Comparison comparison;
    };

    template <class Printer> ExitCode CompareSamples(Printer& printer, const SampleFile& a, const SampleFile& b) const {
        const Result result = Compare(a, b);
        return Show(printer, result);
    }

    Result Compare(const SampleFile& a, const SampleFile& b) const {
        constexpr std::uint64_t kChunk = 16 * 1024;  // words, 128 KiB
        Result result{
            {0, a.Count(), a.Available(), a.Count()}, {0, b.Count(), b.Available(), b.Count()}, Comparison(m_settings)};
        const std::uint64_t total = std::min(a.Available(), b.Available());
        WordBuffer bufferA(static_cast<std::size_t>(std::min(kChunk, total)));
        WordBuffer bufferB(bufferA.Words().size());
        const std::span<std::uint64_t> wordsA = bufferA.Words(), wordsB = bufferB.Words();
        ProgressBar bar(2 * total * sizeof(std::uint64_t));
        for (std::uint64_t first = 0; first < total; first += wordsA.size()) {
            const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(wordsA.size(), total - first));
            if (a.Read(first, wordsA.first(size)) < size) a.File().ThrowShorter();
            if (b.Read(first, wordsB.first(size)) < size) b.File().ThrowShorter();
            result.comparison.Add(wordsA.first(size), wordsB.first(size));
            bar.Advance(2 * size * sizeof(std::uint64_t));
        }
        result.a.hasGrown = a.HasGrown();
        result.b.hasGrown = b.HasGrown();
        return result;
    }

    template <class Printer> ExitCode Show(Printer& printer, const Result& result) const {
        const SampleDiff diff{result.a.read, result.b.read, result.comparison};
        printer.Samples(diff);
        const ExitCode code = std::max(ReportMissing(m_a, result.a), ReportMissing(m_b, result.b));
        return code == ExitCode::kOk && diff.IsDifferent() ? ExitCode::kDifferent : code;
    }

    std::string m_a;
    std::string m_b;
    Comparison::Settings m_settings;
    TypeOption m_ignored;
    std::optional<SectionPattern> m_pattern;
    PrintFormat m_format = PrintFormat::kText;
};

}  // namespace

std::unique_ptr<Command> AddDiffCommand(CLI::App& app) {
    return std::make_unique<DiffCommand>(*app.add_subcommand("diff", "Compare two captures, by sections and samples"));
}

}  // namespace orm_trace
