// orm-trace cut: copies a run of samples to a new TDF file.
#include <algorithm>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "capture/Origin.h"
#include "capture/ReplacementFile.h"
#include "capture/SectionCopy.h"
#include "tdf/TraceSection.h"
#include "tools/orm-trace/commands/Command.h"
#include "tools/orm-trace/options/RangeOptions.h"
#include "tools/orm-trace/options/SectionPattern.h"
#include "tools/orm-trace/output/FaultReport.h"
#include "tools/orm-trace/output/MissingSamples.h"
#include "tools/orm-trace/output/Printer.h"
#include "tools/orm-trace/output/ProgressBar.h"
#include "tools/orm-trace/output/Text.h"

namespace orm_trace {
namespace {

using namespace Orm::Lux::Trace;

struct CutResult {
    const std::string& in;
    const std::string& out;
    std::uint64_t first;
    std::uint64_t count;  // samples
    std::uint64_t sections;
    const std::optional<Origin>& origin;
};

struct TextCut : TextPrinter {
    using TextPrinter::TextPrinter;

    void Describe(const CutResult& result) {
        Write(WithoutControls(result.out) + ": " + Counted(result.count, "sample") + " from sample " +
              std::to_string(result.first) + ", " + Counted(result.sections, "section") + '\n');
    }
};

struct JsonCut : JsonPrinter {
    using JsonPrinter::JsonPrinter;

    void Describe(const CutResult& result) {
        Json object;
        AddBytes(object, "output", result.out);
        object["first_sample"] = Number64(result.first);
        object["count"] = Number64(result.count);
        object["section_count"] = Number64(result.sections);
        object["origin"] = result.origin ? OriginJson(*result.origin) : Json();
        Document().Members(object);
    }
};

bool FitsAny(const std::vector<SectionPattern>& patterns, const TDFSection& section) {
    return std::any_of(patterns.begin(), patterns.end(), [&](const auto& pattern) { return pattern.Fits(section); });
}

bool IsOrigin(const TDFSection& section) {
    return section.name == Origin::kSection && section.version == Origin::kVersion;
}

class CutCommand : public Command {
public:
    explicit CutCommand(CLI::App& app) {
        app.add_option("IN", m_in, "Trace file; it is not changed")->required();
        app.add_option("-o,--output", m_out, "TDF file to create, with the extension .tdf")
            ->required()
            ->option_text("OUT");
        m_time.AddTo(app, "Time at 0 ticks, for --from-time and --to-time");
        m_range.AddTo(app);
        const auto addSections = [&](const char* name, std::vector<std::string>& texts, const char* help) {
            return app.add_option(name, texts, help)
                ->option_text("NAME[:VERSION] ...")
                ->expected(1)
                ->take_all()
                ->allow_extra_args(false);
        };
        auto* keep = addSections("--section", m_keepTexts, "Keep only these sections, and the trace");
        addSections("--drop", m_dropTexts, "Leave these sections out")->excludes(keep);
        app.add_flag("--no-origin", m_isWithoutOrigin, "Do not write where the samples are from");
        app.add_flag(kJsonOption, m_json, kJsonOptionHelp);
        app.footer("Example:\n  orm-trace cut capture.tdf -o part.tdf --from 1000 --count 5000 --drop Notes");
    }

    ExitCode Run(Output& out) override {
        m_time.Prepare();
        m_range.Prepare();
        for (const std::string& text : m_keepTexts) m_keep.push_back(SectionPattern::Parse(text));
        for (const std::string& text : m_dropTexts) {
            m_drop.push_back(SectionPattern::Parse(text));
            if (m_drop.back().Fits(kTraceSection, kTraceVersion)) {
                throw Error(ErrorKind::kArgument, "--drop", "the trace is what is cut: " + text);
            }
        }
        return Print<TextCut, JsonCut>(m_json, out, "cut", [&](auto& printer) {
            printer.File(m_in);
            return Cut(printer);
        });
    }

private:
    static constexpr std::uint64_t kMaxCount = (kMaxSectionLength - kTraceHeaderSize) / kSampleSize;  // samples

    template <class Printer> ExitCode Cut(Printer& printer) {
        const InputFile file(m_in);
        const SampleFile samples(file);
        const SampleRange range = m_range.Of(samples, m_time);
        // The samples that IN has of the range, and their bytes.
        const std::uint64_t first = std::min(range.first, samples.Count());
        const std::uint64_t available = samples.Available() - std::min(samples.Available(), first);
        SamplesRead read{range.first, range.count, std::min(range.count, available), samples.Count()};
        SampleFile::Range bytes = samples.BytesOf(first, range.count);
        bytes.end = std::max(bytes.begin, std::min(bytes.end, file.Size()));
        const SampleFile::Range trace = samples.BytesOf(0, samples.Count());
        const std::uint64_t traceSize = std::min(trace.end, file.Size()) - std::min(trace.begin, file.Size());
        const std::uint64_t count = (bytes.end - bytes.begin + kSampleSize - 1) / kSampleSize;
        if (bytes.end - bytes.begin > kMaxSectionLength - kTraceHeaderSize) {
            throw Error(ErrorKind::kFailed, m_in,
                        Counted(count, "sample") + " do not fit in a section that readers follow; at most " +
                            std::to_string(kMaxCount) + " do");
        }
        std::optional<Origin> origin;
        if (!m_isWithoutOrigin) {
            const auto older = samples.IsTdf() ? Origin::Find(file) : std::nullopt;
            origin = {older ? older->file : std::filesystem::path(m_in).filename().string(),
                      (older ? older->first : 0) + first, count, ORM_TRACE_VERSION};
        }
        RequireMatches(file, samples.IsTdf());

        ReplacementFile target(m_out, false, "exists");
        ProgressBar bar(bytes.end - bytes.begin + (samples.IsTdf() ? file.Size() - traceSize : 0));
        SectionCopy copy(file, target.Path(), m_out, [&](std::uint64_t size) { bar.Advance(size); });
        ExitCode code = ExitCode::kOk;
        if (samples.IsTdf()) {
            SectionWalk walk(file);
            bool isTraceThere = false;
            while (walk.Next()) {
                const TDFSection& section = walk.Section();
                if (section.DataOffset() == samples.BytesOf(0, 0).begin) {
                    copy.AddNew(kTraceSection, kTraceVersion, bytes.begin, bytes.end);
                    isTraceThere = true;
                } else if (IsKept(section) && section.End() <= file.Size()) {
                    copy.Add({section, section.length});
                }
            }
            // What cannot be read now is not damage: another attempt may get it.
            if (walk.Fault() && walk.Fault()->kind == TDFFaultKind::kReadError) {
                throw Error(ErrorKind::kFailed, m_in, walk.Fault()->Message());
            }
            if (!isTraceThere) {
                throw Error(ErrorKind::kChanged, m_in, "was changed while it was being read");
            }
            // Sections after the fault are missing.
            if (ReportFault(m_in, walk) != ExitCode::kOk) code = ExitCode::kIncomplete;
        } else {
            copy.AddNew(kTraceSection, kTraceVersion, bytes.begin, bytes.end);
        }
        if (origin) copy.AddNew(Origin::kSection, Origin::kVersion, origin->Data());
        copy.Verify();
        file.Measure();  // what is no longer there may have been copied as zeros
        read.hasGrown = range.isOpen && samples.HasGrown();
        target.Publish();

        printer.Describe({m_in, m_out, first, count, copy.Count(), origin});
        if (const std::uint64_t part = (bytes.end - bytes.begin) % kSampleSize; part != 0) {
            Report(m_in, "the last sample is cut short: copied " + Counted(part, "byte") + " of it");
        }
        return std::max(code, ReportMissing(m_in, read));
    }

    // Errors: Error (kFailed): an option chooses no section.
    void RequireMatches(const InputFile& file, bool isTdf) const {
        std::vector<const SectionPattern*> missing;
        for (const auto* patterns : {&m_keep, &m_drop}) {
            for (const SectionPattern& pattern : *patterns) missing.push_back(&pattern);
        }
        SectionWalk walk(file);
        while (isTdf && !missing.empty() && walk.Next()) {
            missing.erase(std::remove_if(missing.begin(), missing.end(),
                                         [&](const auto* pattern) { return pattern->Fits(walk.Section()); }),
                          missing.end());
        }
        if (!missing.empty()) throw Error(ErrorKind::kFailed, m_in, "has no " + missing.front()->Label());
    }

    // Whether a section other than the trace is copied. An older origin is not: it is of other samples.
    bool IsKept(const TDFSection& section) const {
        if (IsOrigin(section)) return false;
        return m_keep.empty() ? !FitsAny(m_drop, section) : FitsAny(m_keep, section);
    }

    std::string m_in;
    std::string m_out;
    TimeOptions m_time;
    RangeOptions m_range;
    std::vector<std::string> m_keepTexts;
    std::vector<std::string> m_dropTexts;
    std::vector<SectionPattern> m_keep;
    std::vector<SectionPattern> m_drop;
    bool m_isWithoutOrigin = false;
    bool m_json = false;
};

}  // namespace

std::unique_ptr<Command> AddCutCommand(CLI::App& app) {
    return std::make_unique<CutCommand>(*app.add_subcommand("cut", "Copy a run of samples to a new TDF file"));
}

}  // namespace orm_trace
