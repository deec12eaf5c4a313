// Loading and reading traces through the built library, in this process.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <thread>

#include "corva/cCorvaError.h"
#include "driver/TalvoraFileChannelDriver.h"
#include "support/Files.h"

namespace {

using Orm::Lux::Corva::cCorvaError;
using Orm::Lux::Trace::CChannelDriver;
using Orm::Lux::Trace::eTraceDataFileType;
using Orm::Lux::Trace::TalvoraFileChannelDriver;
using test::Sample;
using test::Section;
using test::Tdf;

constexpr const char* kReadError = "Talvora file channel driver: File I/O error reading trace file.";
constexpr const char* kInvalidSample = "Talvora file channel driver: The requested sample is not valid.";

std::string Samples(unsigned first, unsigned count) {
    std::string bytes;
    for (unsigned n = first; n < first + count; ++n) bytes += Sample(0x1000 + n);
    return bytes;
}

class DriverTest : public testing::Test {
protected:
    DriverTest() : m_driver(CreateChannelDriver(), &DestroyChannelDriver) {}

    std::string ErrorOf(const std::function<void()>& call) {
        try {
            call();
        } catch (const cCorvaError& error) {
            EXPECT_EQ(error.GetSeverity(), 2);
            return error.what();
        }
        return "";
    }
    std::string Load(const std::string& path, int type = 0) {
        return ErrorOf([&] { m_driver->LoadFile(path, 5, static_cast<eTraceDataFileType>(type)); });
    }
    // Reads into m_buffer. Returns: the error's text.
    std::string Read(unsigned start, unsigned count) {
        m_buffer.assign(count + 1UL, 99);
        m_read = 77;
        return ErrorOf([&] { m_driver->SeekReadTraceData(start, count, m_buffer.data(), &m_read); });
    }
    // Expects that reading count samples from start gives expected samples of Samples().
    void ExpectRead(unsigned start, unsigned count, unsigned expected) {
        EXPECT_EQ(Read(start, count), "") << start << ' ' << count;
        EXPECT_EQ(m_read, expected) << start << ' ' << count;
        for (unsigned n = 0; n < expected; ++n) ASSERT_EQ(m_buffer[n], 0x1000UL + start + n) << start << ' ' << n;
        EXPECT_EQ(m_buffer[count], 99U) << "nothing is written behind what was asked for";
    }

    test::TemporaryFolder m_folder;
    std::unique_ptr<CChannelDriver, void (*)(CChannelDriver*)> m_driver;
    std::vector<unsigned long> m_buffer;
    unsigned int m_read = 0;
};

TEST_F(DriverTest, CountsPartialSamples) {
    const struct {
        const char* name;
        std::string bytes;
        unsigned samples;
    } rows[] = {{"a.bin", std::string(17, 'x'), 3},
                {"b.bin", "", 0},
                {"c.bin", std::string(8, 'x'), 1},
                {"noid.tdf", std::string(20, 'x'), 3},
                {"t.tdf", Tdf(Section("a", 1, "xyz") + Section("BinTraceData", 1, std::string(20, 'x'))), 3},
                {"t.bin", Tdf(Section("BinTraceData", 1, "12345678")), 5},
                {"e.tdf", Tdf(Section("BinTraceData", 1, "")), 0}};
    for (const auto& row : rows) {
        EXPECT_EQ(Load(m_folder.Write(row.name, row.bytes)), "") << row.name;
        EXPECT_EQ(m_driver->GetNumSamples(), row.samples) << row.name;
    }
}

TEST_F(DriverTest, PagesThroughATraceInEveryWay) {
    constexpr unsigned kCount = 20000;
    const std::string plain = m_folder.Write("p.bin", Samples(0, kCount));
    const std::string tdf = m_folder.Write(
        "t.tdf", Tdf(Section("odd", 1, "xyz") + Section("BinTraceData", 1, Samples(0, kCount)) + Section("z", 1, "z")));
    for (const std::string& path : {plain, tdf}) {
        ASSERT_EQ(Load(path), "");
        ASSERT_EQ(m_driver->GetNumSamples(), kCount);
        for (const unsigned page : {1U, 7U, 512U, 4096U, 4097U, kCount, kCount + 1}) {
            const unsigned step = page == 1 ? 13 : page;
            for (unsigned at = 0; at < kCount; at += step) ExpectRead(at, page, std::min(page, kCount - at));
        }
        for (unsigned n = 0; n < 2000; ++n) {
            const unsigned at = n * 7919 % kCount;
            ExpectRead(at, n % 40, std::min(n % 40, kCount - at));
        }
        // Behind the same place again, behind the end, behind a refused request.
        ExpectRead(100, 10, 10);
        ExpectRead(100, 10, 10);
        ExpectRead(kCount - 2, 10, 2);
        ExpectRead(kCount, 5, 0);
        EXPECT_EQ(Read(kCount + 1, 1), kInvalidSample);
        EXPECT_EQ(m_read, 77U) << "untouched";
        ExpectRead(110, 10, 10);
    }
}

TEST_F(DriverTest, CompletesAPartialSampleFromBehindTheSection) {
    const std::string file = Tdf(Section("BinTraceData", 1, Samples(0, 2) + "abcd") + Section("n", 1, ""));
    ASSERT_EQ(Load(m_folder.Write("t.tdf", file)), "");
    ASSERT_EQ(m_driver->GetNumSamples(), 3U);
    EXPECT_EQ(Read(2, 1), "");
    EXPECT_EQ(m_read, 1U);
    EXPECT_EQ(m_buffer[0] & 0xFFFFFFFF, 0x64636261U);
    EXPECT_EQ(m_buffer[0] >> 32, 13U) << "the length of the section behind";
    // In a plain file there is nothing behind it, and a cut section gives what there is.
    ASSERT_EQ(Load(m_folder.Write("p.bin", Samples(0, 2) + "abcd")), "");
    ExpectRead(0, 3, 2);
    ExpectRead(1, 1, 1);
    ASSERT_EQ(Load(m_folder.Write("c.tdf", file.substr(0, 28 + 8))), "");
    EXPECT_EQ(m_driver->GetNumSamples(), 3U);
    ExpectRead(0, 3, 1);
    ExpectRead(0, 1, 1);
}

TEST_F(DriverTest, WrapsInThirtyTwoBits) {
    ASSERT_EQ(Load(m_folder.Write("p.bin", Samples(0, 10))), "");
    m_buffer.assign(64, 99);
    // Start and count sum to less than the samples there are: nothing is cut, and the file's end ends the run.
    EXPECT_EQ(ErrorOf([&] { m_driver->SeekReadTraceData(4, 0xFFFFFFFEU, m_buffer.data(), &m_read); }), "");
    EXPECT_EQ(m_read, 6U);
    ExpectRead(4, 3, 3);
}

TEST_F(DriverTest, RefusesBeforeItTouchesTheLoadedTrace) {
    const std::string path = m_folder.Write("p.bin", Samples(0, 10));
    ASSERT_EQ(Load(path), "");
    for (const int type : {1, 3}) {
        for (const std::string& name : {path, std::string()}) {
            EXPECT_EQ(
                Load(name, type),
                "Talvora file channel driver: Can't open trace data file.\nThe Talvora File Channel Driver should "
                "not be used to open Uncompressed trace files.");
        }
    }
    EXPECT_EQ(Load("", 2), "Talvora file channel driver: Empty file name.");
    ExpectRead(3, 4, 4);
    for (const int type : {-1, 0, 2, 4, 0x7FFFFFFF}) EXPECT_EQ(Load(path, type), "") << type;
}

TEST_F(DriverTest, IsAsNewAfterAFileThatCannotBeOpened) {
    std::filesystem::create_directory(m_folder / "dir.tdf");
    const std::string secret = m_folder.Write("secret.bin", "x");
    chmod(secret.c_str(), 0);
    const std::string good = m_folder.Write("t.tdf", Tdf(Section("BinTraceData", 1, Samples(0, 10))));
    for (const std::string& path : {m_folder / "missing", m_folder / "dir.tdf", secret}) {
        ASSERT_EQ(Load(good), "");
        ASSERT_EQ(m_driver->GetNumSamples(), 10U);
        const test::Unprivileged user;
        EXPECT_EQ(Load(path), "Failed to open " + path + " for reading.");
        EXPECT_EQ(m_driver->GetNumSamples(), 0U);
        EXPECT_EQ(Read(0, 1), kReadError);
        EXPECT_EQ(m_read, 77U);
        EXPECT_EQ(Read(1, 1), kInvalidSample);
    }
    ASSERT_EQ(Load(good), "");
    ExpectRead(0, 10, 10);
}

TEST_F(DriverTest, KeepsADamagedTdfFileWithoutSamples) {
    auto& driver = dynamic_cast<TalvoraFileChannelDriver&>(*m_driver);
    ASSERT_EQ(Load(m_folder.Write("t.tdf", Tdf(Section("BinTraceData", 1, Samples(0, 10))))), "");
    const std::string path = m_folder.Write("none.tdf", Tdf(Section("other", 1, "x")));
    EXPECT_EQ(Load(path), "BinTraceData section cannot be located in the file.");
    EXPECT_NE(driver.m_file, nullptr);
    EXPECT_TRUE(driver.m_isTDF);
    EXPECT_EQ(driver.m_fileName, path);
    EXPECT_EQ(driver.GetNumSamples(), 0U) << "not those of the file before";
    ExpectRead(0, 0, 0);
}

TEST_F(DriverTest, NeverWaitsForAFifoOrADevice) {
    const std::string fifo = m_folder / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    ASSERT_EQ(Load(fifo), "");
    EXPECT_EQ(m_driver->GetNumSamples(), 0U);
    EXPECT_EQ(Read(0, 1), kReadError);
    ASSERT_EQ(Load("/dev/null"), "");
    ExpectRead(0, 1, 0);
}

TEST_F(DriverTest, FailsOnceAReadHasFailedUntilTheNextLoad) {
    // Reading this file beyond its first page fails with an I/O error.
    ASSERT_EQ(Load("/proc/self/mem"), "");
    auto& driver = dynamic_cast<TalvoraFileChannelDriver&>(*m_driver);
    driver.m_numSamples = 1000;
    EXPECT_EQ(Read(0, 10), kReadError);
    EXPECT_EQ(m_read, 0U) << "stored before the error";
    EXPECT_EQ(Read(0, 0), kReadError) << "the stream's error stays";
    ASSERT_EQ(Load(m_folder.Write("p.bin", Samples(0, 10))), "");
    ExpectRead(0, 10, 10);
    // Null arguments.
    EXPECT_EQ(ErrorOf([&] { m_driver->SeekReadTraceData(0, 1, nullptr, &m_read); }), kReadError);
    m_driver->SeekReadTraceData(0, 0, nullptr, nullptr);
    ExpectRead(0, 10, 10);
}

TEST_F(DriverTest, OwnsOneDescriptorWithoutPassingItOn) {
    const int before = test::OpenDescriptors();
    for (int n = 0; n < 3; ++n) ASSERT_EQ(Load(m_folder.Write("p.bin", Samples(0, 10))), "");
    EXPECT_EQ(test::OpenDescriptors(), before + 1);
    auto& driver = dynamic_cast<TalvoraFileChannelDriver&>(*m_driver);
    EXPECT_EQ(fcntl(fileno(driver.m_file), F_GETFD), FD_CLOEXEC);
    m_driver.reset();
    EXPECT_EQ(test::OpenDescriptors(), before);
    DestroyChannelDriver(nullptr);
}

TEST_F(DriverTest, PublishesItsTexts) {
    using Driver = TalvoraFileChannelDriver;
    EXPECT_STREQ(Driver::TalvoraFileChannelDriverErrorMessages[Driver::eNotSupported],
                 "Talvora file channel driver: This capability is not supported.");
    EXPECT_STREQ(Driver::TalvoraFileChannelDriverErrorMessages[Driver::eCannotOpenFile],
                 "Talvora file channel driver: Can't open trace data file.");
    EXPECT_STREQ(Driver::TalvoraFileChannelDriverErrorMessages[Driver::eMemoryAllocationFailure],
                 "Talvora file channel driver: Memory allocation failure.");
    EXPECT_EQ(dynamic_cast<Driver&>(*m_driver).GetChannelNum(), 0);
}

TEST_F(DriverTest, ServesManyThreads) {
    const std::string path = m_folder.Write("t.tdf", Tdf(Section("BinTraceData", 1, Samples(0, 100))));
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&path] {
            for (int n = 0; n < 20; ++n) {
                CChannelDriver* driver = CreateChannelDriver();
                driver->LoadFile(path, 0, eTraceDataFileType{});
                unsigned long sample = 0;
                unsigned int read = 0;
                driver->SeekReadTraceData(42, 1, &sample, &read);
                EXPECT_EQ(sample, 0x1000UL + 42);
                DestroyChannelDriver(driver);
            }
        });
    }
    for (auto& thread : threads) thread.join();
}

}  // namespace
