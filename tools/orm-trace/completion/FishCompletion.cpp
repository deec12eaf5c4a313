#include "tools/orm-trace/completion/CompletionTable.h"

namespace orm_trace {
namespace {

// Returns: whether a command is being completed, as a condition of fish.
std::string Condition(const CompletedCommand& command) {
    std::string condition;
    for (std::size_t at = 0, end = 0; !command.name.empty() && end != command.name.npos; at = end + 1) {
        end = command.name.find(' ', at);
        condition +=
            (condition.empty() ? "" : "; and ") + ("__fish_seen_subcommand_from " + command.name.substr(at, end - at));
    }
    std::vector<std::string> names;
    for (const CompletedCommand& each : command.subcommands) names.push_back(each.LastName());
    if (names.empty()) return condition;
    return condition + (condition.empty() ? "" : "; and ") + "not __fish_seen_subcommand_from " + Joined(names);
}

std::string Value(const CompletedOption& option) {
    switch (option.value) {
        case CompletedValue::kNone: return "";
        case CompletedValue::kFile:
        case CompletedValue::kFileAfterAt: return " -r -F";
        case CompletedValue::kChoice: return " -x -a " + Quoted(Joined(option.choices));
        case CompletedValue::kText: break;
    }
    return " -x";
}

std::string Lines(const CompletedCommand& command) {
    const std::string begin = "complete -c orm-trace -n ";
    const std::string condition = Condition(command);
    std::string lines;
    for (const CompletedCommand& each : command.subcommands) {
        lines += begin + Quoted(condition) + " -a " + each.LastName() + " -d " + Quoted(each.help) + '\n';
    }
    for (const CompletedOption& option : command.options) {
        std::string own = condition;
        std::string names;
        for (const std::string& name : option.names) {
            const bool isLong = name[1] == '-';
            names += (isLong ? " -l " : " -s ") + name.substr(isLong ? 2 : 1);
        }
        std::string given;
        for (const std::string& name : option.excluded)
            given += (name[1] == '-' ? " " : " -s ") + name.substr(name[1] == '-' ? 2 : 1);
        if (!given.empty()) own += "; and not __fish_contains_opt" + given;
        lines += begin + Quoted(own) + names + Value(option) + " -d " + Quoted(option.help) + '\n';
    }
    for (const CompletedOption& option : command.positionals) {
        if (option.value == CompletedValue::kFile) {
            lines += begin + Quoted(condition) + " -F\n";
            break;
        }
    }
    for (const CompletedCommand& each : command.subcommands) lines += Lines(each);
    return lines;
}

}  // namespace

std::string FishCompletion(const CompletedCommand& tool) {
    return "# Completion of orm-trace for fish.\n\ncomplete -c orm-trace -f\n" + Lines(tool);
}

}  // namespace orm_trace
