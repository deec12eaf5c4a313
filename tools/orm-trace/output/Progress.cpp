#include "tools/orm-trace/output/Progress.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>

#include "capture/InterruptGuard.h"

namespace orm_trace {
namespace {

std::uint64_t SizeOf(const std::string& path) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    return error ? 0 : size;
}

}  // namespace

Progress::Progress(std::string path, std::uint64_t total)
    : m_path(std::move(path)), m_total(total), m_before(SizeOf(m_path)) {
    if (!isatty(STDERR_FILENO)) return;
    const BlockedSignals blocked;  // in the thread: signals are for the one that writes
    m_thread = std::thread([this] { Watch(); });
}

Progress::~Progress() {
    if (!m_thread.joinable()) return;
    {
        const std::lock_guard lock(m_mutex);
        m_done = true;
    }
    m_wake.notify_one();
    m_thread.join();
}

void Progress::Watch() {
    using namespace std::chrono_literals;
    std::unique_lock lock(m_mutex);
    bool shown = false;
    for (auto wait = 1000ms; !m_wake.wait_for(lock, wait, [this] { return m_done; }); wait = 200ms) {
        const std::uint64_t size = SizeOf(m_path);
        const std::uint64_t grown = size > m_before ? size - m_before : 0;
        std::fprintf(stderr, "\r%llu of %llu MiB", static_cast<unsigned long long>(grown >> 20),
                     static_cast<unsigned long long>(m_total >> 20));
        shown = true;
    }
    if (shown) std::fputs("\r\033[K", stderr);
}

}  // namespace orm_trace
