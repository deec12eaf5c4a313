// Showing how far a long operation has come.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace orm_trace {

// Shows on standard error, if that is a terminal, how many bytes of a total are done, once a second has passed. It is
// erased when the object is.
class ProgressBar {
public:
    explicit ProgressBar(std::uint64_t total, bool isWanted = true);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    // More bytes are done.
    void Advance(std::uint64_t bytes);

private:
    using Clock = std::chrono::steady_clock;

    const bool m_isShown;  // on a terminal
    std::uint64_t m_total;
    std::uint64_t m_done = 0;
    Clock::time_point m_next;  // when it is drawn again
    bool m_isDrawn = false;
};

// While it exists, advances a bar by how much a file grows. It only looks at the file, so it serves work that reports no
// progress.
class GrowthWatch {
public:
    // The file is expected to grow by total bytes.
    GrowthWatch(std::string path, std::uint64_t total);
    ~GrowthWatch();
    GrowthWatch(const GrowthWatch&) = delete;
    GrowthWatch& operator=(const GrowthWatch&) = delete;

private:
    void Watch();

    std::string m_path;
    ProgressBar m_bar;
    std::uint64_t m_size;
    bool m_isDone = false;  // guarded by the mutex
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::thread m_thread;
};

}  // namespace orm_trace
