// What a subcommand of orm-trace is.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>

#include "tools/orm-trace/output/ExitCode.h"
#include "tools/orm-trace/output/Output.h"

namespace orm_trace {

// A subcommand: it holds its options, which the command line fills before Run.
class Command {
public:
    virtual ~Command() = default;

    // Does the work. Returns: how the tool ends. Errors: Error.
    virtual ExitCode Run(Output& out) = 0;
};

// The option of every subcommand that can write a JSON document.
inline constexpr const char* kJsonOption = "--json";
inline constexpr const char* kJsonOptionHelp = "Write a JSON document";

// Each adds its subcommand to the command line. Returns: the subcommand, to be kept while the command line is in use.
std::unique_ptr<Command> AddAppendCommand(CLI::App& app);
std::unique_ptr<Command> AddCreateCommand(CLI::App& app);
std::unique_ptr<Command> AddDumpCommand(CLI::App& app);
std::unique_ptr<Command> AddInfoCommand(CLI::App& app);
std::unique_ptr<Command> AddListCommand(CLI::App& app);
std::unique_ptr<Command> AddProbeCommand(CLI::App& app);
std::unique_ptr<Command> AddRecoverCommand(CLI::App& app);
std::unique_ptr<Command> AddSamplesCommand(CLI::App& app);
std::unique_ptr<Command> AddSaveCommand(CLI::App& app);
std::unique_ptr<Command> AddStampCommand(CLI::App& app);
std::unique_ptr<Command> AddVerifyCommand(CLI::App& app);

}  // namespace orm_trace
