// What a subcommand of orm-trace is.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <stdexcept>
#include <string>

#include "tools/orm-trace/Output.h"

namespace orm_trace {

// How the tool ends.
enum class ExitCode {
    kOk = 0,
    kFailed = 1,      // something else than the input failed, a write to standard output too
    kUsage = 2,       // the command line
    kIncomplete = 3,  // finished, but data is missing
    kNotATrace = 4,   // the input cannot be read as what it should be
    kNoDriver = 5,    // the driver library cannot be loaded
};

// A failure that ends the subcommand: what it concerns, the reason, and how the tool ends.
class Failure : public std::runtime_error {
public:
    Failure(ExitCode code, std::string subject, const std::string& reason)
        : std::runtime_error(reason), m_code(code), m_subject(std::move(subject)) {}

    ExitCode Code() const noexcept { return m_code; }
    const std::string& Subject() const noexcept { return m_subject; }

private:
    ExitCode m_code;
    std::string m_subject;
};

// A subcommand: it holds its options, which the command line fills before Run.
class Command {
public:
    virtual ~Command() = default;

    // Does the work. Returns: how the tool ends. Errors: Failure; an error of the tools library is a kNotATrace.
    virtual ExitCode Run(Output& out) = 0;
};

// Each adds its subcommand to the command line. Returns: the subcommand, to be kept while the command line is in use.
std::unique_ptr<Command> AddSamplesCommand(CLI::App& app);

}  // namespace orm_trace
