// The option that chooses the driver library, of every subcommand that loads a driver.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace orm_trace {

inline constexpr const char* kDriverOptionHelp =
    "Driver library to load (default: $ORM_TRACE_DRIVER, else the one in this tool's installation)";

inline CLI::Option* AddDriverOption(CLI::App& app, std::string& path) {
    return app.add_option("--driver", path, kDriverOptionHelp)->option_text("PATH");
}

}  // namespace orm_trace
