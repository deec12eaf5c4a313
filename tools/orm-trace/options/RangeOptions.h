// The options that choose a range of samples.
#pragma once

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <optional>

#include "tools/orm-trace/options/NumberOption.h"

namespace orm_trace {

class RangeOptions {
public:
    // Adds --from and --count.
    void AddTo(CLI::App& app) {
        AddNumberOption(app, "--from", m_from, UINT64_MAX, "First sample, counted from 0");
        AddNumberOption(app, "--count", m_count, UINT64_MAX, "Number of samples (default: up to the last one)");
    }

    std::uint64_t First() const noexcept { return m_from; }
    // Returns: how many samples are asked for of a capture that has total.
    std::uint64_t CountOf(std::uint64_t total) const noexcept {
        return m_count.value_or(total - std::min(total, m_from));
    }

private:
    std::uint64_t m_from = 0;
    std::optional<std::uint64_t> m_count;
};

}  // namespace orm_trace
