#include "tools/orm-trace/output/OrderedWork.h"

#include <sys/resource.h>

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <exception>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace orm_trace {
namespace {

// Returns: how many of them there are descriptors for: work opens one file or two.
unsigned MostJobs(unsigned jobs) {
    constexpr rlim_t kOther = 8, kOfJob = 2;
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return jobs;
    const rlim_t most = limit.rlim_cur > kOther ? (limit.rlim_cur - kOther) / kOfJob : 1;
    return static_cast<unsigned>(std::clamp<rlim_t>(most, 1, jobs));
}

// Thrown in threads whose work is no longer wanted.
struct Stopped {};

// Whose turn it is to write.
class Turns {
public:
    // Waits until everything before n is done but for `ahead`. Errors: Stopped.
    void WaitFor(std::size_t n, std::size_t ahead = 0) {
        std::unique_lock lock(m_mutex);
        m_change.wait(lock, [&] { return m_error || m_turn + ahead >= n; });
        if (m_error) throw Stopped();
    }
    void Advance() {
        const std::lock_guard lock(m_mutex);
        ++m_turn;
        m_change.notify_all();
    }
    // Returns: the next n to be worked on. Errors: Stopped.
    std::size_t Take() {
        const std::lock_guard lock(m_mutex);
        if (m_error) throw Stopped();
        return m_next++;
    }
    void Fail(std::exception_ptr error) {
        const std::lock_guard lock(m_mutex);
        if (!m_error) m_error = std::move(error);
        m_change.notify_all();
    }
    // Errors: Stopped.
    void RequireUse() {
        const std::lock_guard lock(m_mutex);
        if (m_error) throw Stopped();
    }
    void Rethrow() const {
        if (m_error) std::rethrow_exception(m_error);
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_change;
    std::size_t m_turn = 0;
    std::size_t m_next = 0;
    std::exception_ptr m_error;
};

// Holds text until its turn.
class Part : public Output {
public:
    Part(Output& out, Turns& turns, std::size_t n) : m_out(out), m_turns(turns), m_n(n) {}

    void Write(std::string_view data) override {
        m_text += data;
        if (m_text.size() >= kMaxHeld) Flush();
    }
    void RequireUse() const override { m_turns.RequireUse(); }
    bool IsTerminal() const noexcept override { return m_out.IsTerminal(); }
    void Report(std::string_view line) {
        m_reports += line;
        if (m_reports.size() >= kMaxHeld) Flush();
    }

    void Finish() {
        Flush();
        m_turns.Advance();
    }

private:
    static constexpr std::size_t kMaxHeld = 1 << 18;  // bytes

    void Flush() {
        m_turns.WaitFor(m_n);
        m_out.Write(std::exchange(m_text, ""));
        std::fputs(std::exchange(m_reports, "").c_str(), stderr);
    }

    Output& m_out;
    Turns& m_turns;
    std::size_t m_n;
    std::string m_text;
    std::string m_reports;
};

}  // namespace

void WorkInOrder(Output& out, std::size_t count, unsigned jobs,
                 const std::function<void(std::size_t n, Output& part)>& work) {
    Turns turns;
    const auto run = [&] {
        try {
            for (std::size_t n = turns.Take(); n < count; n = turns.Take()) {
                turns.WaitFor(n, 2 * std::size_t{jobs});  // so that not everything is held
                Part part(out, turns, n);
                {
                    const ReportCollector collector([&](std::string_view line) { part.Report(line); });
                    work(n, part);
                }
                part.Finish();
            }
        } catch (const Stopped&) {
        } catch (...) {
            turns.Fail(std::current_exception());
        }
    };
    std::vector<std::thread> threads;
    try {
        while (threads.size() + 1 < std::min<std::size_t>(MostJobs(jobs), count)) threads.emplace_back(run);
    } catch (const std::system_error&) {  // fewer threads do, too
    }
    run();
    for (std::thread& thread : threads) thread.join();
    turns.Rethrow();
}

}  // namespace orm_trace
