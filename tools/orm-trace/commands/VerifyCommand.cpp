// orm-trace verify: reports every fault of TDF files.
#include <optional>
#include <string>
#include <vector>

#include "capture/Duplicates.h"
#include "tools/orm-trace/commands/Command.h"
#include "tools/orm-trace/options/FileOptions.h"
#include "tools/orm-trace/options/FormatOptions.h"
#include "tools/orm-trace/options/JobsOption.h"
#include "tools/orm-trace/output/FaultReport.h"
#include "tools/orm-trace/output/Printer.h"
#include "tools/orm-trace/output/Text.h"

namespace orm_trace {
namespace {

// A section that no lookup finds. It is not a fault: files may be written so.
struct Unreachable {
    std::uint64_t index;
    const Orm::Lux::Trace::TDFSection& section;
    std::optional<std::uint32_t> duplicateOf;  // offset of the section that lookups find; else the name has a zero byte

    std::string Message() const {
        const std::string reason =
            duplicateOf ? "the section at offset " + OffsetText(*duplicateOf) + " has the same name and version"
                        : "its name has a zero byte";
        return "section " + std::to_string(index) + ' ' + SectionLabel(section.name, section.version) + " at offset " +
               OffsetText(section.offset) + ": unreachable: " + reason;
    }
};

// Calls visit with each section that no lookup finds. A file with many sections is walked over several times.
template <class Visit> void FindUnreachable(const InputFile& file, std::uint64_t count, Visit visit) {
    const std::uint64_t parts = Duplicates::Parts(count);
    for (std::uint64_t part = 0; part < parts; ++part) {
        Duplicates duplicates(file, part, parts);
        SectionWalk walk(file);
        while (walk.Next()) {
            const auto& section = walk.Section();
            if (!duplicates.Has(section)) continue;
            const auto duplicateOf = duplicates.Find(section);
            const bool hasZero = section.name.find('\0') != section.name.npos;
            if (hasZero) {
                visit(Unreachable{walk.Index(), section, std::nullopt});
            } else if (duplicateOf) {
                visit(Unreachable{walk.Index(), section, duplicateOf});
            }
        }
    }
}

struct TextVerify : TextPrinter {
    using TextPrinter::TextPrinter;

    void Begin() {}
    void Section(const Unreachable&) {}
    void Summary(const InputFile& file, const SectionWalk& walk) {
        Write(WithoutControls(file.Path()) + ": " + Counted(walk.Count(), "section") + ", " + EndText(walk) + '\n');
    }
};

Json UnreachableJson(const Unreachable& unreachable) {
    Json object = SectionJson(unreachable.index, unreachable.section);
    object["reason"] = unreachable.duplicateOf ? "duplicate" : "zero_in_name";
    if (unreachable.duplicateOf) object["duplicate_of"] = Number64(*unreachable.duplicateOf);
    return object;
}

struct JsonVerify : JsonPrinter {
    using JsonPrinter::JsonPrinter;

    void Begin() { Document().Begin('[', "unreachable"); }
    void Section(const Unreachable& unreachable) { Document().Element(UnreachableJson(unreachable)); }
    void Summary(const InputFile&, const SectionWalk& walk) {
        Document().End();
        Document().Value("section_count", Number64(walk.Count()));
        Document().Value("ends_on_section_boundary", !walk.Fault());
        AddFaults(Document(), walk);
    }
};

// A line for each section that is unreachable, for each fault, and at last for the file.
struct JsonLinesVerify : JsonLinesPrinter {
    using JsonLinesPrinter::JsonLinesPrinter;

    void Begin() {}
    void Section(const Unreachable& unreachable) { Line(UnreachableJson(unreachable)); }
    void Summary(const InputFile&, const SectionWalk& walk) {
        if (walk.Fault()) Line(FaultJson(*walk.Fault()));
        Line({{"section_count", Number64(walk.Count())},
              {"ends_on_section_boundary", !walk.Fault()},
              {"trailing_bytes", Number64(walk.TrailingBytes())}});
    }
};

class VerifyCommand : public Command {
public:
    explicit VerifyCommand(CLI::App& app) {
        m_files.AddTo(app, "TDF files, under any name, or folders of TDF files");
        AddJobsOption(app, m_jobs);
        AddFormatOptions(app, m_format);
        app.footer("Example:\n  orm-trace verify *.tdf");
    }

    ExitCode Run(Output& out) override {
        const auto work = [](auto& printer, const std::string& path) {
            const InputFile file(path);
            file.RequireIdentifier();
            SectionWalk walk(file);
            while (walk.Next()) continue;
            printer.Begin();
            FindUnreachable(file, walk.Count(), [&](const Unreachable& unreachable) {
                printer.Section(unreachable);
                Report(path, unreachable.Message());
            });
            printer.Summary(file, walk);
            return ReportFault(path, walk);
        };
        return Print<TextVerify, JsonVerify, JsonLinesVerify>(
            m_format, out, "verify", [&](auto& printer) { return PrintFiles(printer, m_files.Files(), m_jobs, work); });
    }

private:
    FileOptions m_files;
    unsigned m_jobs = 1;
    PrintFormat m_format = PrintFormat::kText;
};

}  // namespace

std::unique_ptr<Command> AddVerifyCommand(CLI::App& app) {
    return std::make_unique<VerifyCommand>(*app.add_subcommand("verify", "Check the sections of TDF files"));
}

}  // namespace orm_trace
