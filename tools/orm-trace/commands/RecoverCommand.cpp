// orm-trace recover: recovers the readable sections of a damaged TDF file.
#include <array>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <string>

#include "capture/ByteCopy.h"
#include "capture/ReplacementFile.h"
#include "capture/Salvage.h"
#include "capture/SectionCopy.h"
#include "tools/orm-trace/commands/Command.h"
#include "tools/orm-trace/output/FaultReport.h"
#include "tools/orm-trace/output/Printer.h"
#include "tools/orm-trace/output/ProgressBar.h"
#include "tools/orm-trace/output/Text.h"

namespace orm_trace {
namespace {

const char* NameOf(Salvage::State state) {
    constexpr std::array<const char*, 6> kNames{"intact", "cut", "shortened", "rebuilt", "extended", "found by scan"};
    return kNames[static_cast<std::size_t>(state)];
}

// Copies the sections.
class SectionRescue : public Salvage::Visitor {
public:
    SectionRescue(const InputFile& file, const std::string& path, const std::string& name, ProgressCallback onProgress)
        : m_copy(file, path, name, std::move(onProgress)) {}

    void OnSection(const Salvage::Item& item) override { m_copy.Add(item); }
    void Verify() { m_copy.Verify(); }

private:
    SectionCopy m_copy;
};

// Copies the gaps.
class GapCopy : public Salvage::Visitor {
public:
    GapCopy(const InputFile& file, const std::string& path, const std::string& name)
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
        if (!succeeded) throw MakeSystemError(ErrorKind::kFailed, m_name, errno);
    }

    const InputFile& m_file;
    std::string m_name;
    Orm::Lux::Trace::FilePtr m_stream;
    std::optional<ByteCopy> m_bytes;
};

// What the command line asks for, and what became of it.
struct Recovery {
    std::string in;
    std::string out;
    std::string lost;  // "" or the file for the gaps
    bool isDryRun = false;
    std::uint64_t size = 0;  // of the input, in bytes
    Salvage::Totals totals;

    bool HasLost() const { return !lost.empty() && totals.gaps != 0; }
};

struct SectionLine {
    std::uint64_t index;
    const Salvage::Item& item;
};

class TextRecover : public TextPrinter {
public:
    using TextPrinter::TextPrinter;

    void Begin(bool /*hasIdentifier*/) {}
    void Section(const SectionLine& line) {
        const auto& [section, length, state] = line.item;
        m_line = "section ";
        (m_line += std::to_string(line.index)) += ' ';
        (m_line += SectionLabel(section.name, section.version)) += " at offset ";
        ((m_line += OffsetText(section.offset)) += ": ") += NameOf(state);
        if (length != section.length) {
            (m_line += ", length ") += std::to_string(section.length);
            (m_line += " becomes ") += std::to_string(length);
        }
        Write(m_line += '\n');
    }
    void Losses(Salvage&, const Salvage::Totals&) {}
    void Summary(const Recovery& recovery) {
        const Salvage::Totals& totals = recovery.totals;
        const std::string sections = Counted(totals.sections, "section");
        std::string text = recovery.isDryRun ? sections + " can be recovered\n"
                                             : WithoutControls(recovery.out) + ": " + sections + ", verified\n";
        text += std::to_string(totals.recovered) + " of " + Counted(recovery.size, "byte") + " recovered";
        if (totals.unrecovered != 0) {
            text += ", " + std::to_string(totals.unrecovered) + " left out " +
                    (totals.gaps == 1 ? "at " : "in " + std::to_string(totals.gaps) + " places from ") +
                    OffsetText(totals.firstGap) + " to " + OffsetText(totals.lastGapEnd);
        }
        if (recovery.HasLost()) text += ", saved in " + WithoutControls(recovery.lost);
        Write(text + '\n');
    }

private:
    std::string m_line;
};

class JsonRecover : public JsonPrinter {
public:
    using JsonPrinter::JsonPrinter;

    void Begin(bool hasIdentifier) {
        Document().Value("identifier", hasIdentifier);
        Document().Begin('[', "sections");
    }
    void Section(const SectionLine& line) {
        const Salvage::Item& item = line.item;
        Json object = SectionJson(line.index, item.section);
        object["data_length"] = item.length - item.section.HeaderSize();
        object["recovered_length"] = item.length;
        object["state"] = NameOf(item.state);
        Document().Element(object);
    }
    void Losses(Salvage& salvage, const Salvage::Totals& totals) {
        Document().End();
        Document().Begin('[', "faults");
        Faults faults(Document());
        if (totals.faults != 0) salvage.Visit(faults);
        Document().End();
        Document().Begin('[', "gaps");
        Gaps gaps(Document());
        if (totals.gaps != 0) salvage.Visit(gaps);
        Document().End();
    }
    void Summary(const Recovery& recovery) {
        Json object{{"size", Number64(recovery.size)},
                    {"recovered", Number64(recovery.totals.recovered)},
                    {"unrecovered_bytes", Number64(recovery.totals.unrecovered)},
                    {"dry_run", recovery.isDryRun}};
        if (!recovery.isDryRun) AddBytes(object, "output", recovery.out);
        if (recovery.HasLost()) AddBytes(object, "lost", recovery.lost);
        Document().Members(object);
    }

private:
    struct Faults : Salvage::Visitor {
        explicit Faults(JsonWriter& json) : m_json(json) {}
        void OnFault(const LocatedFault& fault) override { m_json.Element(FaultJson(fault)); }
        JsonWriter& m_json;
    };
    struct Gaps : Salvage::Visitor {
        explicit Gaps(JsonWriter& json) : m_json(json) {}
        void OnGap(const Salvage::Gap& gap) override {
            m_json.Element({{"offset", Number64(gap.begin)}, {"size", Number64(gap.end - gap.begin)}});
        }
        JsonWriter& m_json;
    };
};

// Prints the sections, and reports faults and gaps on standard error.
template <class Printer> class Listing : public Salvage::Visitor {
public:
    Listing(const std::string& path, Printer& printer) : m_path(path), m_printer(printer) {}

    void OnSection(const Salvage::Item& item) override { m_printer.Section({m_sections++, item}); }
    void OnFault(const LocatedFault& fault) override { Report(m_path, fault.Message()); }
    void OnGap(const Salvage::Gap& gap) override {
        using Tail = Salvage::Gap::Tail;
        const std::string section = "section " + std::to_string(m_sections - 1);
        Report(m_path, Counted(gap.end - gap.begin, "byte") + " from offset " + OffsetText(gap.begin) +
                           " on are in no section" +
                           (gap.tail == Tail::kOffered   ? " (--tail adds them to " + section + ')'
                            : gap.tail == Tail::kTooLong ? ", too many for " + section + " to stay within the limits"
                                                         : ""));
    }

private:
    const std::string& m_path;
    Printer& m_printer;
    std::uint64_t m_sections = 0;
};

// Returns: the path of a file that need not exist, without links.
std::filesystem::path PlaceOf(const std::string& path) {
    std::error_code error;
    const std::filesystem::path place =
        std::filesystem::weakly_canonical(std::filesystem::absolute(path, error), error);
    return error ? std::filesystem::path(path) : place;
}

class RecoverCommand : public Command {
public:
    explicit RecoverCommand(CLI::App& app) {
        app.add_option("IN", m_recovery.in, "TDF file, under any name; it is not changed")->required();
        auto* out = app.add_option("-o,--output", m_recovery.out, "TDF file to create, with the extension .tdf");
        out->option_text("OUT");
        auto* dryRun =
            app.add_flag("--dry-run", m_recovery.isDryRun, "Only say what would be recovered")->excludes(out);
        app.add_flag("--tail", m_tail, "Add bytes that are in no section to the section before them");
        app.add_option("--lost", m_recovery.lost, "File to create with the bytes that are left out")
            ->option_text("FILE")
            ->excludes(dryRun);
        app.add_flag(kJsonOption, m_json, kJsonOptionHelp);
        app.footer("Example:\n  orm-trace recover broken.tdf -o whole.tdf");
    }

    ExitCode Run(Output& out) override {
        if (m_recovery.out.empty() && !m_recovery.isDryRun) {
            throw Error(ErrorKind::kArgument, "recover", "-o or --dry-run is required");
        }
        if (!m_recovery.lost.empty() && PlaceOf(m_recovery.lost) == PlaceOf(m_recovery.out)) {
            throw Error(ErrorKind::kArgument, "--lost", "is the same file as OUT");
        }
        // The sections are safe before anything is printed: its reader may stop reading.
        std::optional<InputFile> file;
        std::optional<Salvage> salvage;
        std::optional<Salvage::Totals> saved;
        std::optional<Error> error;
        try {
            file.emplace(m_recovery.in);
            salvage.emplace(*file, m_tail);
            if (!m_recovery.isDryRun) saved = Save(*file, *salvage);
        } catch (const Error& thrown) {
            error = thrown;
        }
        return Print<TextRecover, JsonRecover>(m_json, out, "recover", [&](auto& printer) {
            printer.File(m_recovery.in);
            if (error) throw *error;
            return List(*file, *salvage, saved, printer);
        });
    }

private:
    // Creates OUT, if there is a section for it, and the file for the gaps, if one is asked for and there are any.
    Salvage::Totals Save(const InputFile& file, Salvage& salvage) const {
        const std::string& lost = m_recovery.lost;
        if (!lost.empty()) ReplacementFile(lost, false, "exists", false);  // asked before the work
        Salvage::Totals totals;
        {
            ReplacementFile replacement(m_recovery.out, false, "exists");
            {
                ProgressBar bar(file.Size());
                SectionRescue rescue(file, replacement.Path(), m_recovery.out,
                                     [&](std::uint64_t bytes) { bar.Advance(bytes); });
                totals = salvage.Visit(rescue);
                if (!IsFound(file, totals)) return totals;
                rescue.Verify();
            }
            replacement.Publish();
        }
        if (!lost.empty() && totals.gaps != 0) {
            ReplacementFile replacement(lost, false, "exists", false);
            GapCopy copy(file, replacement.Path(), lost);
            RequireSame(file, salvage.Visit(copy), totals);
            copy.Close();
            replacement.Publish();
        }
        return totals;
    }

    // saved: what is in OUT, if it was created.
    template <class Printer>
    ExitCode List(const InputFile& file, Salvage& salvage, const std::optional<Salvage::Totals>& saved,
                  Printer& printer) {
        if (!file.HasIdentifier()) Report(m_recovery.in, "does not begin with the TDF identifier");
        printer.Begin(file.HasIdentifier());
        Listing listing(m_recovery.in, printer);
        const Salvage::Totals totals = salvage.Visit(listing);
        printer.Losses(salvage, totals);
        if (saved) RequireSame(file, totals, *saved);
        if (!IsFound(file, totals)) throw Error(ErrorKind::kInput, m_recovery.in, "nothing recoverable found");
        m_recovery.size = file.Size();
        m_recovery.totals = totals;
        printer.Summary(m_recovery);
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
        throw Error(ErrorKind::kChanged, file.Path(), "was changed while it was being read");
    }

    Recovery m_recovery;
    bool m_tail = false;
    bool m_json = false;
};

}  // namespace

std::unique_ptr<Command> AddRecoverCommand(CLI::App& app) {
    return std::make_unique<RecoverCommand>(
        *app.add_subcommand("recover", "Recover the readable sections of a damaged TDF file"));
}

}  // namespace orm_trace
