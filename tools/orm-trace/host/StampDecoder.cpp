#include "tools/orm-trace/host/StampDecoder.h"

#include <cmath>
#include <cstdlib>

#include "capture/Error.h"
#include "tools/orm-trace/options/NumberOption.h"

namespace orm_trace {

StmDecoder::StmDecoder(CLI::App& app) {
    app.add_option("--frequency", m_frequency, "Transaction cycles per second")
        ->required()
        ->check([](const std::string& text) {
            const double hertz = std::strtod(text.c_str(), nullptr);
            return std::isfinite(hertz) && hertz > 0 ? "" : "not a finite number above 0: " + text;
        })
        ->option_text("HZ");
    AddNumberOption(app, "--base", m_base, UINT64_MAX,
                    "Sample index to shift to: base minus index is added to the cycles (default: 0)");
    AddNumberOption(app, "--index", m_index, UINT64_MAX,
                    "Sample index of the word (default: 0; with --file, that of each sample)");
    app.add_flag("--no-origin", m_isWithoutOrigin, "With --file: count samples in a part of a capture from 0");
    app.footer("Example, one second after the start:\n  orm-trace stamp stm 170000000 --frequency 1e6\n  1000000");
}

std::string StmDecoder::Decode(std::uint64_t word, std::optional<std::uint64_t> index) {
    return m_decoder.GetStmTODStamp(word, m_base, m_index.value_or(index.value_or(0)), 0, m_frequency);
}

RcvDecoder::RcvDecoder(CLI::App& app) {
    m_time.AddWithFormsTo(app)->excludes("--exact");
    app.footer(
        "Example, 90061.5 seconds after that time:\n"
        "  orm-trace stamp rcv 0x88000DECBE3B4BC0 --zero \"2026-11-16 10:00:00\"\n"
        "   11/17/2026 11:01:01:500:000");
}

void RcvDecoder::Prepare() {
    m_time.Prepare();
    if (!m_time.Zero() && !m_time.HasTicks()) throw Error(ErrorKind::kArgument, "stamp rcv", "--zero is required");
}

std::string RcvDecoder::Decode(std::uint64_t word, std::optional<std::uint64_t>) {
    return m_time.HasTicks() ? m_time.TicksText(word) : m_time.TimeOf(word);
}

}  // namespace orm_trace
