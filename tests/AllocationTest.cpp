// Memory that runs out: every single allocation of the driver's operations fails once.
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <new>

#include "corva/cCorvaError.h"
#include "driver/CChannelDriver.h"
#include "support/Files.h"

namespace {

long g_failAt = -1;  // counts down at each allocation, which fails at 0

}  // namespace

void* operator new(std::size_t size) {
    if (g_failAt >= 0 && g_failAt-- == 0) throw std::bad_alloc();
    if (void* memory = std::malloc(size)) return memory;
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

using Orm::Lux::Trace::CChannelDriver;
constexpr auto kType = Orm::Lux::Trace::eTraceDataFileType{};

class AllocationTest : public testing::Test {
protected:
    // Makes call with its first, second, ... allocation failing, until it needs no more. Returns: how often it failed.
    // Failures are errors of the library or, where there is no memory for even that, std::bad_alloc.
    static long FailEach(const std::function<void()>& call) {
        for (long n = 0;; ++n) {
            g_failAt = n;
            try {
                call();
            } catch (const Orm::Lux::Corva::cCorvaError& error) {
                EXPECT_EQ(error.GetSeverity(), 2);
            } catch (const std::bad_alloc&) {
            }
            const bool done = g_failAt >= 0;
            g_failAt = -1;
            if (done) return n;
        }
    }

    test::TemporaryFolder m_folder;
    std::string m_tdf = m_folder.Write("a-name-beyond-short-strings.tdf",
                                       test::Tdf(test::Section("BinTraceData", 1, std::string(300000, 'x'))));
    std::string m_target = m_folder.Write("another-name-beyond-short-strings.tdf", "TDF2");
};

TEST_F(AllocationTest, LeavesTheFirstStartUpToTheNextCall) {
    unsetenv("ORM_TRACE_DEBUGCLIENT_PID");
    int made = 0;
    EXPECT_GT(FailEach([&] {
                  DestroyChannelDriver(CreateChannelDriver());
                  ++made;
              }),
              5);
    EXPECT_GT(made, 5) << "only the driver's own memory is reported";
}

TEST_F(AllocationTest, ReportsItAndGoesOn) {
    const std::unique_ptr<CChannelDriver, void (*)(CChannelDriver*)> driver(CreateChannelDriver(),
                                                                            &DestroyChannelDriver);
    std::vector<unsigned long> page(100);
    unsigned int read = 0;
    FailEach([&] { driver->LoadFile(m_tdf, 0, kType); });
    FailEach([&] { driver->LoadFile(m_folder / "a-name-that-does-not-exist", 0, kType); });
    driver->LoadFile(m_tdf, 0, kType);
    EXPECT_EQ(FailEach([&] { driver->SeekReadTraceData(5, 100, page.data(), &read); }), 0) << "reading needs no memory";
    EXPECT_EQ(read, 100U);
    EXPECT_GT(FailEach([&] { driver->SaveFile(m_target, kType); }), 0);
    driver->SaveFile(m_folder.Write("fresh.tdf", "TDF2"), kType);
    EXPECT_EQ(std::filesystem::file_size(m_folder / "fresh.tdf"), 4U + 24 + 300000);
}

}  // namespace
