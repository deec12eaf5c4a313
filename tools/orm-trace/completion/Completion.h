// What the completion of a shell needs to know of the command line, and what writes it for each shell.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace orm_trace::completion {

// What is completed as the value of an option, or as a positional argument.
enum class Kind {
    kFlag,         // an option that takes no value
    kText,         // any text: nothing
    kFile,         // names of files
    kFileAfterAt,  // after the first @ names of files
    kChoice,       // one of some words
};

// An option or a positional argument.
struct Argument {
    // Of an option with its dashes. A positional argument has one name: its number, counted from 1, or * if it takes all
    // that follow.
    std::vector<std::string> names;
    std::string help;
    Kind kind;
    std::string valueName;             // as the help shows it
    std::vector<std::string> choices;  // for kChoice
    bool repeats;                      // may be given again
    // The names of options that are not offered once it is given: those that it excludes, and itself unless it repeats.
    std::vector<std::string> closed;
};

struct NameHelp {
    std::string name;
    std::string help;
};

// The tool, or one of its subcommands.
struct Level {
    std::string path;  // the names that lead to it, with blanks between: "stamp stm"; empty for the tool itself
    std::vector<NameHelp> subcommands;  // one of them has to follow, if there are any
    std::vector<Argument> options;
    std::vector<Argument> positionals;
};

// Returns: every level of the command line, those above others first.
std::vector<Level> Levels(const CLI::App& app);

// Returns: words with separator between each two.
std::string Joined(const std::vector<std::string>& words, std::string_view separator = " ");

// Returns: text with a backslash before each of characters.
std::string WithBackslashes(std::string_view text, std::string_view characters);

// Each returns the file that the shell reads.
std::string BashCompletion(const std::vector<Level>& levels);
std::string FishCompletion(const std::vector<Level>& levels);
std::string ZshCompletion(const std::vector<Level>& levels);

}  // namespace orm_trace::completion
