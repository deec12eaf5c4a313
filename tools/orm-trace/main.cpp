// orm-trace: the command-line tool for trace files.
#include <csignal>
#include <iostream>
#include <sstream>
#include <string_view>

#include "tools/orm-trace/commands/Commands.h"

namespace {

using namespace orm_trace;

ExitCode Run(Command& command) {
    StandardOutput out;
    const ExitCode code = command.Run(out);
    out.Close();
    return code;
}

ExitCode Print(const std::string& text) {
    StandardOutput out;
    out.Write(text);
    out.Close();
    return ExitCode::kOk;
}

ExitCode Main(int argc, char** argv) {
    // Scripts ask for the version often; setting up the subcommands costs more than the answer.
    if (argc == 2 && std::string_view(argv[1]) == "--version") return Print("orm-trace " ORM_TRACE_VERSION "\n");
    CommandLine line;
    if (argc > 1 && argv[1][0] != '-' && !line.Has(argv[1])) {
        Report(argv[1], "is not a subcommand; see orm-trace --help");
        return ExitCode::kUsage;
    }
    try {
        line.app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        std::ostringstream text;  // of --help and --version
        return line.app.exit(error, text, std::cerr) != 0 ? ExitCode::kUsage : Print(text.str());
    }
    Command* command = line.Chosen();
    return command != nullptr ? Run(*command) : ExitCode::kUsage;
}

}  // namespace

int main(int argc, char** argv) {
    // A write to a closed pipe, or beyond the limit on a file's size, then fails instead.
    for (const int signal : {SIGPIPE, SIGXFSZ}) std::signal(signal, SIG_IGN);
    try {
        return static_cast<int>(Main(argc, argv));
    } catch (const OutputError& error) {
        if (!error.IsBrokenPipe()) Report(error);
        return static_cast<int>(ExitCodeOf(error));
    } catch (const Error& error) {
        Report(error);
        return static_cast<int>(ExitCodeOf(error));
    } catch (const std::exception& error) {
        Report("error", error.what());
    } catch (...) {  // a driver may throw anything
        Report("error", "unknown");
    }
    return static_cast<int>(ExitCode::kFailed);
}
