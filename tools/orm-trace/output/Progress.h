// Showing how far a long copy has come.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace orm_trace {

// While it exists, and once a second has passed, shows on standard error how much a file has grown, if that is a
// terminal. It looks at the file alone, so it serves copies that somebody else makes.
class Progress {
public:
    // The file is expected to grow by total bytes.
    Progress(std::string path, std::uint64_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

private:
    void Watch();

    std::string m_path;
    std::uint64_t m_total;
    std::uint64_t m_before;
    bool m_done = false;  // guarded by the mutex
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::thread m_thread;
};

}  // namespace orm_trace
