#include <algorithm>
#include <stdexcept>
#include <utility>

#include "tools/orm-trace/completion/CompletionTable.h"

namespace orm_trace {
namespace {

// Lines of the case statements of the template.
struct Tables {
    std::string commands;  // what is offered in a command, and how many files
    std::string excluded;  // what is not offered any more after an option
    std::string values;    // what is offered as the value of an option
};

std::string Offered(const CompletedCommand& command) {
    std::vector<std::string> words;
    for (const CompletedCommand& each : command.subcommands) words.push_back(each.LastName());
    for (const CompletedOption& option : command.options) {
        words.insert(words.end(), option.names.begin(), option.names.end());
    }
    return Joined(words);
}

std::string Files(const CompletedCommand& command) {
    const auto& all = command.positionals;
    const auto isFile = [](const CompletedOption& each) { return each.value == CompletedValue::kFile; };
    const bool isMany =
        std::any_of(all.begin(), all.end(), [&](const CompletedOption& each) { return isFile(each) && each.isMany; });
    return isMany ? "$COMP_CWORD" : std::to_string(std::count_if(all.begin(), all.end(), isFile));
}

std::string Value(const CompletedOption& option) {
    switch (option.value) {
        case CompletedValue::kNone: return "";
        case CompletedValue::kFile: return "files=1 options=";
        case CompletedValue::kFileAfterAt: return "files=$after_at options=";
        case CompletedValue::kChoice: return "files=0 options=" + Quoted(Joined(option.choices));
        case CompletedValue::kText: break;
    }
    return "files=0 options=";
}

void AddTo(Tables& tables, const CompletedCommand& command) {
    tables.commands += "        " + Quoted(command.name) + ") options=" + Quoted(Offered(command)) +
                       " files=" + Files(command) + " ;;\n";
    for (const CompletedOption& option : command.options) {
        std::vector<std::string> patterns;
        for (const std::string& name : option.names) patterns.push_back(Quoted(command.name + ' ' + name));
        const std::string pattern = Joined(patterns, " | ") + ") ";
        if (!option.excluded.empty()) {
            tables.excluded += "            " + pattern + "without+=" + Quoted(' ' + Joined(option.excluded)) + " ;;\n";
        }
        const std::string value = Value(option);
        if (!value.empty()) tables.values += "        " + pattern + value + " ;;\n";
    }
    for (const CompletedCommand& each : command.subcommands) AddTo(tables, each);
}

}  // namespace

std::string BashCompletion(const CompletedCommand& tool, std::string text) {
    Tables tables;
    AddTo(tables, tool);
    for (const auto& [mark, table] : {std::pair<std::string, std::string>("@COMMANDS@\n", tables.commands),
                                      {"@EXCLUDED@\n", tables.excluded},
                                      {"@VALUES@\n", tables.values}}) {
        const std::size_t at = text.find(mark);
        if (at == text.npos) throw std::runtime_error("the template lacks " + mark);
        text.replace(at, mark.size(), table);
    }
    return text;
}

}  // namespace orm_trace
