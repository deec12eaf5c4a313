// The mutex and the process helpers.
#include "source_utilities/uProcess.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <thread>

#include "source_utilities/uMutex.h"
#include "support/Files.h"

namespace {

using ORM_LUX::uMutex;
using ORM_LUX::uProcess;

TEST(uMutex, IsLockedAgainByItsOwnerAlone) {
    uMutex mutex;
    EXPECT_FALSE(mutex.IsLocked());
    EXPECT_FALSE(mutex.Unlock()) << "a free mutex has no owner";
    EXPECT_TRUE(mutex.Lock() && mutex.Lock());
    EXPECT_TRUE(pthread_equal(mutex.GetOwnerThreadHandle(), pthread_self()));
    std::thread([&] { EXPECT_FALSE(mutex.Unlock()); }).join();
    EXPECT_EQ(mutex.m_lockCount, 2);

    bool entered = false;
    std::thread other([&] {
        mutex.Lock();
        entered = true;
        mutex.Unlock();
    });
    EXPECT_TRUE(mutex.Unlock());
    usleep(20000);
    EXPECT_FALSE(entered) << "one unlock of two frees nothing";
    entered = false;
    EXPECT_TRUE(mutex.Unlock());
    other.join();
    EXPECT_TRUE(entered);
    EXPECT_FALSE(mutex.IsLocked());
    EXPECT_EQ(mutex.GetOwnerThreadHandle(), 0U);
}

TEST(uMutex, KeepsThreadsApart) {
    uMutex mutex;
    long count = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int n = 0; n < 5000; ++n) {
                mutex.Lock();
                mutex.Lock();
                ++count;
                mutex.Unlock();
                mutex.Unlock();
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(count, 20000);
}

TEST(uProcess, FindsProcesses) {
    const auto self = static_cast<unsigned long>(getpid());
    EXPECT_EQ(uProcess::GetPid(), self);
    EXPECT_EQ(uProcess::LookupProcess(self), self);
    EXPECT_EQ(uProcess::LookupProcess(1UL), 1U);
    for (const unsigned long none : {0UL, 0xFFFFFFFFUL, ULONG_MAX, (1UL << 32) + self})
        EXPECT_EQ(uProcess::LookupProcess(none), 0U);
    EXPECT_EQ(uProcess::LookupProcess(nullptr, 0), 0U);
    EXPECT_EQ(uProcess::LookupProcess("/no/such/program", 0), 0U);
    // A copy of a program that no other process runs.
    const test::TemporaryFolder folder;
    const std::string program = folder / "a-sleeper";
    std::filesystem::copy_file("/bin/sleep", program);
    const unsigned long child = uProcess::InvokeProcess(program.c_str(), "100", false);
    unsigned long found = 0;
    for (int n = 0; n < 200 && found == 0; ++n, usleep(5000)) found = uProcess::LookupProcess("a-sleeper", 0);
    EXPECT_EQ(found, child);
    EXPECT_TRUE(uProcess::TerminateProcess(child));
    EXPECT_EQ(uProcess::LookupProcess(child), 0U) << "waited for";
    EXPECT_EQ(uProcess::LookupProcess("a-sleeper", 0), 0U);
}

TEST(uProcess, StartsPrograms) {
    const test::TemporaryFolder folder;
    EXPECT_EQ(uProcess::InvokeProcess(nullptr, "x", true), 0U);
    const auto exitCode = [](const char* program, const char* argument) {
        int status = -1;
        waitpid(static_cast<pid_t>(uProcess::InvokeProcess(program, argument, true)), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    };
    EXPECT_EQ(exitCode("mkdir", (folder / "made").c_str()), 0) << "found on PATH";
    EXPECT_TRUE(std::filesystem::is_directory(folder / "made"));
    EXPECT_EQ(exitCode("false", nullptr), 1);
    EXPECT_EQ(exitCode("/no/such/program", nullptr), 127);
}

TEST(uProcess, TerminatesNoGroup) {
    // Ids that kill() takes for a group, or for every process, are refused; a signal here would end the test.
    for (const unsigned long id : {0UL, 0xFFFFFFFFUL, ULONG_MAX, static_cast<unsigned long>(-getpgrp()), 1UL << 32}) {
        EXPECT_FALSE(uProcess::TerminateProcess(id)) << id;
    }
    EXPECT_FALSE(uProcess::TerminateProcess(INT_MAX)) << "no such process";
}

}  // namespace
