// What can be completed on the tool's command line.
#pragma once

#include <CLI/CLI.hpp>
#include <set>
#include <string>
#include <vector>

namespace orm_trace {

// What a value is. The command line's name for it says so: FILE, OUT and the like are files, hex|raw|csv are choices,
// NAME:VERSION@FILE is text with a file after the @.
enum class CompletedValue { kNone, kText, kFile, kFileAfterAt, kChoice };

struct CompletedOption {
    std::vector<std::string> names;  // with dashes; empty for a positional
    std::string help;
    std::string valueName;
    CompletedValue value = CompletedValue::kNone;
    std::vector<std::string> choices;
    std::set<std::string> excluded;  // names that make no sense any more once it is given, its own included
    bool isMany = false;             // of a positional: takes any number of values
};

struct CompletedCommand {
    std::string name;  // after the names of the commands that it belongs to: "stamp stm"; "" for the tool
    std::string help;
    std::vector<CompletedOption> options;
    std::vector<CompletedOption> positionals;
    std::vector<CompletedCommand> subcommands;

    std::string LastName() const { return name.substr(name.rfind(' ') + 1); }
};

// Returns: the table of a command line.
CompletedCommand DescribeForCompletion(const CLI::App& app, const std::string& name = "");

// Returns: the completion for a shell. The one for bash is a template with the tables put in.
// Errors:  std::runtime_error: the template has no place for a table.
std::string BashCompletion(const CompletedCommand& tool, std::string text);
std::string ZshCompletion(const CompletedCommand& tool);
std::string FishCompletion(const CompletedCommand& tool);

// Returns: strings with a separator between them.
template <class Strings> std::string Joined(const Strings& strings, const std::string& separator = " ") {
    std::string text;
    for (const std::string& each : strings) text += (text.empty() ? "" : separator) + each;
    return text;
}

// Returns: a text with a backslash before each of some characters.
std::string Escaped(const std::string& text, const std::string& characters);

// Returns: a text in single quotes, as all of the shells take it.
std::string Quoted(const std::string& text);

}  // namespace orm_trace
