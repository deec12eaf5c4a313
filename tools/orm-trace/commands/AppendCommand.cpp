// orm-trace append: appends sections to a TDF file.
#include <string>

#include "capture/AppendTarget.h"
#include "capture/InputFile.h"
#include "tools/orm-trace/commands/Command.h"
#include "tools/orm-trace/options/SectionOptions.h"
#include "tools/orm-trace/output/ProgressBar.h"

namespace orm_trace {
namespace {

class AppendCommand : public Command {
public:
    explicit AppendCommand(CLI::App& app) {
        app.add_option("FILE", m_file, "TDF file to append to")->required();
        m_sections.AddTo(app)->required();
        app.footer("Example:\n  orm-trace append capture.tdf --section Notes:1@notes.txt");
    }

    ExitCode Run(Output&) override {
        InputFile(m_file).RequireIdentifier();  // a wrong name is reported before standard input is waited for
        auto sources = m_sections.Open();
        AppendTarget target(m_file, [](const Error& error) { Report(error); });
        m_sections.RequireNew(sources, target);
        {
            ProgressBar bar(m_sections.TotalSize(sources));
            for (SectionSource& source : sources)
                target.Append(source, [&](std::uint64_t bytes) { bar.Advance(bytes); });
        }
        target.Keep();
        return ExitCode::kOk;
    }

private:
    std::string m_file;
    SectionOptions m_sections;
};

}  // namespace

std::unique_ptr<Command> AddAppendCommand(CLI::App& app) {
    return std::make_unique<AppendCommand>(*app.add_subcommand("append", "Append sections to a TDF file"));
}

}  // namespace orm_trace
