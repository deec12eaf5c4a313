#include "tools/orm-trace/output/ProgressBar.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "capture/InterruptGuard.h"

namespace orm_trace {

using namespace std::chrono_literals;

namespace {

constexpr auto kFirst = 1000ms;
constexpr auto kPause = 200ms;

std::uint64_t SizeOf(const std::string& path) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    return error ? 0 : size;
}

}  // namespace

ProgressBar::ProgressBar(std::uint64_t total, bool isWanted)
    : m_isShown(isWanted && isatty(STDERR_FILENO)), m_total(total), m_next(Clock::now() + kFirst) {}

ProgressBar::~ProgressBar() {
    if (m_isDrawn) std::fputs("\r\033[K", stderr);
}

void ProgressBar::Advance(std::uint64_t bytes) {
    m_done += bytes;
    if (!m_isShown || Clock::now() < m_next) return;
    m_next = Clock::now() + kPause;
    m_isDrawn = true;
    std::fprintf(stderr, "\r%llu of %llu MiB", static_cast<unsigned long long>(m_done >> 20),
                 static_cast<unsigned long long>(m_total >> 20));
}

GrowthWatch::GrowthWatch(std::string path, std::uint64_t total)
    : m_path(std::move(path)), m_bar(total), m_size(SizeOf(m_path)) {
    if (!isatty(STDERR_FILENO)) return;
    const BlockedSignals blocked;  // in the thread: signals are for the one that writes
    m_thread = std::thread([this] { Watch(); });
}

GrowthWatch::~GrowthWatch() {
    if (!m_thread.joinable()) return;
    {
        const std::lock_guard lock(m_mutex);
        m_isDone = true;
    }
    m_wake.notify_one();
    m_thread.join();
}

void GrowthWatch::Watch() {
    std::unique_lock lock(m_mutex);
    while (!m_wake.wait_for(lock, kPause, [this] { return m_isDone; })) {
        const std::uint64_t size = SizeOf(m_path);
        if (size < m_size) continue;
        m_bar.Advance(size - m_size);
        m_size = size;
    }
}

}  // namespace orm_trace
