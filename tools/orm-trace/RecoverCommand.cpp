// orm-trace recover: makes a TDF file of what can be read of a damaged one.
#include <array>
#include <optional>
#include <string>

#include "tools/orm-trace/Command.h"
#include "tools/orm-trace/Document.h"
#include "tools/orm-trace/FaultReport.h"
#include "tools/orm-trace/Progress.h"
#include "tools/orm-trace/ReplacementFile.h"
#include "tools/orm-trace/Salvage.h"
#include "tools/orm-trace/SectionCopy.h"
#include "tools/orm-trace/Text.h"

namespace orm_trace {
namespace {

const char* NameOf(Salvage::State state) {
    constexpr std::array<const char*, 5> kNames{"intact", "cut", "shortened", "extended", "found by scan"};
    return kNames[static_cast<std::size_t>(state)];
}

class RecoverCommand : public Command {
public:
    explicit RecoverCommand(CLI::App& app) {
        app.add_option("IN", m_in, "TDF file, under any name; it is left alone")->required();
        auto* out = app.add_option("-o,--output", m_out, "TDF file to make, with the extension .tdf");
        out->option_text("OUT");
        app.add_flag("--dry-run", m_dryRun, "Only say what would be recovered")->excludes(out);
        app.add_flag("--tail", m_tail, "Add bytes behind the last section to it");
        app.add_flag(kJsonOption, m_json, kJsonOptionHelp);
        app.footer("Example:\n  orm-trace recover broken.tdf -o whole.tdf");
    }

    ExitCode Run(Output& out) override {
        if (m_out.empty() && !m_dryRun) throw Failure(ExitCode::kUsage, "recover", "-o or --dry-run is required");
        return WithDocument(out, m_json, "recover", [&](JsonWriter* json) {
            const InputFile file(m_in);
            std::optional<ReplacementFile> replacement;
            if (!m_dryRun) replacement.emplace(m_out, false, "exists");
            return Recover(file, replacement, out, json);
        });
    }

private:
    ExitCode Recover(const InputFile& file, std::optional<ReplacementFile>& replacement, Output& out,
                     JsonWriter* json) const {
        Json names;
        AddBytes(names, "file", m_in);
        if (json) json->Members(names);
        const Salvage salvage(file, m_tail);
        ReportLosses(file, salvage, json);
        if (salvage.IsEmpty() && !salvage.IsWhole()) {
            throw Failure(ExitCode::kNotATrace, m_in, "nothing is found that could be recovered");
        }
        std::optional<SectionCopy> copy;
        std::optional<Progress> progress;
        if (replacement) {
            copy.emplace(replacement->Path(), m_out);
            progress.emplace(replacement->Path(), file.Size());
        }
        std::uint64_t count = 0;
        if (json) json->Begin('[', "sections");
        salvage.ForEach([&](const Salvage::Item& item) {
            if (copy) copy->Add(file, item);
            Print(item, count++, out, json);
        });
        if (json) json->End();
        progress.reset();
        if (copy) {
            copy->Verify();
            replacement->Publish();
        }
        PrintEnd(count, out, json);
        return salvage.IsWhole() ? ExitCode::kOk : ExitCode::kIncomplete;
    }

    void ReportLosses(const InputFile& file, const Salvage& salvage, JsonWriter* json) const {
        if (!file.HasIdentifier()) Report(m_in, "does not begin with the TDF identifier");
        if (salvage.Damage()) Report(m_in, salvage.Damage()->Message());
        const std::uint64_t left = salvage.GapEnd() - salvage.GapBegin();
        if (left != 0) {
            Report(m_in, std::to_string(left) + " bytes from offset " + Position(salvage.GapBegin()) +
                             " on are in no section" +
                             (salvage.CanTakeTail() ? " (--tail adds them to the last one)" : ""));
        }
        if (!json) return;
        json->Value("identifier", file.HasIdentifier());
        json->Begin('[', "faults");
        if (salvage.Damage()) json->Element(FaultJson(*salvage.Damage()));
        json->End();
        json->Value("left_out_offset", Number64(salvage.GapBegin()));
        json->Value("left_out", Number64(left));
    }

    static void Print(const Salvage::Item& item, std::uint64_t number, Output& out, JsonWriter* json) {
        if (json) {
            Json object = SectionJson(number, item.section);
            object["recovered_length"] = item.length;
            object["state"] = NameOf(item.state);
            json->Element(object);
            return;
        }
        std::string line = "section " + std::to_string(number) + ' ' +
                           SectionLabel(item.section.name, item.section.version) + " at offset " +
                           Position(item.section.offset) + ": " + NameOf(item.state);
        if (item.length != item.section.length) {
            line += ", length " + std::to_string(item.section.length) + " becomes " + std::to_string(item.length);
        }
        out.Write(line + '\n');
    }

    void PrintEnd(std::uint64_t count, Output& out, JsonWriter* json) const {
        if (json) {
            Json object{{"dry_run", m_dryRun}};
            if (!m_dryRun) AddBytes(object, "output", m_out);
            json->Members(object);
        } else if (m_dryRun) {
            out.Write(std::to_string(count) + " sections can be recovered\n");
        } else {
            out.Write(m_out + ": " + std::to_string(count) + " sections, verified\n");
        }
    }

    std::string m_in;
    std::string m_out;
    bool m_dryRun = false;
    bool m_tail = false;
    bool m_json = false;
};

}  // namespace

std::unique_ptr<Command> AddRecoverCommand(CLI::App& app) {
    return std::make_unique<RecoverCommand>(
        *app.add_subcommand("recover", "Save what can be read of a damaged TDF file"));
}

}  // namespace orm_trace
