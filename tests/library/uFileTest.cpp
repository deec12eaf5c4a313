#include "source_utilities/uFile.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>

#include <atomic>
#include <cstring>
#include <cwchar>
#include <thread>

#include "support/Process.h"

namespace {

using ORM_LUX::uFile;

TEST(uFile, AnswersWithoutAStream) {
    uFile file(nullptr, nullptr);
    char buffer[4] = "abc";
    fpos_t position{};
    const std::pair<const char*, bool> rows[] = {
        {"Open", file.Open() || file.Open("/missing", "rb") || file.OpenInternal(nullptr, "r") || file.IsOpen()},
        {"Close", file.Close() || file.Flush()},
        {"Seek", file.SeekToBegin() || file.SeekToEnd() || file.IsEof()},
        {"Position", file.GetPosition(position) || file.SetPosition(position)},
        {"String", file.WriteString("x") || file.ReadString(buffer, 4)}};
    for (const auto& [operations, succeeded] : rows) EXPECT_FALSE(succeeded) << operations;
    EXPECT_TRUE(file.IsError());
    file.ClearError();
    file.Erase();
    EXPECT_EQ(file.Read(buffer, 3) + file.Write("x", 1), 0U);
    EXPECT_EQ(file.Printf("%d", 1) + file.GetSize(), 0);
}

TEST(uFile, ReadsAndMeasuresFromWhereItStands) {
    const test::WorkingFolder folder;
    folder.Write("f", std::string(100, 'x'));
    uFile file(nullptr, nullptr);
    ASSERT_TRUE(file.Open("f", "rb"));
    EXPECT_EQ(fcntl(fileno(file.m_stream), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(test::Show(file.GetPath(), file.GetOpenMode(), file.GetSize()), "f rb 100");
    char buffer[200];
    EXPECT_EQ(file.Read(buffer, 10), 10U);
    fpos_t at{}, zero{};
    EXPECT_TRUE(file.GetPosition(at) && file.GetPosition(zero));
    file.ZeroFILEPOS(zero);
    EXPECT_EQ(test::Show(file.DifferenceFILEPOS(at, zero), file.DifferenceFILEPOS(zero, at)), "10 -10");
    EXPECT_EQ(file.GetSize(), 90);
    EXPECT_EQ(file.Read(buffer, 200), 90U) << "the position was kept";
    EXPECT_TRUE(file.IsEof() && file.SeekToEnd() && file.GetSize() == 0 && file.SetPosition(at));
    EXPECT_EQ(file.GetSize(), 90);
    EXPECT_EQ(file.Write("x", 1), 0U) << "opened for reading";
    EXPECT_TRUE(file.IsError());
    file.ClearError();
    EXPECT_FALSE(file.IsError());
    EXPECT_TRUE(file.Close());
    EXPECT_FALSE(file.IsOpen() || file.Close());
    // Without a mode the file is opened for reading; the noted mode decides for Open().
    EXPECT_TRUE(file.OpenInternal("f", "") && file.Close() && file.Open() && file.Close());
    EXPECT_TRUE(file.Open(nullptr, nullptr) && !file.Open() && file.Close());
}

TEST(uFile, WritesLinesAndErases) {
    const test::WorkingFolder folder;
    folder.Write("f", "old");
    uFile file("f", "a+");
    file.Erase();
    EXPECT_EQ(test::ReadAll("f"), "old") << "nothing is erased without a stream";
    ASSERT_TRUE(file.Open());
    file.Erase();
    EXPECT_EQ(file.Printf("%s %d\n", "one", 1), 6);
    EXPECT_TRUE(file.WriteString("two\n"));
    EXPECT_EQ(file.Write("three", 5) + file.Write("", 0), 5U);
    EXPECT_TRUE(file.Flush());
    EXPECT_EQ(test::ReadAll("f"), "one 1\ntwo\nthree");
    char line[8], part[3];
    EXPECT_TRUE(file.SeekToBegin() && file.ReadString(line, 8) && file.ReadString(part, 3));
    EXPECT_EQ(test::Show(line, part), "one 1\n tw");
    EXPECT_FALSE(file.ReadString(part, 1)) << "a loop would never end";
    EXPECT_STREQ(part, "");
    EXPECT_FALSE(file.WriteString(nullptr) || file.ReadString(nullptr, 3) || file.Read(nullptr, 3) != 0);
    EXPECT_TRUE(file.Close());
    // A full disk: the file is closed after a close that failed.
    const long before = test::OpenDescriptors();
    ASSERT_TRUE(file.Open("/dev/full", "wb"));
    EXPECT_EQ(file.Write("x", 1), 1U);
    EXPECT_FALSE(file.Flush());
    EXPECT_EQ(file.Write("x", 1), 1U);
    EXPECT_TRUE(file.Close() && !file.IsOpen() && file.Write("x", 1) == 0);
    EXPECT_EQ(test::OpenDescriptors(), before);
}

// Each mode means what it means to fopen: with a file, without one, with a folder.
TEST(uFile, OpensAsFopenDoes) {
    const test::WorkingFolder folder;
    std::filesystem::create_directory("folder");
    // clang-format off
    const char* const modes[] = {"r", "rb", "r+", "rb+", "w", "w+b", "wx", "w+x", "a", "ab+", "rx", "re", "rm", "rc",
        "webxmc+", "rmmmmm+", "rq", "q", "+", "er", "r,ccs=UTF-8", "w+,ccs=UTF-16LE", "ax,ccs=UTF-8", "w,ccs=none"};
    // clang-format on
    for (const char* mode : modes) {
        if (ORM_IS_SANITIZED && std::strchr(mode, ',') != nullptr) continue;  // the C library leaks its converters
        for (const char* path : {"file", "missing", "folder", ""}) {
            // Returns: what shows of an opening, and what it and a write leave.
            const auto outcome = [&](auto open) {
                folder.Write("file", "bytes");
                std::filesystem::remove("missing");
                errno = 0;
                std::FILE* const stream = open();
                std::string shown = std::to_string(stream != nullptr ? 0 : errno);
                if (stream != nullptr) {
                    const int file = fileno(stream);
                    const int flags = fcntl(file, F_GETFL), wide = std::fwide(stream, 0);
                    const bool canRead = wide > 0 ? std::fgetwc(stream) == L'b' : std::fgetc(stream) == 'b';
                    std::rewind(stream);
                    const bool canWrite = wide > 0 ? std::fputwc('x', stream) == 'x' : std::fputc('x', stream) == 'x';
                    shown = test::Show(flags, wide > 0, canRead, canWrite);
                    std::fclose(stream);
                }
                return shown + test::ReadAll("file") + "|" + test::ReadAll("missing");
            };
            uFile file(path, mode);
            EXPECT_EQ(outcome([&] { return file.OpenInternal(path, mode), file.m_stream; }),
                      outcome([&] { return std::fopen(path, mode); }))
                << mode << ' ' << path;
        }
    }
}

TEST(uFile, WaitsForTheOtherEndOfAFifo) {
    const test::WorkingFolder folder;
    static std::atomic<int> interruptions;
    struct sigaction action {};
    action.sa_handler = [](int) { ++interruptions; };
    ASSERT_EQ(mkfifo("fifo", 0600) + sigaction(SIGUSR1, &action, nullptr), 0);
    std::thread writer([reader = pthread_self()] {
        for (; interruptions < 20; usleep(100)) pthread_kill(reader, SIGUSR1);
        std::ofstream("fifo") << "line";
    });
    uFile file("fifo", "r");
    char line[8] = "";
    EXPECT_TRUE(file.Open() && file.ReadString(line, 8)) << std::strerror(errno);
    EXPECT_STREQ(line, "line");
    const int unblocked = open("fifo", O_RDWR | O_NONBLOCK | O_CLOEXEC);
    writer.join();
    close(unblocked);
    file.Close();
}

// A host that has closed its standard streams does not print into a file of the library.
TEST(uFile, KeepsFromTheStandardStreams) {
    const test::WorkingFolder folder;
    EXPECT_TRUE(test::HoldsInChild([] {
        uFile file("file", "w"), more("more", "w");
        for (const int stream : {2, 1, 0}) {
            close(stream);
            if (!file.Open() || fileno(file.m_stream) < 3 || fcntl(stream, F_GETFD) >= 0) return false;
        }
        // Nor where that leaves none to move it to.
        const rlimit none{3, 3};
        setrlimit(RLIMIT_NOFILE, &none);
        return fcntl(fileno(file.m_stream), F_GETFD) == FD_CLOEXEC && !more.Open() && fcntl(0, F_GETFD) < 0;
    }));
}

}  // namespace
