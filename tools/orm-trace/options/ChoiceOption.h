// Options whose value is one of several words.
#pragma once

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace orm_trace {

// Adds an option that sets value, which outlives this. The first of the choices is the default. Returns: the option.
template <class Value>
CLI::Option* AddChoiceOption(CLI::App& app, const char* name, Value& value,
                             std::vector<std::pair<std::string, Value>> choices, const char* help) {
    value = choices.front().second;
    std::vector<std::string> words;
    std::string shown;
    for (const auto& [word, meaning] : choices) {
        words.push_back(word);
        shown += (shown.empty() ? "" : "|") + word;
    }
    // Not a transformer of the command line library: that takes the number of an enumerator, too.
    const auto set = [&value, choices](const std::string& chosen) {
        value = std::find_if(choices.begin(), choices.end(), [&](const auto& each) {
                    return each.first == chosen;
                })->second;
    };
    return app.add_option_function<std::string>(name, set, help)
        ->check(CLI::IsMember(words))
        ->option_text(shown + " [" + words.front() + "]");
}

}  // namespace orm_trace
