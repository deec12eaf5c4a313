// The subcommands of orm-trace.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <vector>

#include "tools/orm-trace/commands/Command.h"

namespace orm_trace {

// A subcommand with its part of the command line.
struct Subcommand {
    CLI::App* app;
    std::unique_ptr<Command> command;
};

// The tool's command line. Its subcommands are to be kept while it is in use.
struct CommandLine {
    CLI::App app;
    std::vector<Subcommand> subcommands;

    CommandLine();
    // Returns: whether there is a subcommand of that name.
    bool Has(const std::string& name) const;
    // Returns: the subcommand that was parsed, null for none.
    Command* Chosen() const;
};

}  // namespace orm_trace
