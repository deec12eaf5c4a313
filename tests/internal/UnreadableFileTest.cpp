// Files that cannot be read throughout, or change while they are read. Whatever the library opens gives the bytes of a
// stand-in, where there is one.
#include <dlfcn.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/syscall.h>

#include <cstdarg>
#include <functional>
#include <utility>

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

using namespace Orm::Lux::Trace;
using test::ErrorOf;
using test::Section;

constexpr auto kFileType = eTraceDataFileType{};
const std::string kFileError = "Talvora file channel driver: File I/O error reading trace file.";
const std::string kNoSection = "Section size cannot be located in the file.";
const std::string kSaveError = kFileError + "\nInput/output error";

// Returns: the text of the error that call throws when so many reads succeed before all fail.
template <class Call> std::string ErrorAfter(int goodReads, Call call) {
    g_goodReads = goodReads;
    const std::string error = ErrorOf(call);
    g_goodReads = -1;
    return error;
}

struct UnreadableFile : testing::Test {
    // Returns: how many samples are read, and the text of the error thrown.
    std::string Read(unsigned start, unsigned count) {
        unsigned long samples[300];
        unsigned read = 7;
        const std::string error = ErrorOf([&] { m_driver->SeekReadTraceData(start, count, samples, &read); });
        return std::to_string(read) + error;
    }
    void FindLength(const char* name) { m_tdf.GetSectionDataLengthInBytes("t.tdf", name, 1, m_length = 7); }
    void Save() { m_driver->SaveFile("t.tdf", kFileType); }

    test::WorkingFolder m_folder;
    TDFHandler m_tdf;
    std::unique_ptr<CChannelDriver, void (*)(CChannelDriver*)> m_driver{CreateChannelDriver(), &DestroyChannelDriver};
    unsigned m_length = 7;
};

TEST_F(UnreadableFile, IsReportedByTheDriver) {
    m_folder.Write("t.tdf", "TDF2");
    m_folder.Write("p.bin", std::string(4000, 's'));
    test::BadBlock block{std::string(4000, 's'), 1600};
    const auto load = [&] {
        g_standIn = &block;
        m_driver->LoadFile("p.bin", 0, kFileType);
        g_standIn = nullptr;
    };
    load();
    EXPECT_EQ(Read(300, 100), "100") << "after the bad block";
    EXPECT_EQ(Read(0, 300), "200" + kFileError) << "what could be read is delivered";
    EXPECT_EQ(Read(300, 100), "100" + kFileError) << "until the file is loaded again";
    EXPECT_EQ(ErrorOf([&] { Save(); }), kSaveError) << "not begun";
    EXPECT_EQ(std::filesystem::file_size("t.tdf"), 4U) << "not begun";
    m_driver->LoadFile("p.bin", 0, kFileType);
    for (const unsigned start : {200U, 0U}) {
        g_piece = 800;
        g_goodReads = 2;  // one of them interrupted
        EXPECT_EQ(Read(start, 300), "300") << "what fails by position is tried again";
        g_piece = SSIZE_MAX;
        g_goodReads = -1;
    }
    load();
    EXPECT_EQ(ErrorOf([&] { Save(); }), kSaveError);
    EXPECT_EQ(std::filesystem::file_size("t.tdf"), 28U);
}

TEST_F(UnreadableFile, EndsASearch) {
    const std::string file = "TDF2" + Section("a", 1, std::string(100, 'x')) + Section("b", 1, "data");
    test::BadBlock block{file, 4 + 113};
    const FilePtr stream(block.Open());
    const auto seek = [&](const char* name) {
        clearerr(stream.get());
        std::fseek(stream.get(), 4, SEEK_SET);
        return m_tdf.SeekSectionData(stream.get(), name, 1, m_length);
    };
    EXPECT_TRUE(seek("a"));
    EXPECT_EQ(m_length, 100U);
    EXPECT_EQ(std::ftell(stream.get()), 17U);
    EXPECT_FALSE(seek("b"));
    EXPECT_EQ(m_length, 0U);
    EXPECT_FALSE(m_tdf.SeekSectionData(stream.get(), "a", 1, m_length)) << "a stream that has failed is not searched";
    block.seeks = 3;
    EXPECT_TRUE(!seek("a") && m_length == 0) << "the data cannot be reached";
}

TEST_F(UnreadableFile, IsToldFromPiecesAndFromTheEnd) {
    const FilePtr stream = OpenForReading(m_folder.Write("f", Section("name", 1, "")).c_str());
    for (const ssize_t piece : {1, 5, 0, -1}) {
        g_piece = piece;
        TDFSectionReader reader(stream.get(), 0);
        const bool isFound = reader.Find("name", 1);
        EXPECT_TRUE(piece > 0 ? isFound : reader.Fault().kind == TDFFaultKind::kReadError) << piece;
        char bytes[40] = "~~~~~~~";
        EXPECT_EQ(ReadAt(stream.get(), 0, bytes, 6), piece > 0 ? 6U : 0U);
        EXPECT_EQ(bytes[6], '~') << piece;
        errno = 0;
        EXPECT_EQ(ReadAt(stream.get(), 0, bytes, sizeof bytes), piece > 0 ? 16U : 0U) << piece;
        EXPECT_EQ(errno, piece < 0 ? EIO : 0) << piece;
    }
    g_piece = SSIZE_MAX;
}

// A read that fails is an error of its own: neither the end of the file nor a section that is not in it.
TEST_F(UnreadableFile, IsNotAMissingSection) {
    m_folder.Write("t.tdf", "TDF2" + test::Trace("12345678"));
    const std::string readError = "Read I/O error - section data corrupted.";
    for (const auto& [good, expected] :
         {std::pair(2, std::string()), {0, "Could not open TDF file as specified."}, {1, readError}}) {
        unsigned position = 7;
        const auto find = [&] { m_tdf.GetSectionDataPosition("t.tdf", "BinTraceData", 1, position, m_length); };
        EXPECT_EQ(ErrorAfter(good, find), expected) << good;
        EXPECT_EQ(ErrorAfter(good, [&] { m_driver->LoadFile("t.tdf", 0, kFileType); }), expected) << good;
        EXPECT_EQ(m_driver->GetNumSamples(), expected.empty() ? 1U : 0U) << good;
    }
    // The data of a section that was found.
    char data[8];
    const auto load = [&] { m_tdf.LoadSectionData("t.tdf", "BinTraceData", 1, data, 8, m_length = 7); };
    EXPECT_EQ(ErrorAfter(2, load), readError);
    EXPECT_EQ(m_length, 0U);
    // The last read of a search meets the end of the file: that fails too.
    for (int good = 0; good <= 4; ++good) {
        EXPECT_EQ(ErrorAfter(good, [&] { FindLength("b"); }) == kNoSection, good == 4) << good;
    }
}

// An opening that is interrupted, or finds a lease, is made again; devices refuse with the error of a lease too.
TEST_F(UnreadableFile, IsOpenedAgainWhereThatCanHelp) {
    m_folder.Write("f", "x");
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
        const FilePtr stream = OpenForReading(path);
        const int error = errno;
        EXPECT_EQ(stream != nullptr ? 0 : error, expected) << path;
        EXPECT_TRUE((stream == nullptr || fileno(stream.get()) > 2) && fcntl(0, F_GETFD) < 0) << path;
        dup2(input, 0);
    }
    close(input);
}

// Some systems report only when a file is closed that a write has failed.
TEST_F(UnreadableFile, IsReportedWhenItIsClosed) {
    g_losesDescriptor = true;
    EXPECT_EQ(ErrorOf([&] { m_tdf.CreateTDFFile("t.tdf"); }), "Write error -  TDF file identifier.");
    EXPECT_EQ(ErrorOf([&] { m_tdf.CreateTDFFile("t.tdf"); }), "");
}

// One read of a save fails, each in turn: the error says so, and one of the trace is kept until the next load.
TEST_F(UnreadableFile, IsReportedByASaveWhereverItIs) {
    const std::string before = "TDF2" + Section("a", 1, "x"), samples(300000, 's');
    m_folder.Write("p.bin", samples);
    int good = 0, ofTrace = 0;
    for (std::string error = "none yet"; !error.empty(); ++good) {
        m_folder.Write("t.tdf", before);
        m_driver->LoadFile("p.bin", 0, kFileType);
        error = ErrorAfter(good, [&] { Save(); });
        const bool isOfTrace = error == kSaveError;
        ofTrace += isOfTrace;
        EXPECT_EQ(error.find("damaged"), std::string::npos) << good;
        EXPECT_EQ(Read(0, 1), "1" + (isOfTrace ? kFileError : "")) << good;
        EXPECT_EQ(test::ReadAll("t.tdf").substr(0, before.size()), before) << good;
    }
    EXPECT_EQ(ofTrace, 3U);
    EXPECT_TRUE(test::ReadAll("t.tdf") == before + test::Trace(samples));
}

TEST_F(UnreadableFile, IsReadAsItIsNow) {
    for (const char* name : {"b", "c"}) {
        m_folder.Write("t.tdf", "TDF2" + Section("a", 1, "x"));
        g_ends = 1;  // the first follows the first section, the second is met where its successor would begin
        g_atEnd = [] { std::ofstream("t.tdf", std::ios::app) << Section("b", 1, "123"); };
        EXPECT_EQ(ErrorOf([&] { FindLength(name); }), *name == 'b' ? "" : kNoSection) << name;
        EXPECT_EQ(m_length, *name == 'b' ? 3U : 0U) << name;
    }
    // A target that loses its name during a save.
    m_driver->LoadFile(m_folder.Write("p.bin", "12345678"), 0, kFileType);
    for (const std::string replaced : {"gone", "other.tdf"}) {
        m_folder.Write("other.tdf", "TDF2");
        m_folder.Write("t.tdf", "TDF2");
        g_atEnd = [&] {
            std::filesystem::rename("t.tdf", "gone");
            std::filesystem::rename(replaced, "t.tdf");
        };
        g_ends = 0;
        EXPECT_EQ(ErrorOf([&] { Save(); }), replaced == "gone" ? "" : "File name passed to save file is not valid.");
    }
}

// What a failed append left is cut off, through an interruption; what cannot be looked at is kept.
TEST_F(UnreadableFile, IsNotCutOffAfterASection) {
    const std::string whole = "TDF2" + Section("a", 1, "x"), left(40, '\0');
    const std::string followed = "Section to save data to is followed by another section.";
    const std::tuple<int, std::vector<int>, std::string, std::string> rows[] = {
        {0, {}, "Write I/O error - unable to determine section length.", whole + left},
        {1, {}, followed, whole + left},
        {3, {}, followed, whole + left},
        {-1, {EINTR, EINTR}, "", "TDF2" + Section("a", 1, "xd")},
        {-1, {EIO}, "Write error - section data corrupted.", whole + "d" + left.substr(1)}};
    for (const auto& [good, cutErrors, expected, bytes] : rows) {
        m_folder.Write("t.tdf", whole + left);
        char data = 'd';
        g_cutErrors = cutErrors;
        const auto save = [&] { m_tdf.SaveSectionData("t.tdf", "a", 4, &data, 1, 1, m_length); };
        EXPECT_EQ(ErrorAfter(good, save), expected) << good;
        EXPECT_TRUE(test::ReadAll("t.tdf") == bytes) << good;
    }
}

}  // namespace
