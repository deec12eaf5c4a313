// orm-trace recover: makes a TDF file of what can be read of a damaged one.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string>

#include "capture/ByteCopy.h"
#include "tools/orm-trace/commands/Command.h"
#include "tools/orm-trace/output/Document.h"
#include "tools/orm-trace/output/FaultReport.h"
#include "tools/orm-trace/output/Progress.h"
#include "capture/ReplacementFile.h"
#include "capture/Salvage.h"
#include "capture/SectionCopy.h"
#include "tools/orm-trace/output/Text.h"

namespace orm_trace {
namespace {

const char* NameOf(Salvage::State state) {
    constexpr std::array<const char*, 6> kNames{"intact", "cut", "shortened", "rebuilt", "extended", "found by scan"};
    return kNames[static_cast<std::size_t>(state)];
}

// Says on standard error what is wrong, and what is left out.
class LossReport : public Salvage::Visitor {
public:
    explicit LossReport(const std::string& path) : m_path(path) {}

    void OnSection(const Salvage::Item&) override { ++m_sections; }
    void OnFault(const Fault& fault) override { Report(m_path, fault.Message()); }
    void OnGap(const Salvage::Gap& gap) override {
        std::string text =
            Counted(gap.end - gap.begin, "byte") + " from offset " + Position(gap.begin) + " on are in no section";
        const std::string section = "section " + std::to_string(m_sections - 1);
        if (gap.tail == Salvage::Gap::Tail::kOffered) text += " (--tail adds them to " + section + ')';
        if (gap.tail == Salvage::Gap::Tail::kTooLong)
            text += ", too many for " + section + " to stay within the limits";
        Report(m_path, text);
    }

private:
    const std::string& m_path;
    std::uint64_t m_sections = 0;
};

// Copies the sections.
class Rescue : public Salvage::Visitor {
public:
    Rescue(const InputFile& file, const std::string& path, const std::string& name) : m_copy(file, path, name) {}

    void OnSection(const Salvage::Item& item) override { m_copy.Add(item); }
    void Verify() { m_copy.Verify(); }

private:
    SectionCopy m_copy;
};

// Copies what is left out.
class LostCopy : public Salvage::Visitor {
public:
    LostCopy(const InputFile& file, const std::string& path, const std::string& name)
        : m_file(file), m_name(name), m_stream(Orm::Lux::Trace::OpenForUpdate(path.c_str())) {
        Check(m_stream != nullptr);
        m_bytes.emplace(fileno(m_stream.get()), name);
    }

    void OnGap(const Salvage::Gap& gap) override { m_bytes->Copy(m_file, gap.begin, gap.end); }
    void Close() {
        m_bytes->Finish();
        Check(CloseChecked(std::move(m_stream)));
    }

private:
    void Check(bool succeeded) const {
        if (!succeeded) throw Failure(ExitCode::kFailed, m_name, std::strerror(errno));
    }

    const InputFile& m_file;
    std::string m_name;
    Orm::Lux::Trace::FilePtr m_stream;
    std::optional<ByteCopy> m_bytes;
};

// Prints a line for each section, or an element of the document, and reports the losses.
class SectionLines : public LossReport {
public:
    SectionLines(const std::string& path, Output& out, JsonWriter* json) : LossReport(path), m_out(out), m_json(json) {}

    void OnSection(const Salvage::Item& item) override {
        LossReport::OnSection(item);
        const std::uint64_t number = m_count++;
        if (m_json) {
            Json object = SectionJson(number, item.section);
            object["data_length"] = item.length - item.section.HeaderSize();
            object["recovered_length"] = item.length;
            object["state"] = NameOf(item.state);
            return m_json->Element(object);
        }
        m_line = "section ";
        (m_line += std::to_string(number)) += ' ';
        (m_line += SectionLabel(item.section.name, item.section.version)) += " at offset ";
        ((m_line += Position(item.section.offset)) += ": ") += NameOf(item.state);
        if (item.length != item.section.length) {
            (m_line += ", length ") += std::to_string(item.section.length);
            (m_line += " becomes ") += std::to_string(item.length);
        }
        m_out.Write(m_line += '\n');
    }

private:
    Output& m_out;
    JsonWriter* m_json;
    std::uint64_t m_count = 0;
    std::string m_line;
};

struct FaultElements : Salvage::Visitor {
    explicit FaultElements(JsonWriter& json) : m_json(json) {}
    void OnFault(const Fault& fault) override { m_json.Element(FaultJson(fault)); }
    JsonWriter& m_json;
};

struct GapElements : Salvage::Visitor {
    explicit GapElements(JsonWriter& json) : m_json(json) {}
    void OnGap(const Salvage::Gap& gap) override {
        m_json.Element({{"offset", Number64(gap.begin)}, {"length", Number64(gap.end - gap.begin)}});
    }
    JsonWriter& m_json;
};

class RecoverCommand : public Command {
public:
    explicit RecoverCommand(CLI::App& app) {
        app.add_option("IN", m_in, "TDF file, under any name; it is left alone")->required();
        auto* out = app.add_option("-o,--output", m_out, "TDF file to make, with the extension .tdf");
        out->option_text("OUT");
        auto* dryRun = app.add_flag("--dry-run", m_dryRun, "Only say what would be recovered")->excludes(out);
        app.add_flag("--tail", m_tail, "Add bytes that are in no section to the section before them");
        app.add_option("--lost", m_lost, "File to make of the bytes that are left out")
            ->option_text("FILE")
            ->excludes(dryRun);
        app.add_flag(kJsonOption, m_json, kJsonOptionHelp);
        app.footer("Example:\n  orm-trace recover broken.tdf -o whole.tdf");
    }

    ExitCode Run(Output& out) override {
        if (m_out.empty() && !m_dryRun) throw Failure(ExitCode::kUsage, "recover", "-o or --dry-run is required");
        if (!m_lost.empty() && m_lost == m_out) throw Failure(ExitCode::kUsage, "--lost", "is the same file as OUT");
        // The sections are safe before anything is said of them: whoever reads it may stop, or never begin.
        std::optional<InputFile> file;
        std::optional<Salvage> salvage;
        std::optional<Salvage::Totals> totals;
        std::optional<Failure> failure;
        try {
            file.emplace(m_in);
            salvage.emplace(*file, m_tail);
            if (!m_dryRun) totals = Recover(*file, *salvage);
        } catch (const Failure& thrown) {
            failure = thrown;
        }
        return WithDocument(out, m_json, "recover", [&](JsonWriter* json) {
            if (json) json->Members(FileMember(m_in));
            if (failure) throw *failure;
            return List(*file, *salvage, totals, out, json);
        });
    }

private:
    // Makes OUT, if there is a section for it, and the file for what is left out, if it is wanted and not empty.
    Salvage::Totals Recover(const InputFile& file, Salvage& salvage) const {
        if (!m_lost.empty()) ReplacementFile(m_lost, false, "exists", false);  // asked before the work
        Salvage::Totals totals;
        {
            ReplacementFile replacement(m_out, false, "exists");
            Rescue rescue(file, replacement.Path(), m_out);
            {
                const Progress progress(replacement.Path(), file.Size());
                totals = salvage.Visit(rescue);
            }
            if (!IsFound(file, totals)) return totals;
            rescue.Verify();
            replacement.Publish();
        }
        if (!m_lost.empty() && totals.leftOut != 0) {
            ReplacementFile replacement(m_lost, false, "exists", false);
            LostCopy copy(file, replacement.Path(), m_lost);
            RequireSame(file, salvage.Visit(copy), totals);
            copy.Close();
            replacement.Publish();
        }
        return totals;
    }

    // made: what is in OUT, if it was made.
    ExitCode List(const InputFile& file, Salvage& salvage, const std::optional<Salvage::Totals>& made, Output& out,
                  JsonWriter* json) const {
        if (!file.HasIdentifier()) Report(m_in, "does not begin with the TDF identifier");
        if (json) json->Value("identifier", file.HasIdentifier());
        if (json) json->Begin('[', "sections");
        SectionLines lines(m_in, out, json);
        const Salvage::Totals totals = salvage.Visit(lines);
        if (json) json->End();
        if (made) RequireSame(file, totals, *made);
        if (json) PrintLosses(salvage, totals, *json);
        if (!IsFound(file, totals)) {
            throw Failure(ExitCode::kNotATrace, m_in, "nothing is found that could be recovered");
        }
        PrintEnd(file, totals, out, json);
        return IsWhole(file, totals) ? ExitCode::kOk : ExitCode::kIncomplete;
    }

    static bool IsWhole(const InputFile& file, const Salvage::Totals& totals) {
        return file.HasIdentifier() && totals.faults == 0;
    }

    static bool IsFound(const InputFile& file, const Salvage::Totals& totals) {
        return totals.sections != 0 || IsWhole(file, totals);
    }

    static void RequireSame(const InputFile& file, const Salvage::Totals& now, const Salvage::Totals& before) {
        if (now == before) return;
        throw Failure(ExitCode::kIncomplete, file.Path(), "was changed while it was being read");
    }

    static void PrintLosses(Salvage& salvage, const Salvage::Totals& totals, JsonWriter& json) {
        json.Begin('[', "faults");
        FaultElements faults(json);
        if (totals.faults != 0) salvage.Visit(faults);
        json.End();
        json.Begin('[', "gaps");
        GapElements gaps(json);
        if (totals.gaps != 0) salvage.Visit(gaps);
        json.End();
    }

    void PrintEnd(const InputFile& file, const Salvage::Totals& totals, Output& out, JsonWriter* json) const {
        const bool isLostSaved = !m_lost.empty() && totals.leftOut != 0;
        if (json) {
            Json object{{"size", Number64(file.Size())},
                        {"recovered", Number64(totals.recovered)},
                        {"left_out", Number64(totals.leftOut)},
                        {"dry_run", m_dryRun}};
            if (!m_dryRun) AddBytes(object, "output", m_out);
            if (isLostSaved) AddBytes(object, "lost", m_lost);
            return json->Members(object);
        }
        std::string text = m_dryRun
                               ? Counted(totals.sections, "section") + " can be recovered\n"
                               : WithoutControls(m_out) + ": " + Counted(totals.sections, "section") + ", verified\n";
        text += std::to_string(totals.recovered) + " of " + Counted(file.Size(), "byte") + " recovered";
        if (totals.leftOut != 0) {
            text += ", " + std::to_string(totals.leftOut) + " left out " +
                    (totals.gaps == 1 ? "at " : "in " + std::to_string(totals.gaps) + " places from ") +
                    Position(totals.firstGap) + " to " + Position(totals.lastGapEnd);
        }
        if (isLostSaved) text += ", saved in " + WithoutControls(m_lost);
        out.Write(text + '\n');
    }

    std::string m_in;
    std::string m_out;
    std::string m_lost;
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
