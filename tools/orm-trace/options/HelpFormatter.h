// The texts of --help.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace orm_trace {

// Returns: the name of the value that an option or a positional argument takes, as FILE or hex|raw|csv; empty for a flag.
std::string ValueName(const CLI::Option& option);

// The column of names has what is to be typed, the column of descriptions what it means and when it is allowed.
class HelpFormatter : public CLI::Formatter {
    std::string make_option_opts(const CLI::Option* option) const override;
    std::string make_option_desc(const CLI::Option* option) const override;
};

}  // namespace orm_trace
