#include "tools/orm-trace/host/TraceSamples.h"

#include <algorithm>
#include <filesystem>

#include "tdf/TDFHandler.h"
#include "tools/orm-trace/output/MissingSamples.h"

namespace orm_trace {
namespace {

constexpr std::uint64_t kPage = 16 * 1024;  // samples

}  // namespace

TraceSamples::TraceSamples(Driver& driver, std::string file)
    : m_driver(driver), m_file(std::move(file)), m_served(driver.Load(m_file)), m_total(m_served) {
    std::error_code error;
    const std::uint64_t size = std::filesystem::file_size(m_file, error);
    if (!error && size > UINT32_MAX && !Orm::Lux::Trace::TDFHandler().ISTDF(m_file.c_str())) {
        m_total = (size + kSampleSize - 1) / kSampleSize;
    }
    try {
        m_input.emplace(m_file);
        m_samples.emplace(*m_input);
    } catch (const Error&) {  // the driver has it open all the same
    }
}

void TraceSamples::Require(std::uint64_t first, std::uint64_t count, bool isOpen) {
    m_wanted = count;
    m_isOpen = isOpen;
    m_next = first;
    m_end = first < m_served ? first + std::min(count, m_served - first) : m_served;
    m_ended = first > m_served;
    m_page.resize(static_cast<std::size_t>(std::min(kPage, m_ended ? 0 : m_end - first)) + 1);
}

std::optional<TraceSamples::Page> TraceSamples::Next() {
    if (m_ended) return std::nullopt;
    const auto asked = static_cast<unsigned int>(std::min(kPage, m_end - m_next));
    const unsigned int got = m_driver.Read(static_cast<unsigned int>(m_next), asked, m_page.data());
    const Page page{m_next, m_page.data(), got};
    m_next += got;
    m_read += got;
    m_ended = got < asked || m_next == m_end;
    return page;
}

bool TraceSamples::HasGrown() const {
    try {
        return m_isOpen && m_samples && (m_samples->Count() > m_total || m_samples->HasGrown());
    } catch (const Error&) {  // shorter, after all of it was read
        return false;
    }
}

ExitCode TraceSamples::Finish() const {
    const std::string reason = m_served < m_total ? "a driver cannot address a file of 4 GiB or more, and serves " +
                                                        std::to_string(m_served) + " samples of this one"
                                                  : "";
    return ReportMissing(m_file, {m_next - m_read, m_wanted, m_read, m_total, HasGrown()}, reason);
}

}  // namespace orm_trace
