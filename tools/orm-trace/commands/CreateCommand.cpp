// orm-trace create: creates a TDF file from sections.
#include "capture/ReplacementFile.h"
#include "capture/SectionWriter.h"
#include "tools/orm-trace/commands/Command.h"
#include "tools/orm-trace/options/SectionOptions.h"
#include "tools/orm-trace/output/ProgressBar.h"

namespace orm_trace {
namespace {

class CreateCommand : public Command {
public:
    explicit CreateCommand(CLI::App& app) {
        app.add_option("OUT", m_out, "TDF file to create, with the extension .tdf")->required();
        m_sections.AddTo(app);
        app.add_flag("--force", m_force, "Replace OUT if it exists");
        app.footer(
            "Example:\n  orm-trace create capture.tdf --section Notes:1@notes.txt --section BinTraceData:1@raw.bin");
    }

    ExitCode Run(Output&) override {
        ReplacementFile file(m_out, m_force, "exists (--force replaces it)");
        auto sources = m_sections.Open();
        const SectionWriter writer(file.Path(), m_out);
        {
            ProgressBar bar(m_sections.TotalSize(sources));
            for (SectionSource& source : sources)
                writer.Append(source, [&](std::uint64_t bytes) { bar.Advance(bytes); });
        }
        writer.RequireWholeChain(ErrorKind::kFailed);
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
    return std::make_unique<CreateCommand>(*app.add_subcommand("create", "Create a TDF file from sections"));
}

}  // namespace orm_trace
