// Signals that come in while work is unfinished. The last step, which ends the process, is only noted here.
#include "capture/InterruptGuard.h"

#include <sys/syscall.h>

#include <thread>

#include "capture/ReplacementFile.h"
#include "support/Process.h"

namespace {
// The signal by which the process would have ended in this thread; -1 before a test of it.
thread_local int g_raised = 0;
}  // namespace

extern "C" int raise(int signal) noexcept {
    if (g_raised == 0) return static_cast<int>(syscall(SYS_tgkill, getpid(), gettid(), signal));
    g_raised = signal;
    return 0;
}

namespace {

using orm_trace::InterruptGuard;

struct InterruptGuardTest : testing::Test {
    // Tries what a test needs: handlers that run at once, and that the process may set.
    void SetUp() override {
        if (ORM_IS_SANITIZED != 0) GTEST_SKIP() << "the sanitizers handle signals by themselves";
    }

    // Returns: the signal by which this thread would have ended the process.
    static int RaisedBy(int signal) {
        g_raised = -1;
        syscall(SYS_tgkill, getpid(), gettid(), signal);
        return std::exchange(g_raised, 0);
    }
    static struct sigaction ActionOf(int signal) {
        struct sigaction action {};
        sigaction(signal, nullptr, &action);
        return action;
    }
    static void Undo(const void* test) noexcept {
        ++const_cast<InterruptGuardTest*>(static_cast<const InterruptGuardTest*>(test))->m_undone;
    }
    template <class Work> static void InThread(Work work) { std::thread(work).join(); }

    int m_undone = 0;
};

TEST_F(InterruptGuardTest, UndoesOnceAndEnds) {
    const InterruptGuard guard(Undo, this);
    EXPECT_EQ(RaisedBy(SIGTERM), SIGTERM);
    EXPECT_EQ(m_undone, 1);
    EXPECT_EQ(ActionOf(SIGTERM).sa_handler, SIG_DFL) << "the second one ends the process";
    EXPECT_NE(ActionOf(SIGHUP).sa_handler, SIG_DFL);
    // A forked child has no work to undo.
    EXPECT_TRUE(test::HoldsInChild([&] { return RaisedBy(SIGHUP) == SIGHUP && m_undone == 1; }));
}

TEST_F(InterruptGuardTest, PassesSignalsToTheThreadThatWrites) {
    const InterruptGuard guard(Undo, this);
    g_raised = -1;
    InThread([] { EXPECT_EQ(RaisedBy(SIGTERM), -1); });
    EXPECT_EQ(std::exchange(g_raised, 0), SIGTERM) << "this thread was told to end";
    EXPECT_EQ(m_undone, 1);
    // A thread that cannot go on waits for nobody.
    for (const int signal : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP}) {
        const int before = m_undone;
        InThread([&] { EXPECT_EQ(RaisedBy(signal), signal); });
        EXPECT_EQ(m_undone, before + 1) << signal;
    }
}

// The thread that writes blocks the signal: the work is finished, and then the process ends.
TEST_F(InterruptGuardTest, EndsAfterWorkThatCannotBeInterrupted) {
    const auto work = [this] {
        sigset_t pending;
        sigfillset(&pending);
        pthread_sigmask(SIG_BLOCK, &pending, nullptr);  // until the thread ends
        const InterruptGuard guard(Undo, this);
        syscall(SYS_tgkill, getpid(), getpid(), SIGTERM);  // the first thread
        do sigpending(&pending);
        while (sigismember(&pending, SIGTERM) != 1);
    };
    EXPECT_EXIT(InThread(work), testing::KilledBySignal(SIGTERM), "");
}

TEST_F(InterruptGuardTest, UndoesWhenTheThreadThatWritesIsGone) {
    std::optional<InterruptGuard> guard;
    pid_t writer = 0;
    InThread([&] {
        guard.emplace(Undo, this);
        writer = gettid();
    });
    while (syscall(SYS_tgkill, getpid(), writer, 0) == 0) continue;  // a thread that was joined may still be ending
    EXPECT_EQ(RaisedBy(SIGTERM), SIGTERM);
    EXPECT_EQ(m_undone, 1);
}

TEST_F(InterruptGuardTest, LeavesOtherHandlers) {
    const auto other = +[](int) {};
    signal(SIGUSR2, SIG_IGN);
    struct sigaction caught;
    {
        const InterruptGuard guard(Undo, this);
        EXPECT_EQ(ActionOf(SIGUSR2).sa_handler, SIG_IGN);
        EXPECT_EQ(ActionOf(SIGCHLD).sa_handler, SIG_DFL);
        signal(SIGUSR1, other);
        caught = ActionOf(SIGTERM);
    }
    EXPECT_EQ(ActionOf(SIGUSR2).sa_handler, SIG_IGN);
    EXPECT_EQ(ActionOf(SIGUSR1).sa_handler, other);
    for (const int each : {SIGHUP, SIGTERM}) EXPECT_EQ(ActionOf(each).sa_handler, SIG_DFL);
    // Others may have saved the handler, and put it back when the work is finished: it undoes nothing.
    sigaction(SIGTERM, &caught, nullptr);
    EXPECT_EQ(RaisedBy(SIGTERM), SIGTERM);
    EXPECT_EQ(m_undone, 0);
    for (const int each : {SIGUSR2, SIGUSR1}) signal(each, SIG_DFL);
}

TEST_F(InterruptGuardTest, RemovesOnlyTheFileThatWasMade) {
    const test::TemporaryFolder folder;
    for (const bool isMade : {false, true}) {
        const orm_trace::TemporaryName name(folder / (isMade ? "n.XXXXXX.tdf" : "none/n.XXXXXX.tdf"), 4);
        EXPECT_EQ(std::filesystem::exists(name.Path()), isMade);
        std::filesystem::create_directory(folder / "none");
        std::ofstream(name.Path()) << "of another, unless it is made";
        EXPECT_EQ(RaisedBy(SIGTERM), SIGTERM);
        EXPECT_NE(std::filesystem::exists(name.Path()), isMade);
    }
}

}  // namespace
