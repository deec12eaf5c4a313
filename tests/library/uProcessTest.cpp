// The mutex and the process helpers.
#include "source_utilities/uProcess.h"

#include <sys/wait.h>

#include <climits>
#include <thread>

#include "source_utilities/uMutex.h"
#include "support/Files.h"

namespace {

using ORM_LUX::uMutex;
using ORM_LUX::uProcess;

TEST(uMutex, IsLockedAgainByItsOwnerAlone) {
    uMutex mutex;
    EXPECT_FALSE(mutex.IsLocked() || mutex.Unlock()) << "a free mutex has no owner";
    EXPECT_TRUE(mutex.Lock() && mutex.Lock());
    EXPECT_TRUE(pthread_equal(mutex.GetOwnerThreadHandle(), pthread_self()));
    EXPECT_TRUE(mutex.Unlock());
    std::atomic<pid_t> id = 0;
    std::atomic<bool> entered = false;
    std::thread other([&] {
        id = gettid();
        EXPECT_FALSE(mutex.Unlock());
        mutex.Lock();
        entered = true;
        mutex.Unlock();
    });
    const auto waits = [&] {  // the thread sleeps
        return test::ReadAll("/proc/self/task/" + std::to_string(id) + "/stat").find(") S ") != std::string::npos;
    };
    while (!entered && !waits()) std::this_thread::yield();
    EXPECT_FALSE(entered) << "one unlock of two frees nothing";
    EXPECT_TRUE(mutex.Unlock());
    other.join();
    EXPECT_FALSE(mutex.IsLocked());
    EXPECT_EQ(mutex.GetOwnerThreadHandle(), 0U);
}

TEST(uProcess, StartsFindsAndTerminates) {
    const auto self = static_cast<unsigned long>(getpid());
    EXPECT_EQ(uProcess::GetPid(), self);
    for (const unsigned long id : {self, 1UL}) EXPECT_EQ(uProcess::LookupProcess(id), id);
    for (const unsigned long id : {0UL, 0xFFFFFFFFUL, ULONG_MAX, (1UL << 32) + self}) {
        EXPECT_EQ(uProcess::LookupProcess(id), 0U) << id;
    }
    for (const char* name : {static_cast<const char*>(nullptr), "/no/such/program", "a-sleeper"}) {
        EXPECT_EQ(uProcess::LookupProcess(name, 0), 0U) << name;
    }
    // A copy of a program that no other process runs.
    const test::WorkingFolder folder;
    std::filesystem::copy_file("/bin/sleep", "a-sleeper");
    const unsigned long child = uProcess::InvokeProcess("./a-sleeper", "100", false);
    unsigned long found = 0;
    for (int n = 0; n < 200 && found == 0; ++n, usleep(5000)) found = uProcess::LookupProcess("a-sleeper", 0);
    EXPECT_EQ(found, child);
    EXPECT_TRUE(uProcess::TerminateProcess(child));
    EXPECT_EQ(uProcess::LookupProcess(child), 0U) << "waited for";
    // Ids that kill() takes for a group are refused; a signal here would end the test.
    for (const unsigned long id : {0UL, static_cast<unsigned long>(-getpgrp()), 1UL << 32, 0UL + INT_MAX}) {
        EXPECT_FALSE(uProcess::TerminateProcess(id)) << id;
    }
    EXPECT_EQ(uProcess::InvokeProcess(nullptr, "x", true), 0U);
    for (const auto& [program, argument, code] :
         {std::tuple("mkdir", "made", 0), {"false", nullptr, 1}, {"/no/such/program", nullptr, 127}}) {
        int status = -1;
        waitpid(static_cast<pid_t>(uProcess::InvokeProcess(program, argument, true)), &status, 0);
        EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, code) << program;
    }
    EXPECT_TRUE(std::filesystem::is_directory("made")) << "found on PATH";
}

}  // namespace
