// orm-trace create: makes a TDF file of sections.
#include "tdf/TDFHandler.h"
#include "tools/orm-trace/AppendTarget.h"
#include "tools/orm-trace/Command.h"
#include "tools/orm-trace/Progress.h"
#include "tools/orm-trace/ReplacementFile.h"
#include "tools/orm-trace/SectionOptions.h"

namespace orm_trace {
namespace {

using Orm::Lux::Trace::TDFHandler;

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
        auto sources = m_sections.Open(nullptr);
        Translated(ExitCode::kFailed, m_out, [&] { TDFHandler().CreateTDFFile(file.Path().c_str()); });
        const Progress progress(file.Path(), m_sections.TotalSize(sources));
        AppendTarget target(file.Path());
        for (SectionSource& source : sources) target.Append(source);
        target.Keep();
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
