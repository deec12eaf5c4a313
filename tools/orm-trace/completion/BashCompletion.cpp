#include "tools/orm-trace/completion/Completion.h"

namespace orm_trace::completion {
namespace {

constexpr const char* kFunction = R"bash(
_orm_trace() {
    local word=${COMP_WORDS[COMP_CWORD]} words=() path="" subcommands options value closed
    local begun prefix="" wanted="" without=" " offered="" arguments=0 n
    # Bash takes NAME:VERSION@FILE and --option=VALUE apart, and replaces only what comes after $begun.
    for ((n = 1; n <= COMP_CWORD; ++n)); do
        if ((n > 1)) && [[ ${COMP_WORDS[n]} == [:@=]* || ${COMP_WORDS[n - 1]} == *[:@=] ]]; then
            words[-1]+=${COMP_WORDS[n]}
        else
            words+=("${COMP_WORDS[n]}")
        fi
    done
    if [[ $word == [:@=]* ]]; then word=${word##*[:@=]}; fi
    begun=${words[-1]%"$word"} word=${words[-1]}
    unset "words[-1]"

    _orm_trace_level ""
    for ((n = 0; n < ${#words[@]}; ++n)); do
        if [[ ${words[n]} == -* ]]; then
            _orm_trace_argument "$path" "${words[n]%%=*}"
            without+="$closed "
            if [[ -n $value && ${words[n]} != *=* ]] && ((++n == ${#words[@]})); then wanted=$value; fi
        elif [[ -n $subcommands ]]; then
            path+=${path:+ }${words[n]}
            _orm_trace_level "$path" || return 0
        else
            _orm_trace_argument "$path" $((++arguments))
            without+="$closed "
        fi
    done

    if [[ -z $wanted && $word == --*=* ]]; then
        prefix=${word%%=*}=
        _orm_trace_argument "$path" "${prefix%=}"
        wanted=${value:-text}
    elif [[ -z $wanted && $word != -* ]]; then
        _orm_trace_argument "$path" $((arguments + 1))
        wanted=${value#text}
    fi
    case $wanted in
        "")
            for n in $options; do
                if [[ $without != *" $n "* ]]; then offered+=" $n"; fi
            done
            set -- -W "$subcommands$offered"
            ;;
        text) return 0 ;;
        file) set -- -f ;;
        @file)
            if [[ $word != *@* ]]; then return 0; fi
            prefix=${word%%@*}@
            set -- -f
            ;;
        *) set -- -W "${wanted//|/ }" ;;
    esac
    mapfile -t COMPREPLY < <(compgen -P "$prefix" "$@" -- "${word#"$prefix"}")
    COMPREPLY=("${COMPREPLY[@]#"$begun"}")
}
complete -o filenames -F _orm_trace orm-trace
)bash";

std::string ValueOf(const Argument& argument) {
    switch (argument.kind) {
        case Kind::kFlag: return "";
        case Kind::kText: return "text";
        case Kind::kFile: return "file";
        case Kind::kFileAfterAt: return "@file";
        case Kind::kChoice: return Joined(argument.choices, "|");
    }
    return "";
}

std::string Assigned(const std::string& variable, const std::string& value) {
    return value.empty() ? "" : ' ' + variable + "=\"" + value + '"';
}

// What _orm_trace_level says of a level.
std::string LevelCase(const Level& level) {
    std::vector<std::string> subcommands;
    std::vector<std::string> options;
    for (const NameHelp& each : level.subcommands) subcommands.push_back(each.name);
    for (const Argument& each : level.options) options.push_back(Joined(each.names));
    return "        \"" + level.path + "\")" + Assigned("subcommands", Joined(subcommands)) +
           Assigned("options", Joined(options)) + " ;;\n";
}

// What _orm_trace_argument says of an option or a positional argument of a level.
std::string ArgumentCase(const Level& level, const Argument& argument) {
    std::vector<std::string> patterns;
    for (const std::string& name : argument.names) {
        patterns.push_back('"' + level.path + ' ' + (name == "*" ? "\"[1-9]*" : name + '"'));
    }
    const std::string says = Assigned("value", ValueOf(argument)) + Assigned("closed", Joined(argument.closed));
    return says.empty() ? "" : "        " + Joined(patterns, " | ") + ')' + says + " ;;\n";
}

}  // namespace

std::string BashCompletion(const std::vector<Level>& levels) {
    std::string text =
        "# Completion of orm-trace for bash, generated from the command line of the tool.\n"
        "\n"
        "# Says what there is after the subcommands $1: further subcommands, and options.\n"
        "_orm_trace_level() {\n"
        "    subcommands=\"\" options=\"\"\n"
        "    case $1 in\n";
    for (const Level& level : levels) text += LevelCase(level);
    text +=
        "        *) return 1 ;;\n"
        "    esac\n"
        "}\n"
        "\n"
        "# Says of the option or the positional argument $2, which is its number, after the subcommands $1: what its "
        "value\n"
        "# completes to, and which options are not offered once it is given.\n"
        "_orm_trace_argument() {\n"
        "    value=\"\" closed=\"\"\n"
        "    case \"$1 $2\" in\n";
    for (const Level& level : levels) {
        for (const Argument& each : level.options) text += ArgumentCase(level, each);
        for (const Argument& each : level.positionals) text += ArgumentCase(level, each);
    }
    return text + "    esac\n}\n" + kFunction;
}

}  // namespace orm_trace::completion
