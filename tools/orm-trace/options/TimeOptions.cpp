#include "tools/orm-trace/options/TimeOptions.h"

#include "capture/Error.h"
#include "tools/orm-trace/options/NumberOption.h"
#include "tools/orm-trace/options/ParseTime.h"

namespace orm_trace {

void TimeOptions::AddTo(CLI::App& app) {
    app.add_option("--zero", m_zeroText, "Time at 0 ticks: print the time of each stamp")
        ->option_text("\"YYYY-MM-DD HH:MM:SS[.ffffff]\"");
    AddNumberOption(app, "--reference", m_reference, UINT64_MAX, "Time-of-day reference count (default: 0)");
}

void TimeOptions::Prepare() {
    if (m_zeroText.empty()) return;
    const auto zero = ParseTime(m_zeroText);
    if (!zero) throw Error(ErrorKind::kArgument, "--zero", "not a time YYYY-MM-DD HH:MM:SS[.ffffff]: " + m_zeroText);
    m_zero = FromCalendar(zero->GetYear(), zero->GetMonth(), zero->GetDay(), zero->GetHour(), zero->GetMinute(),
                          zero->GetSecond(), zero->GetMilliSecond() * 1000 + zero->GetMicroSecond());
}

std::optional<std::string> TimeOptions::TimeAt(std::uint64_t ticks) const {
    if (!m_zero) return std::nullopt;
    return TimeText(orm_trace::TimeAt(*m_zero, ticks));
}

}  // namespace orm_trace
