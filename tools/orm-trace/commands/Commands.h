// The subcommands of orm-trace.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <vector>

#include "tools/orm-trace/commands/Command.h"

namespace orm_trace {

// The one table of subcommands, in the order in which --help shows them. For each NAME the unit NAMECommand.cpp defines
// AddNAMECommand, which adds the subcommand to the command line and returns it, to be kept while that is in use.
#ifdef ORM_HAS_VIEW
#define ORM_TRACE_VIEW(DO) DO(View)
#else
#define ORM_TRACE_VIEW(DO)
#endif
// clang-format off
#define ORM_TRACE_SUBCOMMANDS(DO) \
    DO(Info) DO(List) DO(Dump) DO(Samples) DO(Find) DO(Stats) DO(Diff) DO(Verify) DO(Recover) DO(Cut) DO(Create) \
    DO(Append) DO(Save) DO(Stamp) ORM_TRACE_VIEW(DO) DO(Probe)
// clang-format on

#define ORM_TRACE_DECLARE(name) std::unique_ptr<Command> Add##name##Command(CLI::App& app);
ORM_TRACE_SUBCOMMANDS(ORM_TRACE_DECLARE)
#undef ORM_TRACE_DECLARE

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
