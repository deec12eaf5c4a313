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

}  // namespace orm_trace
