#include "tools/orm-trace/completion/Completion.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <set>

#include "tools/orm-trace/options/HelpFormatter.h"

namespace orm_trace::completion {
namespace {

// What an option or argument takes, as the name of its value says.
Kind KindOf(const std::string& valueName) {
    static const std::set<std::string_view> files = {"DRIVER", "FILE", "IN", "OUT", "PATH", "TARGET", "TRACE"};
    if (valueName.empty()) return Kind::kFlag;
    if (valueName.find('|') != valueName.npos) return Kind::kChoice;
    if (files.count(valueName) > 0) return Kind::kFile;
    return valueName.ends_with("@FILE") ? Kind::kFileAfterAt : Kind::kText;
}

bool TakesSeveral(const CLI::Option& option) {
    return option.get_items_expected_max() >= CLI::detail::expected_max_vector_size;
}

// The options of a subcommand and of its groups. Of some groups only one option is allowed.
struct Options {
    std::vector<const CLI::Option*> all;
    std::vector<std::vector<const CLI::Option*>> alternatives;

    explicit Options(const CLI::App& app) { Add(app); }

    bool Exclude(const CLI::Option* one, const CLI::Option* other) const {
        const auto areBothIn = [&](const auto& group) {
            return std::count(group.begin(), group.end(), one) + std::count(group.begin(), group.end(), other) == 2;
        };
        return one->get_excludes().count(const_cast<CLI::Option*>(other)) > 0 ||
               std::any_of(alternatives.begin(), alternatives.end(), areBothIn);
    }

private:
    void Add(const CLI::App& app) {
        const auto own = app.get_options([&](const CLI::Option* option) {
            const bool isOfGroup = app.get_name().empty() && option == app.get_help_ptr();  // which nobody can give
            return !option->get_group().empty() && !isOfGroup;
        });
        all.insert(all.end(), own.begin(), own.end());
        if (app.get_require_option_max() == 1) alternatives.push_back(own);
        for (const CLI::App* group :
             app.get_subcommands([](const CLI::App* each) { return each->get_name().empty(); })) {
            Add(*group);
        }
    }
};

std::vector<std::string> NamesOf(const CLI::Option& option, const Options& options) {
    std::vector<std::string> names;
    if (option.get_positional()) {
        const auto isPositional = [](const CLI::Option* each) { return each->get_positional(); };
        const auto end = std::find(options.all.begin(), options.all.end(), &option);
        const auto number = std::count_if(options.all.begin(), end, isPositional) + 1;
        return {TakesSeveral(option) ? "*" : std::to_string(number)};
    }
    for (const std::string& name : option.get_snames()) names.push_back('-' + name);
    for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
    return names;
}

Argument Describe(const CLI::Option& option, const Options& options) {
    const std::string shown = ValueName(option);
    Argument argument{NamesOf(option, options), option.get_description(), Kind::kFlag, shown, {}, false, {}};
    const std::string value = shown.substr(0, shown.find(' '));
    argument.kind = KindOf(value);
    if (argument.kind == Kind::kChoice) argument.choices = CLI::detail::split(value, '|');
    argument.repeats = TakesSeveral(option) || option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
    for (const CLI::Option* other : options.all) {
        const bool isClosed = other == &option ? !argument.repeats : options.Exclude(&option, other);
        if (!isClosed || other->get_positional()) continue;
        const auto names = NamesOf(*other, options);
        argument.closed.insert(argument.closed.end(), names.begin(), names.end());
    }
    return argument;
}

void AddLevels(const CLI::App& app, const std::string& path, std::vector<Level>& levels) {
    const Options options(app);
    const auto subcommands = app.get_subcommands([](const CLI::App* each) { return !each->get_name().empty(); });
    Level& level = levels.emplace_back();
    level.path = path;
    for (const CLI::App* each : subcommands) level.subcommands.push_back({each->get_name(), each->get_description()});
    for (const CLI::Option* option : options.all) {
        (option->get_positional() ? level.positionals : level.options).push_back(Describe(*option, options));
    }
    for (const CLI::App* each : subcommands) {
        AddLevels(*each, path.empty() ? each->get_name() : path + ' ' + each->get_name(), levels);
    }
}

}  // namespace

std::vector<Level> Levels(const CLI::App& app) {
    std::vector<Level> levels;
    AddLevels(app, "", levels);
    return levels;
}

std::string Joined(const std::vector<std::string>& words, std::string_view separator) {
    std::string joined;
    for (const std::string& word : words) (joined += joined.empty() ? "" : separator) += word;
    return joined;
}

std::string WithBackslashes(std::string_view text, std::string_view characters) {
    std::string escaped;
    for (const char c : text) {
        if (characters.find(c) != characters.npos) escaped += '\\';
        escaped += c;
    }
    return escaped;
}

}  // namespace orm_trace::completion
