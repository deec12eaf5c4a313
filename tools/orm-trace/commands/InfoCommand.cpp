// orm-trace info: says what files are, and what is wrong with them.
#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "tools/orm-trace/commands/Command.h"
#include "tools/orm-trace/output/Document.h"
#include "tools/orm-trace/output/FaultReport.h"
#include "tools/orm-trace/output/Text.h"
#include "tools/orm-trace/host/TraceSamples.h"

namespace orm_trace {
namespace {

// The samples that a host finds.
struct SampleCount {
    std::uint64_t counted;  // as their bytes' length tells
    std::uint64_t there;    // whole in the file
};

// A host takes of a length its lowest 32 bits.
SampleCount CountSamples(std::uint64_t position, std::uint64_t length, std::uint64_t fileSize) {
    const std::uint64_t counted = ((length & UINT32_MAX) + kSampleSize - 1) / kSampleSize;
    return {counted, std::min(counted, (fileSize - std::min(fileSize, position)) / kSampleSize)};
}

class InfoCommand : public Command {
public:
    explicit InfoCommand(CLI::App& app) {
        app.add_option("FILE", m_files, "Trace files")->required();
        app.add_flag(kJsonOption, m_json, kJsonOptionHelp);
        app.footer("Example:\n  orm-trace info *.tdf");
    }

    ExitCode Run(Output& out) override {
        return ForEachFile(m_files, out, m_json, "info",
                           [&](const std::string& file, JsonWriter* json) { return Describe(file, out, json); });
    }

private:
    static ExitCode Describe(const std::string& path, Output& out, JsonWriter* json) {
        const InputFile file(path);
        const bool isTdf = file.HasIdentifier() && file.IsNamedTdf();
        if (json) {
            json->Value("kind", isTdf ? "tdf" : "plain");
            json->Value("size", Number64(file.Size()));
        } else {
            out.Write(WithoutControls(path) + "\n  kind      " + (isTdf ? "TDF" : "plain") + "\n  size      " +
                      Counted(file.Size(), "byte") + '\n');
        }
        return isTdf ? DescribeTdf(file, out, json) : DescribePlain(file, out, json);
    }

    static ExitCode DescribeTdf(const InputFile& file, Output& out, JsonWriter* json) {
        std::optional<SampleCount> samples;
        SectionWalk walk(file);
        while (walk.Next()) {
            const auto& section = walk.Section();
            if (samples || section.version != Orm::Lux::Trace::kTraceVersion ||
                section.name != Orm::Lux::Trace::kTraceSection)
                continue;
            samples = CountSamples(section.DataPosition(), section.DataLength(), file.Size());
        }
        if (json) {
            json->Value("sections", Number64(walk.Count()));
        } else {
            out.Write("  sections  " + std::to_string(walk.Count()) + '\n');
        }
        if (samples) {
            PrintSamples(*samples, out, json);
        } else if (!json) {
            out.Write("  samples   none: no section \"BinTraceData\":1\n");
        }
        if (json) {
            json->Value("ends_on_section_boundary", !walk.Damage());
        } else {
            out.Write(std::string("  end       ") + (walk.Damage() ? "damaged" : kOnBoundary) + '\n');
        }
        return ReportDamage(file.Path(), walk, json);
    }

    // Hosts ask for name and identifier; with one of them alone a file is most likely not what it should be.
    static ExitCode DescribePlain(const InputFile& file, Output& out, JsonWriter* json) {
        PrintSamples(CountSamples(0, file.Size(), file.Size()), out, json);
        const char* note = file.IsNamedTdf()          ? "named .tdf, no TDF identifier: read as plain"
                           : file.Size() > UINT32_MAX ? "of 4 GiB or more: a host finds only a part of the samples"
                           : file.HasIdentifier()     ? "TDF identifier, not named .tdf: read as plain"
                                                      : nullptr;
        if (note == nullptr) return ExitCode::kOk;
        Report(file.Path(), note);
        if (json) json->Value("note", note);
        return file.IsNamedTdf() ? ExitCode::kNotATrace : ExitCode::kOk;
    }

    static void PrintSamples(const SampleCount& samples, Output& out, JsonWriter* json) {
        if (json) {
            json->Value("samples", Number64(samples.counted));
            json->Value("samples_there", Number64(samples.there));
            return;
        }
        out.Write("  samples   " + std::to_string(samples.counted));
        if (samples.there != samples.counted) out.Write(", " + std::to_string(samples.there) + " of them whole");
        out.Write("\n");
    }

    std::vector<std::string> m_files;
    bool m_json = false;
};

}  // namespace

std::unique_ptr<Command> AddInfoCommand(CLI::App& app) {
    return std::make_unique<InfoCommand>(
        *app.add_subcommand("info", "Say what files are, and what is wrong with them"));
}

}  // namespace orm_trace
