#include "tools/orm-trace/completion/Completion.h"

namespace orm_trace::completion {
namespace {

constexpr const char* kBegin = R"zsh(#compdef orm-trace
# Completion of orm-trace for zsh, generated from the command line of the tool.

# Completes the name of a file after the first @ of the word.
_orm-trace_file_after_at() {
    if compset -P 1 '*@'; then _files; else _message 'NAME:VERSION@FILE'; fi
}
)zsh";

std::string Quoted(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) (c == '\'') ? quoted += "'\\''" : quoted += c;
    return quoted + '\'';
}

std::string FunctionName(const std::string& path) {
    std::string name = path.empty() ? "_orm-trace" : "_orm-trace_" + path;
    for (char& c : name) c = c == ' ' ? '_' : c;
    return name;
}

// What follows the description of an argument: the name of its value, and what that completes to.
std::string Action(const Argument& argument) {
    const std::string message = ':' + WithBackslashes(argument.valueName, ":\\") + ':';
    switch (argument.kind) {
        case Kind::kFlag: return "";
        case Kind::kText: return message + ' ';
        case Kind::kFile: return message + "_files";
        case Kind::kFileAfterAt: return message + "_orm-trace_file_after_at";
        case Kind::kChoice: return message + '(' + Joined(argument.choices) + ')';
    }
    return "";
}

// One argument of _arguments for each name.
std::vector<std::string> Specifications(const Argument& argument) {
    std::vector<std::string> specifications;
    for (const std::string& name : argument.names) {
        const bool isOption = name[0] == '-';
        std::string text = argument.closed.empty() ? "" : '(' + Joined(argument.closed) + ')';
        if (isOption && argument.repeats) text += '*';
        text += name;
        if (isOption && argument.kind != Kind::kFlag) text += name[1] == '-' ? "=" : "+";
        if (isOption) text += '[' + WithBackslashes(argument.help, "[]:\\") + ']';
        specifications.push_back(Quoted(text + Action(argument)));
    }
    return specifications;
}

std::string Arguments(const Level& level, const std::vector<std::string>& others) {
    std::vector<std::string> all;
    for (const auto* arguments : {&level.options, &level.positionals}) {
        for (const Argument& each : *arguments) {
            for (const std::string& text : Specifications(each)) all.push_back(text);
        }
    }
    all.insert(all.end(), others.begin(), others.end());
    return Joined(all, " \\\n        ");
}

std::string Function(const Level& level) {
    const std::string name = FunctionName(level.path);
    if (level.subcommands.empty())
        return '\n' + name + "() {\n    _arguments \\\n        " + Arguments(level, {}) + "\n}\n";
    std::string text = '\n' + name +
                       "() {\n"
                       "    local curcontext=$curcontext state line ret=1\n"
                       "    local -A opt_args\n"
                       "    local -a subcommands=(\n";
    for (const NameHelp& each : level.subcommands) text += "        " + Quoted(each.name + ':' + each.help) + '\n';
    return text +
           "    )\n"
           "    _arguments -C \\\n        " +
           Arguments(level, {"'1: :->subcommand'", "'*:: :->arguments'"}) +
           " && ret=0\n"
           "    case $state in\n"
           "        subcommand) _describe subcommand subcommands && ret=0 ;;\n"
           "        arguments) _call_function ret " +
           name +
           "_$words[1] ;;\n"
           "    esac\n"
           "    return ret\n"
           "}\n";
}

}  // namespace

std::string ZshCompletion(const std::vector<Level>& levels) {
    std::string text = kBegin;
    for (const Level& level : levels) text += Function(level);
    return text + "\n_orm-trace \"$@\"\n";
}

}  // namespace orm_trace::completion
