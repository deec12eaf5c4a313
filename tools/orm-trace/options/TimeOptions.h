// The options that relate time stamps to calendar time.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "analysis/ExactTime.h"

namespace orm_trace {

class TimeOptions {
public:
    // Adds --zero and --reference.
    void AddTo(CLI::App& app);

    // Called once, when the options are known. Errors: Error (kArgument).
    void Prepare();

    std::uint64_t Reference() const noexcept { return m_reference; }
    // Returns: the time at these ticks, nothing without --zero.
    std::optional<std::string> TimeAt(std::uint64_t ticks) const;

private:
    std::string m_zeroText;
    std::uint64_t m_reference = 0;
    std::optional<Microseconds> m_zero;
};

}  // namespace orm_trace
