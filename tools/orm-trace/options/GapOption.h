// The option that says which steps of the clock are gaps.
#pragma once

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

#include "analysis/Word.h"
#include "tools/orm-trace/options/ParseNumber.h"

namespace orm_trace {

// Returns: the whole ticks of a decimal number of seconds up to 1e9, exactly; nothing for another text.
inline std::optional<std::uint64_t> ParseSeconds(const std::string& text) {
    constexpr std::size_t kPlaces = 9;
    constexpr std::uint64_t kBillion = 1000000000;
    const std::size_t point = std::min(text.find('.'), text.size());
    std::string fraction = text.substr(std::min(point + 1, text.size()));
    if (point == 0 || (point < text.size() && fraction.empty()) || fraction.size() > kPlaces ||
        text.find_first_not_of("0123456789.") != text.npos || fraction.find('.') != fraction.npos) {
        return std::nullopt;
    }
    fraction.resize(kPlaces, '0');
    const auto seconds = ParseNumber(text.substr(0, point));
    if (!seconds || *seconds > kBillion) return std::nullopt;
    return *seconds * kTicksPerSecond + *ParseNumber(fraction) * kTicksPerSecond / kBillion;
}

// Adds --gap. ticks: those that a gap exceeds; 1 s by default.
inline void AddGapOption(CLI::App& app, std::uint64_t& ticks) {
    ticks = kTicksPerSecond;
    const auto set = [&ticks](const std::string& text) {
        const auto parsed = ParseSeconds(text);
        if (!parsed) {
            throw CLI::ValidationError("--gap", "not a number of seconds up to 1e9, with at most 9 decimals: " + text);
        }
        ticks = *parsed;
    };
    app.add_option_function<std::string>("--gap", set, "A step of the clock by more than this is a gap (default: 1)")
        ->option_text("SECONDS");
}

}  // namespace orm_trace
