#include "tools/orm-trace/options/TimeOptions.h"

#include "tools/orm-trace/options/NumberOption.h"
#include "tools/orm-trace/options/ParseTime.h"

namespace orm_trace {

void TimeOptions::AddTo(CLI::App& app, const char* help) {
    app.add_option_function<std::string>(
           "--zero", [this](const std::string& text) { m_zeroText = text; }, help)
        ->option_text("\"YYYY-MM-DD HH:MM:SS[.ffffff]\"");
    AddNumberOption(app, "--reference", m_reference, UINT64_MAX, "Time-of-day reference count (default: 0)");
}

CLI::Option* TimeOptions::AddWithFormsTo(CLI::App& app) {
    AddTo(app);
    app.add_flag("--exact", m_isExact, "Print exact times, YYYY-MM-DDTHH:MM:SS.ffffff")->needs("--zero");
    return app.add_flag("--ticks", m_hasTicks, "Print the ticks of each stamp: its count and the reference");
}

void TimeOptions::Prepare() {
    if (!m_zeroText) return;
    m_zero = ParseMicroseconds("--zero", *m_zeroText);
    m_decoder = *ParseTime(*m_zeroText);
}

std::optional<std::string> TimeOptions::TimeAt(std::uint64_t ticks) const {
    if (!m_zero) return std::nullopt;
    return TimeText(orm_trace::TimeAt(*m_zero, ticks));
}

std::string TimeOptions::TicksText(std::uint64_t word) const {
    return IsStamp(word) ? std::to_string(TicksOf(word, m_reference)) : "";
}

std::string TimeOptions::TimeOf(std::uint64_t word) const {
    if (!m_isExact) {
        return m_decoder.GetRcvTODStamp(word, static_cast<std::uint32_t>(m_reference),
                                        static_cast<std::uint32_t>(m_reference >> 32));
    }
    return IsStamp(word) ? TimeAt(TicksOf(word, m_reference)).value_or("") : "";
}

}  // namespace orm_trace
