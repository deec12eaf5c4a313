// The options that choose how results are printed.
#pragma once

#include <CLI/CLI.hpp>

#include "tools/orm-trace/output/Printer.h"

namespace orm_trace {

// Adds --json and --json-lines.
inline void AddFormatOptions(CLI::App& app, PrintFormat& format) {
    auto* json = app.add_flag_callback(
        "--json", [&] { format = PrintFormat::kJson; }, "Write a JSON document");
    app.add_flag_callback(
           "--json-lines", [&] { format = PrintFormat::kJsonLines; },
           "Write one JSON object per line, as results are found")
        ->excludes(json);
}

}  // namespace orm_trace
