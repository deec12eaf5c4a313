#include "tools/orm-trace/commands/Commands.h"

#include <algorithm>

#include "capture/Text.h"
#include "tools/orm-trace/options/HelpFormatter.h"

namespace orm_trace {
CommandLine::CommandLine() : app("Inspect, check, repair and write trace files.", "orm-trace") {
    app.formatter(std::make_shared<HelpFormatter>());  // subcommands take it over
    app.set_version_flag("--version", std::string("orm-trace ") + ORM_TRACE_VERSION);
    app.require_subcommand(1);
    app.failure_message([](const CLI::App*, const CLI::Error& error) {
        return "orm-trace: " + WithoutControls(error.what()) + "\nRun with --help for more information.\n";
    });
    using AddFunction = std::unique_ptr<Command> (*)(CLI::App&);
#define ORM_TRACE_ADD(name) Add##name##Command,
    for (const AddFunction add : {ORM_TRACE_SUBCOMMANDS(ORM_TRACE_ADD)}) {
#undef ORM_TRACE_ADD
        auto command = add(app);
        subcommands.push_back({app.get_subcommands(nullptr).back(), std::move(command)});
    }
}

bool CommandLine::Has(const std::string& name) const {
    return std::any_of(subcommands.begin(), subcommands.end(),
                       [&](const Subcommand& each) { return each.app->check_name(name); });
}

Command* CommandLine::Chosen() const {
    for (const auto& [parsed, command] : subcommands) {
        if (parsed->parsed()) return command.get();
    }
    return nullptr;
}

}  // namespace orm_trace
