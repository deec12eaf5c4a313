#include "tools/orm-trace/completion/CompletionTable.h"

#include <string_view>
#include <utility>

namespace orm_trace {
namespace {

using Names = std::vector<std::string>;

Names NamesOf(const CLI::Option& option) {
    Names names;
    for (const std::string& name : option.get_snames()) names.push_back('-' + name);
    for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
    return names;
}

Names Choices(const std::string& text) {
    Names choices;
    for (std::size_t at = 0, end = 0; end != text.npos; at = end + 1) {
        end = text.find('|', at);
        choices.push_back(text.substr(at, end - at));
    }
    return choices;
}

CompletedValue ValueOf(const std::string& name) {
    constexpr std::string_view kAfterAt = "@FILE";
    static const std::set<std::string> kFiles{"FILE", "PATH", "OUT", "IN", "TRACE", "TARGET", "DRIVER"};
    if (kFiles.count(name) != 0) return CompletedValue::kFile;
    if (name.find('|') != name.npos) return CompletedValue::kChoice;
    const bool hasFile = name.size() > kAfterAt.size() && name.substr(name.size() - kAfterAt.size()) == kAfterAt;
    return hasFile ? CompletedValue::kFileAfterAt : CompletedValue::kText;
}

// alternatives: names of options of which only one is given.
CompletedOption Describe(const CLI::Option& option, const Names& alternatives) {
    CompletedOption described;
    described.names = NamesOf(option);
    described.help = option.get_description();
    const std::string value = described.names.empty() ? option.get_name() : option.get_option_text();
    described.valueName = value.substr(0, value.find(' '));
    described.isMany = option.get_items_expected_max() > 1;
    if (option.get_items_expected_max() != 0) described.value = ValueOf(described.valueName);
    if (described.value == CompletedValue::kChoice) described.choices = Choices(described.valueName);
    described.excluded.insert(alternatives.begin(), alternatives.end());
    for (const CLI::Option* other : option.get_excludes()) {
        for (const std::string& name : NamesOf(*other)) described.excluded.insert(name);
    }
    if (!described.excluded.empty()) described.excluded.insert(described.names.begin(), described.names.end());
    return described;
}

// The options of a command, or of a group within it.
void AddOptions(const CLI::App& app, CompletedCommand& command) {
    const bool isGroup = app.get_name().empty() && app.get_parent() != nullptr;
    // A group has a help of its own, which its command has already.
    const auto options =
        app.get_options([&](const CLI::Option* each) { return !isGroup || each != app.get_help_ptr(); });
    Names alternatives;
    if (isGroup && app.get_require_option_max() == 1) {
        for (const CLI::Option* option : options) {
            for (std::string& name : NamesOf(*option)) alternatives.push_back(std::move(name));
        }
    }
    for (const CLI::Option* option : options) {
        CompletedOption described = Describe(*option, alternatives);
        (described.names.empty() ? command.positionals : command.options).push_back(std::move(described));
    }
}

}  // namespace

CompletedCommand DescribeForCompletion(const CLI::App& app, const std::string& name) {
    CompletedCommand command;
    command.name = name;
    command.help = app.get_description();
    AddOptions(app, command);
    for (const CLI::App* part : app.get_subcommands([](const CLI::App*) { return true; })) {
        const std::string& own = part->get_name();
        if (own.empty()) {
            AddOptions(*part, command);
        } else {
            command.subcommands.push_back(DescribeForCompletion(*part, name.empty() ? own : name + ' ' + own));
        }
    }
    return command;
}

std::string Escaped(const std::string& text, const std::string& characters) {
    std::string escaped;
    for (const char c : text) {
        if (characters.find(c) != characters.npos) escaped += '\\';
        escaped += c;
    }
    return escaped;
}

std::string Quoted(const std::string& text) {
    std::string quoted;
    for (const char c : text) quoted += c == '\'' ? "'\\''" : std::string(1, c);
    return '\'' + quoted + '\'';
}

}  // namespace orm_trace
