// How the help describes an option.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace orm_trace {

// What an option needs, or is not combined with, stands after its description, not before.
class HelpFormatter : public CLI::Formatter {
public:
    std::string make_option_opts(const CLI::Option* option) const override;
    std::string make_option_desc(const CLI::Option* option) const override;
};

}  // namespace orm_trace
