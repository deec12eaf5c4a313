// A subcommand of orm-trace in this process.
#pragma once

#include <memory>
#include <string>

#include "fuzz/Fuzz.h"
#include "tools/orm-trace/commands/Commands.h"

namespace fuzz {

// A subcommand with its options. Setting up a command line costs more than the work, so it is done once for many runs. What
// the subcommand prints is dropped.
class ToolRun {
public:
    using AddCommand = std::unique_ptr<orm_trace::Command> (*)(CLI::App&);

    ToolRun(AddCommand add, std::string line) : m_add(add), m_line(std::move(line)) {}

    orm_trace::ExitCode Run() {
        static const int standardError = dup(STDERR_FILENO), null = open("/dev/null", O_WRONLY);
        constexpr int kRuns = 200;  // some keep a little of each run
        if (m_runs++ % kRuns == 0) {
            m_app = std::make_unique<CLI::App>();
            m_command = m_add(*m_app);
            m_app->parse(m_line);
        }
        dup2(null, STDERR_FILENO);
        dup2(null, STDOUT_FILENO);
        orm_trace::ExitCode code = orm_trace::ExitCode::kOk;
        try {
            orm_trace::StandardOutput out;
            code = m_command->Run(out);
            out.Close();
        } catch (const orm_trace::Error& error) {
            code = ExitCodeOf(error);
        }
        dup2(standardError, STDERR_FILENO);
        return code;
    }

private:
    AddCommand m_add;
    std::string m_line;
    std::unique_ptr<CLI::App> m_app;
    std::unique_ptr<orm_trace::Command> m_command;
    int m_runs = 0;
};

}  // namespace fuzz
