// Options that take a number.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "tools/orm-trace/options/ParseNumber.h"

namespace orm_trace {

// Adds an option for a number as the tool writes numbers, decimal or 0x...; nothing is octal.
// REQUIRES: number is an unsigned integer or a std::optional of one.
template <class Number, class Value>
CLI::Option* AddNumberOption(CLI::App& app, const char* name, Number& number, Value largest, const char* help) {
    const auto store = [name, &number, largest](const std::string& text) {
        const auto parsed = ParseNumber(text);
        if (!parsed || *parsed > largest) throw CLI::ConversionError(text, name);
        number = static_cast<Value>(*parsed);
    };
    return app.add_option_function<std::string>(name, store, help)->type_name("N");
}

}  // namespace orm_trace
