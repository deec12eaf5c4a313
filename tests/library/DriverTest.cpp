// Loading and reading traces through the built library, in this process.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <functional>
#include <memory>
#include <thread>

#include "driver/TalvoraFileChannelDriver.h"
#include "support/LogCapture.h"

namespace Orm::Lux::Trace {
struct _ChannelAttribute {};
struct _TraceChannelStatus {};
}  // namespace Orm::Lux::Trace

namespace {

using namespace Orm::Lux::Trace;
using Orm::Lux::Corva::cCorvaError;
using test::Section;

const std::string kDriver = "Talvora file channel driver: ";
const std::string kReadError = kDriver + "File I/O error reading trace file.";
const std::string kInvalidSample = kDriver + "The requested sample is not valid.";

std::string Samples(unsigned count) {
    std::string bytes;
    for (unsigned n = 0; n < count; ++n) bytes += test::Le(0x1000 + n, 8);
    return bytes;
}

class DriverTest : public testing::Test {
protected:
    // Each returns the text of the error thrown.
    std::string Load(const std::string& path, int type = 0) {
        return test::ErrorOf([&] { m_driver->LoadFile(path, 5, static_cast<eTraceDataFileType>(type)); });
    }
    std::string Read(unsigned start, unsigned count) {
        m_buffer.assign(count + 1UL, 99);
        m_read = 77;
        return test::ErrorOf([&] { m_driver->SeekReadTraceData(start, count, m_buffer.data(), &m_read); });
    }
    void ExpectLoads(const std::string& path, unsigned samples) {
        EXPECT_EQ(Load(path), "") << path;
        EXPECT_EQ(m_driver->GetNumSamples(), samples) << path;
    }
    // Expects that nothing of a trace is known.
    void ExpectNoTrace() {
        EXPECT_EQ(
            test::Show(m_driver->GetNumSamples(), m_fields.m_dataPosition, m_fields.m_dataLength, m_fields.m_isTDF),
            "0 0 0 0");
    }
    // Expects that reading count samples from start gives expected ones of Samples(), and writes nothing after count.
    void ExpectRead(unsigned start, unsigned count, unsigned expected) {
        EXPECT_EQ(Read(start, count), "") << start;
        EXPECT_EQ(m_read, expected) << start;
        EXPECT_EQ(m_buffer[count], 99U) << start;
        for (unsigned n = 0; n < expected; ++n) ASSERT_EQ(m_buffer[n], 0x1000UL + start + n) << start << ' ' << n;
    }

    test::WorkingFolder m_folder;
    std::unique_ptr<CChannelDriver, void (*)(CChannelDriver*)> m_driver{CreateChannelDriver(), &DestroyChannelDriver};
    TalvoraFileChannelDriver& m_fields = dynamic_cast<TalvoraFileChannelDriver&>(*m_driver);
    std::vector<unsigned long> m_buffer;
    unsigned m_read = 0;
};

TEST_F(DriverTest, CountsPartialSamples) {
    ExpectNoTrace();
    const std::string data(20, 'x');
    ExpectLoads(m_folder.Write("a.bin", ""), 0);
    ExpectLoads(m_folder.Write("a.bin", "TDF2" + test::Trace(data)), 6);
    ExpectLoads(m_folder.Write("no.tdf", Section("a", 1, "x") + test::Trace(data)), 8);
    ExpectLoads(m_folder.Write("s.tdf", "TDF2" + Section("a", 1, "x") + test::Trace(data)), 3);
    ExpectLoads(m_folder.Write("e.tdf", "TDF2" + test::Trace("")), 0);
    EXPECT_EQ(Load("a.bin"), "");
    EXPECT_TRUE(std::filesystem::remove("a.bin"));
    EXPECT_EQ(m_driver->GetNumSamples(), 0U);
}

TEST_F(DriverTest, PagesThroughATraceInEveryWay) {
    constexpr unsigned kCount = 20000;
    m_folder.Write("p.bin", Samples(kCount));
    m_folder.Write("t.tdf", "TDF2" + Section("odd", 1, "xyz") + test::Trace(Samples(kCount)) + Section("z", 1, "z"));
    for (const char* path : {"p.bin", "t.tdf"}) {
        ExpectLoads(path, kCount);
        for (const unsigned page : {1U, 7U, 512U, 4096U, 4097U, kCount, kCount + 1}) {
            const unsigned step = page == 1 ? 13 : page;
            for (unsigned at = 0; at < kCount; at += step) ExpectRead(at, page, std::min(page, kCount - at));
        }
        for (unsigned n = 0, at = 0; n < 2000; ++n, at = n * 7919 % kCount) {
            ExpectRead(at, n % 40, std::min(n % 40, kCount - at));
        }
        // The same place again, across the end, at it, after it, and after that refusal.
        for (int n = 0; n < 2; ++n) ExpectRead(100, 10, 10);
        ExpectRead(kCount - 2, 10, 2);
        ExpectRead(kCount, 5, 0);
        EXPECT_EQ(Read(kCount + 1, 1), kInvalidSample) << path;
        EXPECT_EQ(m_read, 77U) << path;
        ExpectRead(110, 10, 10);
    }
}

TEST_F(DriverTest, ReadsWhatTheFileHas) {
    // In a TDF file a partial sample is completed by what follows the section, here by the length of the next one.
    const std::string file = "TDF2" + test::Trace(Samples(2) + "abcd") + Section("n", 1, "");
    ExpectLoads(m_folder.Write("t.tdf", file), 3);
    EXPECT_EQ(Read(2, 1), "");
    EXPECT_EQ(m_read, 1U);
    EXPECT_EQ(m_buffer[0], 13UL << 32 | 0x64636261);
    // In a plain file nothing follows it, and a cut section gives what it has.
    EXPECT_EQ(Load(m_folder.Write("p.bin", Samples(2) + "abcd")), "");
    ExpectRead(0, 3, 2);
    ExpectRead(1, 1, 1);
    ExpectLoads(m_folder.Write("c.tdf", file.substr(0, 28 + 8)), 3);
    ExpectRead(0, 3, 1);
    ExpectRead(0, 1, 1);
}

TEST_F(DriverTest, TakesCountsBeyondTheFile) {
    if (ORM_IS_EMULATED) GTEST_SKIP() << "the emulator refuses a read for which the address space has no room";
    // Start and count sum to less than the samples there are, in 32 bits: nothing is cut, and the file's end ends it,
    // even if so many samples would not fit in the address space after the buffer.
    EXPECT_EQ(Load(m_folder.Write("p.bin", Samples(10))), "");
    constexpr std::size_t kSize = 1 << 16;
    void* high = MAP_FAILED;
    for (std::uintptr_t at = (std::uintptr_t{1} << 47) - (std::uintptr_t{16} << 20); high == MAP_FAILED;
         at -= 16 << 20) {
        high = mmap(reinterpret_cast<void*>(at), kSize, PROT_READ | PROT_WRITE,
                    MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
    }
    auto* const samples = static_cast<unsigned long*>(high);
    EXPECT_EQ(test::ErrorOf([&] { m_driver->SeekReadTraceData(4, 0xFFFFFFFE, samples, &m_read); }), "");
    EXPECT_EQ(m_read, 6U);
    EXPECT_EQ(samples[5], 0x1009U);
    munmap(high, kSize);
    ExpectRead(4, 3, 3);
}

TEST_F(DriverTest, ServesWhat32BitsCanAddress) {
    for (const std::uint64_t size : test::kLargeSizes) {
        std::filesystem::resize_file(m_folder.Write("p.bin", ""), size);
        const std::uint64_t data = test::WriteLarge("t.tdf", size) + 24;
        // In a plain file the low 32 bits of the size count.
        const std::tuple<const char*, std::uint64_t, std::uint64_t> rows[] = {{"p.bin", 0, size & 0xFFFFFFFF},
                                                                              {"t.tdf", data, size - data}};
        for (const auto& [path, position, length] : rows) {
            if (path[0] == 't' && size >= 1UL << 32) {
                EXPECT_NE(Load(path), "") << size;
                continue;
            }
            ExpectLoads(path, static_cast<unsigned>((length + 7) / 8));
            if (length < 8) continue;
            const auto last = static_cast<unsigned>(length / 8 - 1);  // the last whole one
            std::fstream(path, std::ios::binary | std::ios::in | std::ios::out)
                    .seekp(static_cast<long>(position + 8UL * last))
                << test::Le(0x1000UL + last, 8);
            ExpectRead(last, 2, 1);
            ExpectRead(last, 1, 1);
        }
    }
}

TEST_F(DriverTest, RefusesBeforeItTouchesTheLoadedTrace) {
    const std::string refusal = "The Talvora File Channel Driver should not be used to open Uncompressed trace files.";
    m_folder.Write("p.bin", Samples(10));
    EXPECT_EQ(Load("p.bin"), "");
    EXPECT_EQ(Load("", 2), kDriver + "Empty file name.");
    for (const auto& [name, type] : {std::pair("p.bin", 1), {"p.bin", 3}, {"", 1}}) {
        EXPECT_EQ(Load(name, type), kDriver + "Can't open trace data file.\n" + refusal) << type;
    }
    ExpectRead(3, 4, 4);
    for (const int type : {-1, 0, 2, 4, 0x7FFFFFFF}) EXPECT_EQ(Load("p.bin", type), "") << type;
}

TEST_F(DriverTest, IsAsNewAfterAFileThatCannotBeOpened) {
    std::filesystem::create_directory("dir.tdf");
    chmod(m_folder.Write("secret.bin", "x").c_str(), 0);
    m_folder.Write("t.tdf", "TDF2" + test::Trace(Samples(10)));
    for (const std::string path : {"missing", "dir.tdf", "secret.bin"}) {
        const test::Unprivileged user;
        ExpectLoads("t.tdf", 10);
        EXPECT_EQ(Load(path), "Failed to open " + path + " for reading.");
        ExpectNoTrace();
        EXPECT_EQ(Read(0, 1), kReadError) << path;
        EXPECT_EQ(m_read, 77U) << path;
        EXPECT_EQ(Read(1, 1), kInvalidSample) << path;
    }
    // A damaged TDF file stays loaded, without the samples of the file before.
    m_folder.Write("none.tdf", "TDF2" + Section("other", 1, "x"));
    EXPECT_EQ(Load("t.tdf"), "");
    EXPECT_EQ(Load("none.tdf"), "BinTraceData section cannot be located in the file.");
    EXPECT_TRUE(m_fields.m_file != nullptr);
    EXPECT_TRUE(m_fields.m_isTDF);
    EXPECT_EQ(m_fields.m_fileName, "none.tdf");
    ExpectRead(0, 0, 0);
}

TEST_F(DriverTest, FailsOnceAReadHasFailedUntilTheNextLoad) {
    // Reading this file at its start fails with an I/O error.
    EXPECT_EQ(Load("/proc/self/mem"), "");
    m_fields.m_numSamples = 1000;
    EXPECT_EQ(Read(0, 10), kReadError);
    EXPECT_EQ(m_read, 0U);
    EXPECT_EQ(Read(0, 0), kReadError);
    EXPECT_EQ(Load(m_folder.Write("p.bin", Samples(10))), "");
    ExpectRead(0, 10, 10);
    const auto readIntoNothing = [&] { m_driver->SeekReadTraceData(0, 1, nullptr, &m_read); };
    EXPECT_EQ(test::ErrorOf(readIntoNothing), kReadError);
    EXPECT_EQ(m_read, 0U);
    m_driver->SeekReadTraceData(0, 0, nullptr, nullptr);
    ExpectRead(0, 10, 10);
    // A FIFO or a device is never waited for.
    mkfifo("fifo", 0600);
    ExpectLoads("fifo", 0);
    EXPECT_EQ(Read(0, 1), kReadError);
    EXPECT_EQ(Load("/dev/null"), "");
    ExpectRead(0, 1, 0);
}

TEST_F(DriverTest, OwnsOneDescriptorWithoutPassingItOn) {
    const long before = test::OpenDescriptors();
    m_folder.Write("p.bin", Samples(10));
    EXPECT_EQ(Load("p.bin") + Load("p.bin"), "");
    EXPECT_EQ(test::OpenDescriptors() - before, 1U);
    EXPECT_EQ(fcntl(fileno(m_fields.m_file), F_GETFD), FD_CLOEXEC);
    m_driver.reset();
    EXPECT_EQ(test::OpenDescriptors(), before);
}

TEST_F(DriverTest, LogsEveryOperationAndItsRefusal) {
    const std::string m = "M     <time> Trace Talvora File Channel Driver: ", e = "    E <time> ";
    const std::string input = m + "SeekReadTraceData\nInput: StartSample #";
    _ChannelAttribute attribute;
    _TraceChannelStatus status;
    const std::pair<std::string, std::function<void()>> refused[] = {
        {"GetUserConfiguration", [&] { m_driver->GetUserConfiguration(); }},
        {"SetConfiguration", [&] { m_driver->SetConfiguration("x"); }},
        {"StartRecording", [&] { m_driver->StartRecording(true); }},
        {"StopRecording", [&] { m_driver->StopRecording(); }},
        {"ResumeRecording", [&] { m_driver->ResumeRecording(); }},
        {"GetChannelStatus", [&] { m_driver->GetChannelStatus(status); }}};
    const test::LogCapture log(1);
    std::string lines, text = "kept";
    for (const auto& [name, call] : refused) {
        EXPECT_EQ(test::ErrorOf(call), kDriver + "This capability is not supported.") << name;
        lines += m + name + "\n";
    }
    try {
        m_driver->GetAttribute(nullptr, attribute);
    } catch (const cCorvaError& error) {
        EXPECT_EQ(error.GetSeverity(), 0U);
        EXPECT_STREQ(error.what(), "Talvora file channel driver doesn't support");
    }
    int a = 1, b = 2;
    m_driver->GetProgress(a, b, text);
    EXPECT_EQ(test::Show(a, b, text), "1 2 kept");
    EXPECT_TRUE(m_driver->CpuName() == nullptr);
    EXPECT_EQ(m_driver->GetTODStamp(eTODStampType{}, 1, 2, 3, 4), "");
    m_folder.Write("x.bin", Samples(2));
    EXPECT_EQ(m_fields.GetChannelNum(), 0U);
    EXPECT_EQ(Load("x.bin"), "");
    EXPECT_EQ(Read(1, 5), "");
    EXPECT_EQ(Read(3, 1), kInvalidSample);
    EXPECT_FALSE(Load(m_folder.Write("none.tdf", "TDF2")) == "");
    EXPECT_FALSE(Load("gone") == "");
    EXPECT_EQ(Read(0, 1), kReadError);
    EXPECT_EQ(Load("/proc/self/mem"), "");
    m_fields.m_numSamples = 1;
    EXPECT_EQ(Read(0, 1), kReadError);
    EXPECT_EQ(log.Text(),
              lines + m + "GetTODStamp\n" + m + "GetChannelNum\n" + m + "LoadFile\n" + input +
                  "1, NumSamples #5, CurrentSampleCount #2\n" + m + "SeekReadTraceData\n\tReturn: Samples read #1\n" +
                  input + "3, NumSamples #1, CurrentSampleCount #2\n" + e +
                  "Trace Talvora File Channel Driver: StartSample exceeds CurrentSampleCount\n" + m + "LoadFile\n" + e +
                  "Trace Talvora File Channel Driver: caught error loading file.\n" + m + "LoadFile\n" + e +
                  "Failed to open gone for reading.\n" + input + "0, NumSamples #1, CurrentSampleCount #0\n" + e +
                  "Trace Talvora File Channel Driver: failed fseek\n" + m + "LoadFile\n" + input +
                  "0, NumSamples #1, CurrentSampleCount #1\n" + e +
                  "Trace Talvora File Channel Driver: failed fread\n");
}

// A child shares the offset of the driver's descriptor in the file, and moves it, also when it ends.
TEST_F(DriverTest, ReadsAndSavesBesideAForkedChild) {
    constexpr unsigned kSaves = ORM_IS_SANITIZED ? 20 : 100;
    const std::string samples = Samples(500000);
    EXPECT_EQ(Load(m_folder.Write("p.bin", samples)), "");
    const int descriptor = fileno(m_fields.m_file);
    const pid_t moving = fork();
    if (moving == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (off_t at = 0;; at += 4097) lseek(descriptor, at % 4000000, SEEK_SET);
    }
    while (lseek(descriptor, 0, SEEK_CUR) == 0) continue;
    for (unsigned at = 0; at < 20000; at += 500) ExpectRead(at, 500, 500);
    int wrong = 0;
    for (unsigned n = 0; n < kSaves; ++n) {
        const pid_t ending = fork();
        if (ending == 0) usleep(n * 20), std::exit(0);
        m_folder.Write("t.tdf", "TDF2");
        m_driver->SaveFile("t.tdf", eTraceDataFileType{});
        wrong += test::ReadAll("t.tdf") != "TDF2" + test::Trace(samples);
        waitpid(ending, nullptr, 0);
    }
    EXPECT_EQ(wrong, 0);
    kill(moving, SIGKILL);
    waitpid(moving, nullptr, 0);
}

// A file is a TDF file, or it is not, or it could not be looked at: that is never served as samples.
TEST_F(DriverTest, AsksTheFileThatIsOpen) {
    m_folder.Write("t.tdf", "TDF2" + test::Trace(Samples(10)));
    std::filesystem::create_symlink("/proc/self/mem", "unreadable.tdf");
    EXPECT_EQ(Load("unreadable.tdf"), "Could not open TDF file as specified.");
    EXPECT_EQ(m_driver->GetNumSamples(), 0U);
    EXPECT_TRUE(m_fields.m_file != nullptr);
    // One descriptor is enough.
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const int next = dup(0);
    close(next);
    const rlimit one{static_cast<rlim_t>(next), limit.rlim_max};  // the driver's own is closed first
    setrlimit(RLIMIT_NOFILE, &one);
    const std::string error = Load("t.tdf");
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_EQ(error, "");
    EXPECT_EQ(m_driver->GetNumSamples(), 10U) << "not the bytes of a plain file";
    // Another process swaps two files.
    const std::string other = "TDF2" + Section("first", 1, std::string(999, 'x')) + test::Trace(test::Le(7, 8));
    std::jthread swapping([&](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            for (const std::string& bytes : {other, "TDF2" + test::Trace(Samples(1))}) {
                std::filesystem::rename(m_folder.Write("new", bytes), "t.tdf");
            }
        }
    });
    for (int n = 0; n < 3000; ++n) {
        ASSERT_EQ(Load("t.tdf") + Read(0, 1), "");
        ASSERT_TRUE(m_read > 0 && (m_buffer[0] == 7 || m_buffer[0] == 0x1000)) << m_buffer[0];
    }
}

TEST_F(DriverTest, ReadsAheadOnlyForRuns) {
    EXPECT_EQ(Load(m_folder.Write("p.bin", Samples(20000))), "");
    for (const unsigned between : {15000U, 3U, 0U}) {
        ExpectRead(0, 1, 1);
        ExpectRead(1, 1, 1);
        Read(between, 1);
        std::fstream("p.bin", std::ios::binary | std::ios::in | std::ios::out) << test::Le(between, 8);
        EXPECT_EQ(Read(0, 1), "") << between;
        EXPECT_EQ(m_buffer[0], between) << between;
        std::fstream("p.bin", std::ios::binary | std::ios::in | std::ios::out) << Samples(1);
    }
    ExpectRead(0, 2, 2);
    std::filesystem::resize_file("p.bin", 0);
    ExpectRead(1, 1, 0);
}

// Who holds a lease on a file gives it up a little after being asked to, by a signal.
TEST_F(DriverTest, WaitsForALease) {
    m_folder.Write("s.tdf", "TDF2" + test::Trace(Samples(3)));
    sigset_t asked;
    sigemptyset(&asked);
    sigaddset(&asked, SIGIO);
    pthread_sigmask(SIG_BLOCK, &asked, nullptr);
    for (const bool isSave : {false, true}) {
        const int file = open("s.tdf", O_RDWR | O_CLOEXEC);
        ASSERT_EQ(fcntl(file, F_SETLEASE, F_WRLCK), 0);
        std::jthread holder([&] {
            const timespec limit{10, 0};
            EXPECT_EQ(sigtimedwait(&asked, nullptr, &limit), SIGIO) << isSave;
            usleep(20000);
            close(file);
        });
        const auto save = [&] { m_driver->SaveFile("s.tdf", eTraceDataFileType{}); };
        EXPECT_EQ(isSave ? test::ErrorOf(save) : Load("s.tdf"), "") << isSave;
        holder.join();
        EXPECT_EQ(Load(m_folder.Write("p.bin", Samples(1))), "");  // the next lease needs the file closed
    }
    pthread_sigmask(SIG_UNBLOCK, &asked, nullptr);
    EXPECT_EQ(test::ReadAll("s.tdf"), "TDF2" + test::Trace(Samples(3)) + test::Trace(Samples(1)));
}

TEST_F(DriverTest, ServesManyThreads) {
    const std::string path = m_folder.Write("t.tdf", "TDF2" + test::Trace(Samples(100)));
    std::vector<std::jthread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&path] {
            for (int n = 0; n < 20; ++n) {
                unsigned long sample = 0;
                CChannelDriver* const driver = CreateChannelDriver();
                driver->LoadFile(path, 0, eTraceDataFileType{});
                driver->SeekReadTraceData(42, 1, &sample, nullptr);
                DestroyChannelDriver(driver);
                EXPECT_EQ(sample, 0x1000UL + 42);
            }
        });
    }
}

}  // namespace
