// orm-trace list: shows every section of a TDF file.
#include <array>
#include <cstdio>
#include <string>

#include "tools/orm-trace/commands/Command.h"
#include "tools/orm-trace/output/Document.h"
#include "tools/orm-trace/output/FaultReport.h"
#include "tools/orm-trace/output/Text.h"

namespace orm_trace {
namespace {

class ListCommand : public Command {
public:
    explicit ListCommand(CLI::App& app) {
        app.add_option("FILE", m_file, "TDF file, under any name")->required();
        app.add_flag(kJsonOption, m_json, kJsonOptionHelp);
        app.footer("Example:\n  orm-trace list capture.tdf");
    }

    ExitCode Run(Output& out) override {
        return WithDocument(out, m_json, "list", [&](JsonWriter* json) {
            if (json) json->Members(FileMember(m_file));
            const InputFile file(m_file);
            file.RequireIdentifier();
            if (json) json->Begin('[', "sections");
            if (!json) out.Write("     index      offset      length     version    data at data length  name\n");
            SectionWalk walk(file);
            while (walk.Next()) {
                if (json) {
                    Json section = SectionJson(walk.Number(), walk.Section());
                    section["data_there"] = walk.DataThere();
                    json->Element(section);
                } else {
                    out.Write(Line(walk));
                }
            }
            if (json) json->End();
            return ReportDamage(m_file, walk, json);
        });
    }

private:
    static std::string Line(const SectionWalk& walk) {
        const auto& section = walk.Section();
        std::array<char, 100> numbers;
        std::snprintf(numbers.data(), numbers.size(), "%10llu  %10s  %10u  %10u %10u  %10u  \"",
                      static_cast<unsigned long long>(walk.Number()), Position(section.offset).c_str(), section.length,
                      section.version, section.DataPosition(), section.DataLength());
        return numbers.data() + Escaped(section.name) + "\"\n";
    }

    std::string m_file;
    bool m_json = false;
};

}  // namespace

std::unique_ptr<Command> AddListCommand(CLI::App& app) {
    return std::make_unique<ListCommand>(*app.add_subcommand("list", "Show every section of a TDF file"));
}

}  // namespace orm_trace
