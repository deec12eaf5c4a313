#include "tools/orm-trace/completion/Completion.h"

namespace orm_trace::completion {
namespace {

constexpr const char* kBegin = R"fish(# Completion of orm-trace for fish, generated from the command line of the tool.

# Whether the words before the cursor are just these subcommands.
function __orm_trace_at --argument-names path
    set -l words (commandline -opc)[2..]
    test "$words" = "$path"
end

# Whether the words before the cursor begin with these subcommands, and have none of the options that come after them.
function __orm_trace_in --argument-names path
    set -l words (commandline -opc)[2..]
    string match -q -- "$path *" "$words "
    or return
    for word in (string replace -r '=.*' '' -- $words)
        contains -- $word $argv[2..]
        and return 1
    end
    return 0
end

# Whether the value of one of the options that come after these subcommands is completed.
function __orm_trace_value --argument-names path
    __orm_trace_in $path
    and contains -- (commandline -opc)[-1] $argv[2..]
end

# Whether a positional argument of these subcommands is completed, and its number compares so (-eq or -ge) with this one.
# The options that come after that take a value.
function __orm_trace_argument --argument-names path comparison number
    __orm_trace_in $path
    or return
    set -l words (commandline -opc)
    set -l first (math 2 + (count (string split ' ' -- $path)))
    set -l next 1
    set -l previous
    for word in $words[$first..]
        if not contains -- "$previous" $argv[4..]
            and not string match -q -- '-*' $word
            set next (math $next + 1)
        end
        set previous $word
    end
    not __orm_trace_value $path $argv[4..]
    and test $next $comparison $number
end

# The names of files that can come after the first @ of the word, with all that is before them.
function __orm_trace_file_after_at
    set -l parts (string split -m 1 @ -- (string replace -r '^--[^=]*=' '' -- (commandline -ct)))
    test (count $parts) -eq 2
    and string replace -r '^' (string escape --style=regex -- $parts[1])@ -- (complete -C "'' $parts[2]")
end

complete -c orm-trace -f
)fish";

std::string Quoted(std::string_view text) { return '\'' + WithBackslashes(text, "'\\") + '\''; }

// The path of a level, as a word within a quoted condition.
std::string InCondition(const std::string& path) { return '"' + path + '"'; }

// A line of the file: what is offered under a condition.
std::string Line(const std::string& condition, const std::string& offered) {
    return "complete -c orm-trace -n " + Quoted(condition) + ' ' + offered + '\n';
}

std::string ValueOf(const Argument& argument) {
    switch (argument.kind) {
        case Kind::kFlag: return "";
        case Kind::kText: return " -x";
        case Kind::kFile: return " -r -F";
        case Kind::kFileAfterAt: return " -x -a '(__orm_trace_file_after_at)'";
        case Kind::kChoice: return " -x -a " + Quoted(Joined(argument.choices));
    }
    return "";
}

std::string OptionLine(const Level& level, const Argument& option) {
    std::string condition = "__orm_trace_at " + InCondition(level.path);
    if (level.subcommands.empty()) {
        const std::string path = InCondition(level.path);
        condition =
            option.kind == Kind::kFlag ? "" : "__orm_trace_value " + path + ' ' + Joined(option.names) + "; or ";
        condition += "__orm_trace_in " + path;
        for (const std::string& name : option.closed) condition += ' ' + name;
    }
    std::string offered;
    for (const std::string& name : option.names) {
        offered += name[1] == '-' ? "-l " + name.substr(2) + ' ' : "-s " + name.substr(1) + ' ';
    }
    return Line(condition, offered + "-d " + Quoted(option.help) + ValueOf(option));
}

std::string PositionalLine(const Level& level, const Argument& positional, std::size_t number) {
    std::string condition = "__orm_trace_argument " + InCondition(level.path) +
                            (positional.names[0] == "*" ? " -ge " : " -eq ") + std::to_string(number);
    for (const Argument& option : level.options) {
        if (option.kind != Kind::kFlag) condition += ' ' + Joined(option.names);
    }
    return Line(condition, positional.kind == Kind::kFile ? "-F" : "-a " + Quoted(Joined(positional.choices)));
}

}  // namespace

std::string FishCompletion(const std::vector<Level>& levels) {
    std::string text = kBegin;
    for (const Level& level : levels) {
        for (const NameHelp& each : level.subcommands) {
            text += Line("__orm_trace_at " + InCondition(level.path), "-a " + each.name + " -d " + Quoted(each.help));
        }
        for (std::size_t n = 0; n < level.positionals.size(); ++n) {
            const Argument& each = level.positionals[n];
            if (each.kind == Kind::kFile || each.kind == Kind::kChoice) text += PositionalLine(level, each, n + 1);
        }
        for (const Argument& each : level.options) text += OptionLine(level, each);
    }
    return text;
}

}  // namespace orm_trace::completion
