// orm-trace list: shows every section of a TDF file.
#include <array>
#include <cstdio>
#include <string>

#include "tools/orm-trace/commands/Command.h"
#include "tools/orm-trace/options/FormatOptions.h"
#include "tools/orm-trace/output/FaultReport.h"
#include "tools/orm-trace/output/Printer.h"
#include "tools/orm-trace/output/Text.h"

namespace orm_trace {
namespace {

struct TextList : TextPrinter {
    using TextPrinter::TextPrinter;

    void Begin() { Write("     index      offset      length     version    data at data length  name\n"); }
    void Section(const SectionWalk& walk) {
        const auto& section = walk.Section();
        std::array<char, 100> numbers;
        std::snprintf(numbers.data(), numbers.size(), "%10llu  %10s  %10u  %10u %10u  %10u  ",
                      static_cast<unsigned long long>(walk.Index()), OffsetText(section.offset).c_str(), section.length,
                      section.version, section.DataOffset(), section.DataLength());
        Write(numbers.data() + SectionLabel(section.name) + '\n');
    }
    void Faults(const SectionWalk&) {}
};

Json ListedJson(const SectionWalk& walk) {
    Json section = SectionJson(walk.Index(), walk.Section());
    section["data_available"] = walk.DataAvailable();
    return section;
}

struct JsonList : JsonPrinter {
    using JsonPrinter::JsonPrinter;

    void Begin() { Document().Begin('[', "sections"); }
    void Section(const SectionWalk& walk) { Document().Element(ListedJson(walk)); }
    void Faults(const SectionWalk& walk) {
        Document().End();
        AddFaults(Document(), walk);
    }
};

// A line for each section, and one for a fault.
struct JsonLinesList : JsonLinesPrinter {
    using JsonLinesPrinter::JsonLinesPrinter;

    void Begin() {}
    void Section(const SectionWalk& walk) { Line(ListedJson(walk)); }
    void Faults(const SectionWalk& walk) {
        if (walk.Fault()) Line(FaultJson(*walk.Fault()));
    }
};

class ListCommand : public Command {
public:
    explicit ListCommand(CLI::App& app) {
        app.add_option("FILE", m_file, "TDF file, under any name")->required();
        AddFormatOptions(app, m_format);
        app.footer("Example:\n  orm-trace list capture.tdf");
    }

    ExitCode Run(Output& out) override {
        return Print<TextList, JsonList, JsonLinesList>(m_format, out, "list", [&](auto& printer) {
            printer.File(m_file);
            const InputFile file(m_file);
            file.RequireIdentifier();
            printer.Begin();
            SectionWalk walk(file);
            while (walk.Next()) printer.Section(walk);
            printer.Faults(walk);
            return ReportFault(m_file, walk);
        });
    }

private:
    std::string m_file;
    PrintFormat m_format = PrintFormat::kText;
};

}  // namespace

std::unique_ptr<Command> AddListCommand(CLI::App& app) {
    return std::make_unique<ListCommand>(*app.add_subcommand("list", "Show every section of a TDF file"));
}

}  // namespace orm_trace
