// Files that cannot be read throughout, or change while they are read. Whatever the library opens gives the bytes of a
// stand-in, where there is one.
#include <dlfcn.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "driver/CChannelDriver.h"
#include "internal/SystemCalls.h"
#include "support/BadBlock.h"
#include "support/Files.h"
#include "tdf/FileIO.h"
#include "tdf/TDFHandler.h"
#include "tdf/TDFSectionReader.h"

namespace {
test::BadBlock* g_standIn = nullptr;
bool g_isInterrupted = false;  // the next call is, and every other one
int g_ends = -1;               // of files that reads meet before g_atEnd is called, once
std::function<void()> g_atEnd;
std::vector<int> g_openErrors;   // of the next openings, the last first
std::vector<int> g_cutErrors;    // of the next cuts of a file, the last first
bool g_losesDescriptor = false;  // the next write does, so that closing fails
}  // namespace

ssize_t test::g_piece = SSIZE_MAX;
int test::g_goodReads = -1;
std::vector<ssize_t> test::g_writes;
using test::g_goodReads;
using test::g_piece;

extern "C" std::FILE* fdopen(int descriptor, const char* mode) noexcept {
    static const auto real = reinterpret_cast<std::FILE* (*)(int, const char*)>(dlsym(RTLD_NEXT, "fdopen"));
    if (g_standIn == nullptr) return real(descriptor, mode);
    close(descriptor);
    return g_standIn->Open();
}

extern "C" ssize_t pread(int descriptor, void* buffer, std::size_t size, off_t offset) {
    if (g_piece < 0 || g_goodReads == 0) return errno = EIO, -1;
    if (g_goodReads > 0) --g_goodReads;
    if (g_piece != SSIZE_MAX && (g_isInterrupted = !g_isInterrupted)) return errno = EINTR, -1;
    const ssize_t got =
        syscall(SYS_pread64, descriptor, buffer, std::min(size, static_cast<std::size_t>(g_piece)), offset);
    if (got == 0 && g_ends >= 0 && g_ends-- == 0) g_atEnd();
    return got;
}

extern "C" ssize_t pwrite(int descriptor, const void* data, std::size_t size, off_t offset) {
    if (!test::g_writes.empty()) {
        const ssize_t next = test::g_writes.back();
        test::g_writes.pop_back();
        if (next < 0) return errno = static_cast<int>(-next), -1;
        if (next == 0) return 0;
        size = std::min(size, static_cast<std::size_t>(next));
    }
    const ssize_t written = syscall(SYS_pwrite64, descriptor, data, size, offset);
    if (std::exchange(g_losesDescriptor, false)) close(descriptor);
    return written;
}

// Returns: whether a call fails, with the next of these errors.
static bool Fails(std::vector<int>& errors) {
    if (errors.empty()) return false;
    errno = errors.back();
    errors.pop_back();
    return true;
}

extern "C" int open(const char* path, int flags, ...) {
    if (Fails(g_openErrors)) return -1;
    std::va_list arguments;
    va_start(arguments, flags);
    const bool hasMode = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    const mode_t mode = hasMode ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

extern "C" int ftruncate(int descriptor, off_t size) noexcept {
    if (Fails(g_cutErrors)) return -1;
    return static_cast<int>(syscall(SYS_ftruncate, descriptor, size));
}

namespace {

struct StandIn {
    explicit StandIn(test::BadBlock& block) { g_standIn = &block; }
    ~StandIn() { g_standIn = nullptr; }
};

constexpr auto kFileType = Orm::Lux::Trace::eTraceDataFileType{};
const std::string kFileError = "Talvora file channel driver: File I/O error reading trace file.";

TEST(BadBlock, IsReportedByTheDriver) {
    const test::WorkingFolder folder;
    folder.Write("t.tdf", "TDF2");
    const std::string trace = folder.Write("trace.bin", std::string(4000, 's'));
    test::BadBlock block{std::string(4000, 's'), 1600};
    const std::unique_ptr<Orm::Lux::Trace::CChannelDriver, decltype(&DestroyChannelDriver)> driver(
        CreateChannelDriver(), &DestroyChannelDriver);
    const auto load = [&] {
        const StandIn standIn(block);
        driver->LoadFile(trace, 0, kFileType);
    };
    load();
    unsigned long page[300];
    unsigned read = 0;
    const auto readAt = [&](unsigned start, unsigned count) {
        return test::ErrorOf([&] { driver->SeekReadTraceData(start, count, page, &read); });
    };
    EXPECT_EQ(readAt(300, 100), "") << "after the bad block";
    EXPECT_EQ(read, 100U) << "after the bad block";
    EXPECT_EQ(readAt(0, 300), kFileError) << "what could be read is delivered";
    EXPECT_EQ(read, 200U) << "what could be read is delivered";
    EXPECT_EQ(readAt(300, 100), kFileError) << "until the file is loaded again";
    EXPECT_EQ(read, 100U) << "until the file is loaded again";
    driver->LoadFile(trace, 0, kFileType);
    for (const unsigned start : {200U, 0U}) {
        g_piece = 800;
        g_goodReads = 2;  // one of them interrupted
        EXPECT_EQ(readAt(start, 300), "") << "what fails by position is tried again";
        EXPECT_EQ(read, 300U) << "what fails by position is tried again";
        g_piece = SSIZE_MAX;
        g_goodReads = -1;
    }
    load();
    EXPECT_EQ(readAt(0, 300), kFileError) << "as before";
    EXPECT_EQ(read, 200U) << "as before";
    const auto save = [&] { return test::ErrorOf([&] { driver->SaveFile("t.tdf", kFileType); }); };
    EXPECT_EQ(save(), kFileError + "\nInput/output error") << "not begun";
    EXPECT_EQ(std::filesystem::file_size("t.tdf"), 4U) << "not begun";
    load();
    EXPECT_EQ(save(), kFileError + "\nInput/output error");
    EXPECT_EQ(std::filesystem::file_size("t.tdf"), 28U);
    load();
    block.seeks = 0;
    EXPECT_EQ(save(), kFileError + "\nInput/output error") << "not begun";
    EXPECT_EQ(std::filesystem::file_size("t.tdf"), 28U) << "not begun";
}

TEST(BadBlock, EndsASearch) {
    const std::string file = "TDF2" + test::Section("a", 1, std::string(100, 'x')) + test::Section("b", 1, "data");
    test::BadBlock block{file, 4 + 113};
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(block.Open(), std::fclose);
    Orm::Lux::Trace::TDFHandler tdf;
    unsigned length = 7;
    const auto seek = [&](const char* name) {
        clearerr(stream.get());
        std::fseek(stream.get(), 4, SEEK_SET);
        return tdf.SeekSectionData(stream.get(), name, 1, length);
    };
    EXPECT_TRUE(seek("a"));
    EXPECT_EQ(length, 100U);
    EXPECT_EQ(std::ftell(stream.get()), 17U);
    EXPECT_FALSE(seek("b")) << "a stream that has failed is not searched";
    EXPECT_EQ(length, 0U) << "a stream that has failed is not searched";
    EXPECT_FALSE(tdf.SeekSectionData(stream.get(), "a", 1, length)) << "a stream that has failed is not searched";
    block.seeks = 3;
    EXPECT_FALSE(seek("a")) << "the data cannot be reached";
    EXPECT_EQ(length, 0U) << "the data cannot be reached";
}

TEST(BadBlock, IsToldFromPiecesAndFromTheEnd) {
    const test::TemporaryFolder folder;
    const std::string header = test::Section("name", 1, "");
    const Orm::Lux::Trace::FilePtr stream = Orm::Lux::Trace::OpenForReading(folder.Write("f", header).c_str());
    for (const ssize_t piece : {1, 5, 0, -1}) {
        g_piece = piece;
        Orm::Lux::Trace::TDFSectionReader reader(stream.get(), 0);
        const bool isFound = reader.Find("name", 1);
        EXPECT_TRUE(piece > 0 ? isFound : reader.Fault().kind == Orm::Lux::Trace::TDFFaultKind::kReadError) << piece;
        char bytes[8] = "~~~~~~~";
        EXPECT_EQ(Orm::Lux::Trace::ReadAt(stream.get(), 0, bytes, 6), piece > 0 ? 6U : 0U);
        EXPECT_EQ(bytes[6], '~') << piece;
        char more[40];
        errno = 0;
        EXPECT_EQ(Orm::Lux::Trace::ReadAt(stream.get(), 0, more, sizeof more), piece > 0 ? 16U : 0U) << piece;
        EXPECT_EQ(errno, piece < 0 ? EIO : 0) << piece;
    }
    g_piece = SSIZE_MAX;
}

// A read that fails is an error of its own: neither the end of the file nor a section that is not in it.
TEST(BadBlock, IsNotAMissingSection) {
    const test::WorkingFolder folder;
    folder.Write("t.tdf", "TDF2" + test::Section("BinTraceData", 1, "12345678"));
    const std::unique_ptr<Orm::Lux::Trace::CChannelDriver, decltype(&DestroyChannelDriver)> driver(
        CreateChannelDriver(), &DestroyChannelDriver);
    const std::string readError = "Read I/O error - section data corrupted.";
    for (const auto& [good, expected] :
         {std::pair(2, std::string()), {0, "Could not open TDF file as specified."}, {1, readError}}) {
        g_goodReads = good;
        Orm::Lux::Trace::TDFHandler tdf;
        unsigned position = 7, length = 7;
        const std::string error =
            test::ErrorOf([&] { tdf.GetSectionDataPosition("t.tdf", "BinTraceData", 1, position, length); });
        g_goodReads = good;
        const std::string loadError = test::ErrorOf([&] { driver->LoadFile("t.tdf", 0, kFileType); });
        g_goodReads = -1;
        EXPECT_EQ(error, expected) << good;
        EXPECT_EQ(loadError, expected) << good;
        EXPECT_EQ(driver->GetNumSamples(), expected.empty() ? 1U : 0U) << good;
    }
    // The data of a section that was found.
    char data[8];
    unsigned bytesRead = 7;
    g_goodReads = 2;
    const auto load = [&] {
        Orm::Lux::Trace::TDFHandler().LoadSectionData("t.tdf", "BinTraceData", 1, data, 8, bytesRead);
    };
    EXPECT_EQ(test::ErrorOf(load), readError);
    EXPECT_EQ(bytesRead, 0U);
    g_goodReads = -1;
    // The last read of a search meets the end of the file: that fails too.
    int good = 0;
    for (std::string error; error != "Section size cannot be located in the file."; ++good) {
        unsigned length = 7;
        g_goodReads = good;
        error =
            test::ErrorOf([&] { Orm::Lux::Trace::TDFHandler().GetSectionDataLengthInBytes("t.tdf", "b", 1, length); });
        g_goodReads = -1;
    }
    EXPECT_EQ(good - 1, 4);
}

// An opening that is interrupted, or finds a lease, is made again; devices refuse with the error of a lease too.
TEST(Opening, IsRepeatedWhereThatCanHelp) {
    const test::WorkingFolder folder;
    folder.Write("f", "x");
    // clang-format off
    const std::tuple<const char*, std::vector<int>, int> rows[] = {
        {"f", {EINTR, EINTR}, 0}, {"f", {EINTR, EWOULDBLOCK, EWOULDBLOCK}, 0}, {"f", {EMFILE}, EMFILE},
        {"/dev/null", {EWOULDBLOCK}, EWOULDBLOCK}, {"gone", {}, ENOENT}};
    // clang-format on
    const int input = dup(0);
    for (const auto& [path, errors, expected] : rows) {
        close(0);  // the number of a standard stream is not taken
        g_openErrors = errors;
        errno = 0;
        const Orm::Lux::Trace::FilePtr stream = Orm::Lux::Trace::OpenForReading(path);
        const int error = errno;
        EXPECT_EQ(stream != nullptr ? 0 : error, expected) << path;
        EXPECT_TRUE((stream == nullptr || fileno(stream.get()) > 2) && fcntl(0, F_GETFD) < 0) << path;
        dup2(input, 0);
    }
    close(input);
}

// Some systems report only then that a write has failed.
TEST(Closing, IsReportedWhereItFails) {
    const test::WorkingFolder folder;
    Orm::Lux::Trace::TDFHandler tdf;
    g_losesDescriptor = true;
    EXPECT_EQ(test::ErrorOf([&] { tdf.CreateTDFFile("t.tdf"); }), "Write error -  TDF file identifier.");
    EXPECT_EQ(test::ErrorOf([&] { tdf.CreateTDFFile("t.tdf"); }), "");
}

// One read of a save fails, each in turn: the error says so, and one of the trace is kept until the next load.
TEST(BadBlock, IsReportedByASaveWhereverItIs) {
    const test::WorkingFolder folder;
    const std::string before = "TDF2" + test::Section("a", 1, "x"), samples(300000, 's');
    folder.Write("p.bin", samples);
    const std::unique_ptr<Orm::Lux::Trace::CChannelDriver, decltype(&DestroyChannelDriver)> driver(
        CreateChannelDriver(), &DestroyChannelDriver);
    int good = 0, ofTrace = 0;
    for (std::string error = "none yet"; !error.empty();) {
        folder.Write("t.tdf", before);
        driver->LoadFile("p.bin", 0, kFileType);
        g_goodReads = good++;
        error = test::ErrorOf([&] { driver->SaveFile("t.tdf", kFileType); });
        g_goodReads = -1;
        const bool isOfTrace = error == kFileError + "\nInput/output error";
        ofTrace += isOfTrace;
        EXPECT_EQ(error.find("damaged"), std::string::npos) << good;
        unsigned long sample = 0;
        unsigned read = 0;
        EXPECT_EQ(test::ErrorOf([&] { driver->SeekReadTraceData(0, 1, &sample, &read); }), isOfTrace ? kFileError : "")
            << good;
        EXPECT_EQ(read, 1U) << good;
        EXPECT_EQ(test::ReadAll("t.tdf").substr(0, before.size()), before) << good;
    }
    EXPECT_EQ(ofTrace, 3U);
    EXPECT_TRUE(test::ReadAll("t.tdf") == before + test::Trace(samples));
}

TEST(ChangingFile, IsReadAsItIsNow) {
    const test::WorkingFolder folder;
    Orm::Lux::Trace::TDFHandler tdf;
    for (const char* name : {"b", "c"}) {
        folder.Write("t.tdf", "TDF2" + test::Section("a", 1, "x"));
        g_ends = 1;  // the first follows the first section, the second is met where its successor would begin
        g_atEnd = [] { std::ofstream("t.tdf", std::ios::app) << test::Section("b", 1, "123"); };
        unsigned length = 7;
        const std::string error = test::ErrorOf([&] { tdf.GetSectionDataLengthInBytes("t.tdf", name, 1, length); });
        EXPECT_EQ(error, *name == 'b' ? "" : "Section size cannot be located in the file.") << name;
        EXPECT_EQ(length, *name == 'b' ? 3U : 0U) << name;
    }
    // A target that loses its name during a save.
    const std::unique_ptr<Orm::Lux::Trace::CChannelDriver, decltype(&DestroyChannelDriver)> driver(
        CreateChannelDriver(), &DestroyChannelDriver);
    driver->LoadFile(folder.Write("p.bin", "12345678"), 0, kFileType);
    for (const char* replaced : {"gone", "other.tdf"}) {
        folder.Write("other.tdf", "TDF2");
        folder.Write("t.tdf", "TDF2");
        g_atEnd = [&] {
            std::filesystem::rename("t.tdf", "gone");
            std::filesystem::rename(replaced, "t.tdf");
        };
        g_ends = 0;
        EXPECT_EQ(test::ErrorOf([&] { driver->SaveFile("t.tdf", kFileType); }),
                  std::string_view(replaced) == "gone" ? "" : "File name passed to save file is not valid.");
    }
}

// What a failed append left is cut off, through an interruption; what cannot be looked at is kept.
TEST(BadBlock, BehindASectionIsNotCutOff) {
    const test::WorkingFolder folder;
    const std::string whole = "TDF2" + test::Section("a", 1, "x"), left(40, '\0');
    const std::string followed = "Section to save data to is followed by another section.";
    const std::tuple<int, std::vector<int>, std::string, std::string> rows[] = {
        {0, {}, "Write I/O error - unable to determine section length.", whole + left},
        {1, {}, followed, whole + left},
        {3, {}, followed, whole + left},
        {-1, {EINTR, EINTR}, "", "TDF2" + test::Section("a", 1, "xd")},
        {-1, {EIO}, "Write error - section data corrupted.", whole + "d" + left.substr(1)}};
    for (const auto& [good, cutErrors, expected, bytes] : rows) {
        folder.Write("t.tdf", whole + left);
        unsigned length = 7;
        char data = 'd';
        g_goodReads = good;
        g_cutErrors = cutErrors;
        const std::string error =
            test::ErrorOf([&] { Orm::Lux::Trace::TDFHandler().SaveSectionData("t.tdf", "a", 4, &data, 1, 1, length); });
        g_goodReads = -1;
        EXPECT_EQ(error, expected) << good;
        EXPECT_TRUE(test::ReadAll("t.tdf") == bytes) << good;
    }
}

}  // namespace
