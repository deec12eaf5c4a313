// orm-trace verify: reports every fault of TDF files.
#include <string>
#include <vector>

#include "tools/orm-trace/commands/Command.h"
#include "tools/orm-trace/output/Document.h"
#include "capture/Duplicates.h"
#include "tools/orm-trace/output/FaultReport.h"
#include "tools/orm-trace/output/Text.h"

namespace orm_trace {
namespace {

class VerifyCommand : public Command {
public:
    explicit VerifyCommand(CLI::App& app) {
        app.add_option("FILE", m_files, "TDF files, under any name")->required();
        app.add_flag(kJsonOption, m_json, kJsonOptionHelp);
        app.footer("Example:\n  orm-trace verify *.tdf");
    }

    ExitCode Run(Output& out) override {
        return ForEachFile(m_files, out, m_json, "verify",
                           [&](const std::string& file, JsonWriter* json) { return Verify(file, out, json); });
    }

private:
    static ExitCode Verify(const std::string& path, Output& out, JsonWriter* json) {
        const InputFile file(path);
        file.RequireIdentifier();
        SectionWalk walk(file);
        while (walk.Next()) continue;
        if (json) json->Begin('[', "unreachable");
        const std::uint64_t parts = Duplicates::Parts(walk.Count());
        for (std::uint64_t part = 0; part < parts; ++part) ReportUnreachable(file, {file, part, parts}, json);
        if (json) json->End();
        if (json) {
            json->Value("sections", Number64(walk.Count()));
            json->Value("ends_on_section_boundary", !walk.Damage());
        } else {
            out.Write(WithoutControls(path) + ": " + Counted(walk.Count(), "section") + ", " +
                      (walk.Damage() ? "damaged" : kOnBoundary) + '\n');
        }
        return ReportDamage(path, walk, json);
    }

    static void ReportUnreachable(const InputFile& file, Duplicates duplicates, JsonWriter* json) {
        SectionWalk walk(file);
        while (walk.Next()) {
            if (!duplicates.Has(walk.Section())) continue;
            ReportUnreachable(file.Path(), walk, duplicates.Find(walk.Section()), json);
        }
    }

    // A section that no lookup finds is no damage: files may be written so.
    static void ReportUnreachable(const std::string& path, const SectionWalk& walk,
                                  std::optional<std::uint32_t> duplicateOf, JsonWriter* json) {
        const auto& section = walk.Section();
        const bool hasZero = section.name.find('\0') != section.name.npos;
        if (!duplicateOf && !hasZero) return;
        const std::string reason =
            hasZero ? "its name has a zero byte" : "the one at offset " + Position(*duplicateOf) + " comes first";
        if (json) {
            Json object = SectionJson(walk.Number(), section);
            object["reason"] = hasZero ? "zero_in_name" : "duplicate";
            if (!hasZero) object["duplicate_of"] = *duplicateOf;
            json->Element(object);
        }
        Report(path, "section " + std::to_string(walk.Number()) + " " + SectionLabel(section.name, section.version) +
                         " at offset " + Position(section.offset) + ": no lookup finds it, " + reason);
    }

    std::vector<std::string> m_files;
    bool m_json = false;
};

}  // namespace

std::unique_ptr<Command> AddVerifyCommand(CLI::App& app) {
    return std::make_unique<VerifyCommand>(*app.add_subcommand("verify", "Report every fault of TDF files"));
}

}  // namespace orm_trace
