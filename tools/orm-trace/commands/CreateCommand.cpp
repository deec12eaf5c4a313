// orm-trace create: makes a TDF file of sections.
#include "tools/orm-trace/commands/Command.h"
#include "tools/orm-trace/output/Progress.h"
#include "capture/ReplacementFile.h"
#include "tools/orm-trace/options/SectionOptions.h"
#include "capture/SectionWriter.h"

namespace orm_trace {
namespace {

class CreateCommand : public Command {
public:
    explicit CreateCommand(CLI::App& app) {
        app.add_option("OUT", m_out, "TDF file to make, with the extension .tdf")->required();
        m_sections.AddTo(app);
        app.add_flag("--force", m_force, "Replace OUT if it exists");
        app.footer(
            "Example:\n  orm-trace create capture.tdf --section Notes:1@notes.txt --section BinTraceData:1@raw.bin");
    }

    ExitCode Run(Output&) override {
        ReplacementFile file(m_out, m_force, "exists (--force replaces it)");
        auto sources = m_sections.Open();
        const Progress progress(file.Path(), m_sections.TotalSize(sources));
        const SectionWriter writer(file.Path(), m_out);
        for (SectionSource& source : sources) writer.Append(source);
        writer.RequireWholeChain(ExitCode::kFailed);
        file.Publish();
        return ExitCode::kOk;
    }

private:
    std::string m_out;
    SectionOptions m_sections;
    bool m_force = false;
};

}  // namespace

std::unique_ptr<Command> AddCreateCommand(CLI::App& app) {
    return std::make_unique<CreateCommand>(*app.add_subcommand("create", "Make a TDF file of sections"));
}

}  // namespace orm_trace
