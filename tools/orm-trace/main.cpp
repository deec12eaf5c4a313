// orm-trace: the command-line tool for trace files.
#include <algorithm>
#include <csignal>
#include <sstream>
#include <vector>

#include "tools/orm-trace/commands/Command.h"

namespace {

using namespace orm_trace;

struct Subcommand {
    CLI::App* app;
    std::unique_ptr<Command> command;
};

std::vector<Subcommand> AddSubcommands(CLI::App& app) {
    std::vector<Subcommand> subcommands;
    for (const auto add :
         {AddInfoCommand, AddListCommand, AddDumpCommand, AddSamplesCommand, AddVerifyCommand, AddRecoverCommand,
          AddCreateCommand, AddAppendCommand, AddSaveCommand, AddStampCommand, AddProbeCommand}) {
        auto command = add(app);
        subcommands.push_back({app.get_subcommands(nullptr).back(), std::move(command)});
    }
    return subcommands;
}

ExitCode Run(Command& command) {
    Output out;
    const ExitCode code = command.Run(out);
    out.Close();
    return code;
}

ExitCode Print(const std::string& text) {
    Output out;
    out.Write(text);
    out.Close();
    return ExitCode::kOk;
}

int Main(int argc, char** argv) {
    const std::string version = std::string("orm-trace ") + ORM_TRACE_VERSION;
    // Scripts ask for the version often; setting up the subcommands costs more than the answer.
    if (argc == 2 && std::string_view(argv[1]) == "--version") return static_cast<int>(Print(version + '\n'));
    CLI::App app{"Inspect, check, repair and write trace files.", "orm-trace"};
    app.set_version_flag("--version", version);
    app.require_subcommand(1);
    app.failure_message([](const CLI::App*, const CLI::Error& error) {
        return std::string("orm-trace: ") + error.what() + "\nRun with --help for more information.\n";
    });
    const auto subcommands = AddSubcommands(app);
    const auto isNamed = [&](const Subcommand& each) { return each.app->check_name(argv[1]); };
    if (argc > 1 && argv[1][0] != '-' && std::none_of(subcommands.begin(), subcommands.end(), isNamed)) {
        Report(argv[1], "is not a subcommand; see orm-trace --help");
        return static_cast<int>(ExitCode::kUsage);
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        std::ostringstream text;  // of --help and --version
        if (app.exit(error, text, std::cerr) != 0) return static_cast<int>(ExitCode::kUsage);
        return static_cast<int>(Print(text.str()));
    }
    for (const auto& [subcommand, command] : subcommands) {
        if (subcommand->parsed()) return static_cast<int>(Run(*command));
    }
    return static_cast<int>(ExitCode::kUsage);
}

}  // namespace

int main(int argc, char** argv) {
    // A write to a closed pipe, or beyond the limit on a file's size, then fails instead.
    for (const int signal : {SIGPIPE, SIGXFSZ}) std::signal(signal, SIG_IGN);
    try {
        return Main(argc, argv);
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
