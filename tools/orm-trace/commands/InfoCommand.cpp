// orm-trace info: describes files and their faults.
#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "tdf/TraceSection.h"
#include "tools/orm-trace/commands/Command.h"
#include "tools/orm-trace/options/FileOptions.h"
#include "tools/orm-trace/options/JobsOption.h"
#include "tools/orm-trace/output/FaultReport.h"
#include "tools/orm-trace/output/Printer.h"
#include "tools/orm-trace/output/Text.h"

namespace orm_trace {
namespace {

using namespace Orm::Lux::Trace;

// The samples that a host finds.
struct SampleCount {
    std::uint64_t counted;    // by the length of their bytes
    std::uint64_t available;  // whole in the file
};

// A host uses the lowest 32 bits of a length.
SampleCount CountSamples(std::uint64_t offset, std::uint64_t length, std::uint64_t fileSize) {
    const std::uint64_t counted = ((length & UINT32_MAX) + kSampleSize - 1) / kSampleSize;
    return {counted, std::min(counted, (fileSize - std::min(fileSize, offset)) / kSampleSize)};
}

// A file that hosts read as a TDF file. Its walk is at the end.
struct TdfInfo {
    const InputFile& file;
    SectionWalk walk;
    std::optional<SampleCount> samples;
    std::optional<Origin> origin;
    std::string originFault;  // why there is a section of an origin, but no origin

    explicit TdfInfo(const InputFile& input) : file(input), walk(input) {
        while (walk.Next()) {
            const TDFSection& section = walk.Section();
            if (samples || section.version != kTraceVersion || section.name != kTraceSection) continue;
            samples = CountSamples(section.DataOffset(), section.DataLength(), file.Size());
        }
        try {
            origin = Origin::Find(file);
        } catch (const Error& error) {
            originFault = error.what();
        }
    }
};

// Any other file.
struct PlainInfo {
    const InputFile& file;
    SampleCount samples;
    const char* note;  // null, or how it differs from what its name or its size suggest

    // Hosts require name and identifier; a file that has one of them is most likely not what it should be.
    explicit PlainInfo(const InputFile& input)
        : file(input),
          samples(CountSamples(0, file.Size(), file.Size())),
          note(file.IsNamedTdf()          ? "named .tdf, no TDF identifier: read as plain"
               : file.Size() > UINT32_MAX ? "of 4 GiB or more: a host finds only a part of the samples"
               : file.HasIdentifier()     ? "TDF identifier, not named .tdf: read as plain"
                                          : nullptr) {}
};

struct TextInfo : TextPrinter {
    using TextPrinter::TextPrinter;

    void Describe(const TdfInfo& info) {
        Begin(info.file, "TDF");
        Write("  sections  " + std::to_string(info.walk.Count()) + '\n');
        if (info.samples) Samples(*info.samples);
        if (!info.samples) Write("  samples   none: no section " + SectionLabel(kTraceSection, kTraceVersion) + '\n');
        if (info.origin) {
            Write("  origin    " + Counted(info.origin->count, "sample") + " from sample " +
                  std::to_string(info.origin->first) + " of " + WithoutControls(info.origin->file) + '\n');
        }
        Write(std::string("  end       ") + EndText(info.walk) + '\n');
    }
    void Describe(const PlainInfo& info) {
        Begin(info.file, "plain");
        Samples(info.samples);
    }

private:
    void Begin(const InputFile& file, const char* kind) {
        Write(WithoutControls(file.Path()) + "\n  kind      " + kind + "\n  size      " + Counted(file.Size(), "byte") +
              '\n');
    }
    void Samples(const SampleCount& samples) {
        std::string text = "  samples   " + std::to_string(samples.counted);
        if (samples.available != samples.counted) text += ", " + std::to_string(samples.available) + " of them whole";
        Write(text + '\n');
    }
};

struct JsonInfo : JsonPrinter {
    using JsonPrinter::JsonPrinter;

    void Describe(const TdfInfo& info) {
        Begin(info.file, "tdf");
        Document().Value("section_count", Number64(info.walk.Count()));
        if (info.samples) Samples(*info.samples);
        if (info.origin) Document().Value("origin", OriginJson(*info.origin));
        Document().Value("ends_on_section_boundary", !info.walk.Fault());
        AddFaults(Document(), info.walk);
    }
    void Describe(const PlainInfo& info) {
        Begin(info.file, "plain");
        Samples(info.samples);
        if (info.note) Document().Value("note", info.note);
    }

private:
    void Begin(const InputFile& file, const char* kind) {
        Document().Value("kind", kind);
        Document().Value("size", Number64(file.Size()));
    }
    void Samples(const SampleCount& samples) {
        Document().Value("samples", Number64(samples.counted));
        Document().Value("samples_available", Number64(samples.available));
    }
};

class InfoCommand : public Command {
public:
    explicit InfoCommand(CLI::App& app) {
        m_files.AddTo(app, "Trace files, or folders of TDF files");
        AddJobsOption(app, m_jobs);
        app.add_flag(kJsonOption, m_json, kJsonOptionHelp);
        app.footer("Example:\n  orm-trace info *.tdf");
    }

    ExitCode Run(Output& out) override {
        const auto work = [](auto& printer, const std::string& path) {
            const InputFile file(path);
            if (file.HasIdentifier() && file.IsNamedTdf()) {
                const TdfInfo info(file);
                printer.Describe(info);
                const ExitCode code = ReportFault(path, info.walk);
                if (info.originFault.empty()) return code;
                Report(path, info.originFault);
                return ExitCode::kNotATrace;
            }
            const PlainInfo info(file);
            printer.Describe(info);
            if (info.note) Report(path, info.note);
            return file.IsNamedTdf() ? ExitCode::kNotATrace : ExitCode::kOk;
        };
        return Print<TextInfo, JsonInfo>(
            m_json, out, "info", [&](auto& printer) { return PrintFiles(printer, m_files.Files(), m_jobs, work); });
    }

private:
    FileOptions m_files;
    unsigned m_jobs = 1;
    bool m_json = false;
};

}  // namespace

std::unique_ptr<Command> AddInfoCommand(CLI::App& app) {
    return std::make_unique<InfoCommand>(*app.add_subcommand("info", "Describe files and their faults"));
}

}  // namespace orm_trace
