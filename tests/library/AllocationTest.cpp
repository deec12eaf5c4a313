// Memory that runs out: every single allocation of the driver's operations fails once.
#include <functional>
#include <memory>
#include <new>

#include "driver/CChannelDriver.h"
#include "source_utilities/uLogSystem.h"
#include "support/Files.h"
#include "tdf/TDFHandler.h"

namespace {
long g_failAt = -1;  // counts down at each allocation, which fails at 0
}

void* operator new(std::size_t size) {
    void* memory = g_failAt >= 0 && g_failAt-- == 0 ? nullptr : std::malloc(size);
    return memory != nullptr ? memory : throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

constexpr auto kFileType = Orm::Lux::Trace::eTraceDataFileType{};

// Makes call with its first, second, ... allocation failing, until it needs no more. Returns: how often it failed.
// Failures are errors of the library or, where memory runs out for even that, std::bad_alloc.
long FailEach(const std::function<void()>& call) {
    for (long n = 0;; ++n) {
        g_failAt = n;
        try {
            call();
        } catch (const Orm::Lux::Corva::cCorvaError& error) {
            EXPECT_EQ(error.GetSeverity(), 2);
        } catch (const std::bad_alloc&) {
        }
        const bool wasEnough = g_failAt >= 0;
        g_failAt = -1;
        if (wasEnough) return n;
    }
}

TEST(Allocation, StartsALogAtOnceOrNotAtAll) {
    const test::WorkingFolder folder;
    setenv("ORM_TEST_LEVEL", "1", 1);
    setenv("ORM_TEST_DIR", folder.Path().c_str(), 1);
    for (const bool isByVariable : {true, false}) {
        ORM_LUX::uLogSystem system;
        const char* const name = "a-name-beyond-short-strings.txt";
        const long failures = FailEach([&] {
            try {
                isByVariable ? system.InitLog(name, "ORM_TEST_LEVEL", "ORM_TEST_DIR", true)
                             : system.InitLogEx(name, 1, folder.Path().c_str());
            } catch (const std::bad_alloc&) {
                EXPECT_TRUE(system.m_pLogger == nullptr && system.m_loggers.empty() && !system.m_useLoggerLookup &&
                            system.m_loggingLevel == 0 && system.m_refCount == 0);
                throw;
            }
        });
        EXPECT_GT(failures, 2);
        ASSERT_NE(system.m_pLogger, nullptr);
        EXPECT_EQ(FailEach([&] { system.m_pLogger->LogTimeStamp(); }), 0) << "a line needs no memory";
    }
}

TEST(Allocation, LeavesAStartUpToTheNextCall) {
    int made = 0;
    const auto create = [&] {
        DestroyChannelDriver(CreateChannelDriver());
        ++made;
    };
    EXPECT_GT(FailEach(create), 5);
    EXPECT_GT(made, 5) << "only the driver's own memory is reported";
}

TEST(Allocation, IsReportedAndTheDriverGoesOn) {
    const test::WorkingFolder folder;
    const std::string tdf =
        folder.Write("a-name-beyond-short-strings.tdf", "TDF2" + test::Trace(std::string(300000, 'x')));
    const std::string target = folder.Write("another-name-beyond-short-strings.tdf", "TDF2");
    const std::unique_ptr<Orm::Lux::Trace::CChannelDriver, decltype(&DestroyChannelDriver)> driver(
        CreateChannelDriver(), &DestroyChannelDriver);
    std::vector<unsigned long> page(100);
    unsigned read = 0;
    driver->LoadFile(folder.Write("short", "12345678").substr(folder.Path().size() + 1), 0, kFileType);
    FailEach([&] {
        // What the load before has left: samples that can be read, or none.
        const bool isRead = test::ErrorOf([&] { driver->SeekReadTraceData(0, 1, page.data(), &read); }).empty();
        EXPECT_TRUE(isRead || driver->GetNumSamples() == 0);
        driver->LoadFile(tdf, 0, kFileType);
    });
    FailEach([&] { driver->LoadFile(folder / "a-name-that-does-not-exist", 0, kFileType); });
    driver->LoadFile(tdf, 0, kFileType);
    EXPECT_EQ(FailEach([&] { driver->SeekReadTraceData(5, 100, page.data(), &read); }), 0) << "reading needs no memory";
    EXPECT_EQ(read, 100U);
    Orm::Lux::Trace::TDFHandler handler;
    const auto look = [&] { handler.GetSectionDataPosition(tdf.c_str(), "BinTraceData", 1, read, read); };
    EXPECT_EQ(FailEach(look), 0) << "looking for a section needs no memory";
    EXPECT_GT(FailEach([&] { driver->SaveFile(target, kFileType); }), 0);
    driver->SaveFile(folder.Write("fresh.tdf", "TDF2"), kFileType);
    EXPECT_EQ(std::filesystem::file_size("fresh.tdf"), 4U + 24 + 300000);
}

}  // namespace
