#include "tools/orm-trace/completion/CompletionTable.h"

namespace orm_trace {
namespace {

std::string FunctionOf(const CompletedCommand& command) {
    std::string name = "_orm-trace";
    if (!command.name.empty()) name += '_' + command.name;
    for (char& c : name) c = c == ' ' ? '_' : c;
    return name;
}

std::string Value(const CompletedOption& option) {
    switch (option.value) {
        case CompletedValue::kNone: return "";
        case CompletedValue::kFile: return ":file:_files";
        case CompletedValue::kChoice: return ":value:(" + Joined(option.choices) + ')';
        case CompletedValue::kText:
        case CompletedValue::kFileAfterAt: break;
    }
    return ":value: ";
}

// Returns: the arguments of _arguments for an option, one for each name, or for a positional.
std::vector<std::string> Specifications(const CompletedOption& option) {
    if (option.names.empty()) {
        const std::string action = option.value == CompletedValue::kFile ? "_files" : " ";
        return {(option.isMany ? "*:" : ":") + Escaped(option.valueName, ":") + ':' + action};
    }
    std::set<std::string> excluded = option.excluded;
    excluded.insert(option.names.begin(), option.names.end());
    // Only sections are given several times.
    const std::string begin = option.value == CompletedValue::kFileAfterAt ? "*" : '(' + Joined(excluded) + ')';
    std::vector<std::string> specifications;
    for (const std::string& name : option.names) {
        specifications.push_back(begin + name + '[' + Escaped(option.help, "[]\\") + ']' + Value(option));
    }
    return specifications;
}

// Returns: a function for the command, after those of its subcommands.
std::string Functions(const CompletedCommand& command) {
    std::string before;
    std::string arguments = "    _arguments -C";
    const auto add = [&](const std::string& argument) { arguments += " \\\n        " + Quoted(argument); };
    for (const auto* options : {&command.options, &command.positionals}) {
        for (const CompletedOption& option : *options) {
            for (const std::string& specification : Specifications(option)) add(specification);
        }
    }
    std::string choice;
    if (!command.subcommands.empty()) {
        std::string names;
        choice = " && return\n    case $line[1] in\n";
        for (const CompletedCommand& each : command.subcommands) {
            names += each.LastName() + "\\:" + '"' + Escaped(each.help, "\"\\:") + "\" ";
            choice += "        " + each.LastName() + ") " + FunctionOf(each) + " ;;\n";
            before += Functions(each);
        }
        choice += "    esac";
        add("1:subcommand:((" + names + "))");
        add("*::argument:->rest");
    }
    return before + FunctionOf(command) + "() {\n    local line state\n" + arguments + choice + "\n}\n\n";
}

}  // namespace

std::string ZshCompletion(const CompletedCommand& tool) {
    return "#compdef orm-trace\n# Completion of orm-trace for zsh.\n\n" + Functions(tool) + "_orm-trace \"$@\"\n";
}

}  // namespace orm_trace
