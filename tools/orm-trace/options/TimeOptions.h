// The options that relate time stamps to calendar time.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "analysis/ExactTime.h"
#include "timestamp/Timestamp.h"

namespace orm_trace {

class TimeOptions {
public:
    // Adds --zero and --reference.
    void AddTo(CLI::App& app, const char* help = "Time at 0 ticks: print the time of each stamp");
    // Adds --ticks and --exact, too. Returns: the flag --ticks.
    CLI::Option* AddWithFormsTo(CLI::App& app);

    // Called once, when the options are known. Errors: Error (kArgument).
    void Prepare();

    std::uint64_t Reference() const noexcept { return m_reference; }
    // The time at 0 ticks, nothing without --zero.
    const std::optional<Microseconds>& Zero() const noexcept { return m_zero; }
    // Returns: the time at these ticks, nothing without --zero.
    std::optional<std::string> TimeAt(std::uint64_t ticks) const;

    bool IsExact() const noexcept { return m_isExact; }
    // Whether ticks are asked for.
    bool HasTicks() const noexcept { return m_hasTicks; }
    // Returns: the ticks of a stamp; "" for a word that is not a stamp.
    std::string TicksText(std::uint64_t word) const;
    // Returns: the time of a stamp in the form that is asked for: exact, or as the library's decoder writes it; "" for a
    //          word that is not a stamp. REQUIRES: --zero was given.
    std::string TimeOf(std::uint64_t word) const;

private:
    std::optional<std::string> m_zeroText;
    std::uint64_t m_reference = 0;
    std::optional<Microseconds> m_zero;
    bool m_hasTicks = false;
    bool m_isExact = false;
    // The decoder changes nothing, but is not const.
    mutable Orm::Lux::Trace::uTimestampCD m_decoder;
};

}  // namespace orm_trace
