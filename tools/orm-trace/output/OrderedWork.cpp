#include "tools/orm-trace/output/OrderedWork.h"

#include <sys/resource.h>

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <exception>
#include <map>
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

// Text for standard output, and reports for standard error.
struct Held {
    std::string text;
    std::string reports;
};

// Errors: those of out.
void Write(const Held& held, Output& out) {
    out.Write(held.text);
    std::fputs(held.reports.c_str(), stderr);
}

// Whose turn it is to write.
class Turns {
public:
    // Waits until everything before n is done but for `ahead`. Errors: Stopped.
    void WaitFor(std::size_t n, std::size_t ahead = 0) {
        std::unique_lock lock(m_mutex);
        m_change.wait(lock, [&] { return m_error || m_turn + ahead >= n; });
        if (m_error) throw Stopped();
    }
    // Has what is left of n written in its turn: by this thread, with all that waits for it, or by the one that is before.
    void Finish(std::size_t n, Held held, Output& out) {
        std::unique_lock lock(m_mutex);
        m_finished.emplace(n, std::move(held));
        // Nobody else writes while it is the turn of n.
        for (; m_turn == n; ++n) {
            const auto next = m_finished.extract(n);
            if (next.empty()) break;
            lock.unlock();
            Write(next.mapped(), out);
            lock.lock();
            ++m_turn;
            m_change.notify_all();
        }
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
    std::map<std::size_t, Held> m_finished;  // before their turn
    std::exception_ptr m_error;
};

// Holds text until its turn.
class Part : public Output {
public:
    Part(Output& out, Turns& turns, std::size_t n) : m_out(out), m_turns(turns), m_n(n) {}

    void Write(std::string_view data) override {
        m_held.text += data;
        if (m_held.text.size() >= kMaxHeld) WriteHeld();
    }
    void RequireUse() const override { m_turns.RequireUse(); }
    bool IsTerminal() const noexcept override { return m_out.IsTerminal(); }
    void Report(std::string_view line) {
        m_held.reports += line;
        if (m_held.reports.size() >= kMaxHeld) WriteHeld();
    }

    void Finish() { m_turns.Finish(m_n, std::move(m_held), m_out); }

private:
    static constexpr std::size_t kMaxHeld = 1 << 18;  // bytes

    void WriteHeld() {
        m_turns.WaitFor(m_n);
        orm_trace::Write(std::exchange(m_held, {}), m_out);
    }

    Output& m_out;
    Turns& m_turns;
    std::size_t m_n;
    Held m_held;
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
