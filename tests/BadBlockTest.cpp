// Files that cannot be read throughout. Whatever the library opens gives the bytes of a stand-in.
#include <dlfcn.h>
#include <limits.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <functional>
#include <memory>

#include "driver/CChannelDriver.h"
#include "support/BadBlock.h"
#include "support/Files.h"
#include "tdf/OpenFile.h"
#include "tdf/TDFHandler.h"
#include "tdf/TDFSectionReader.h"

namespace {
test::BadBlock* g_standIn = nullptr;
ssize_t g_piece = SSIZE_MAX;  // that the system reads at most at once; negative: it fails
std::function<void()> g_duringRead;
int g_goodReads = -1;          // that succeed before all fail; negative: no limit
bool g_isInterrupted = false;  // the next call is, and every other one
}  // namespace

extern "C" std::FILE* fdopen(int descriptor, const char* mode) noexcept {
    static const auto real = reinterpret_cast<std::FILE* (*)(int, const char*)>(dlsym(RTLD_NEXT, "fdopen"));
    if (g_standIn == nullptr) return real(descriptor, mode);
    close(descriptor);
    return g_standIn->Open();
}

extern "C" ssize_t pread(int descriptor, void* buffer, std::size_t size, off_t offset) {
    if (g_duringRead) g_duringRead();
    if (g_piece < 0 || g_goodReads == 0) return errno = EIO, -1;
    if (g_goodReads > 0) --g_goodReads;
    if (g_piece != SSIZE_MAX && (g_isInterrupted = !g_isInterrupted)) return errno = EINTR, -1;
    return syscall(SYS_pread64, descriptor, buffer, std::min(size, static_cast<std::size_t>(g_piece)), offset);
}

namespace {

using test::Expect;

struct StandIn {
    explicit StandIn(test::BadBlock& block) { g_standIn = &block; }
    ~StandIn() { g_standIn = nullptr; }
};

constexpr auto kType = Orm::Lux::Trace::eTraceDataFileType{};
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
        driver->LoadFile(trace, 0, kType);
    };
    load();
    unsigned long page[300];
    unsigned read = 0;
    const auto readAt = [&](unsigned start, unsigned count) {
        return test::ErrorOf([&] { driver->SeekReadTraceData(start, count, page, &read); });
    };
    Expect({readAt(300, 100), read}, ", 100", "behind the bad block");
    Expect({readAt(0, 300), read}, kFileError + ", 200", "what could be read is delivered");
    Expect({readAt(300, 100), read}, kFileError + ", 100", "until the file is loaded again");
    const auto save = [&] { return test::ErrorOf([&] { driver->SaveFile("t.tdf", kType); }); };
    Expect({save(), std::filesystem::file_size("t.tdf")}, kFileError + "\nInput/output error, 4", "not begun");
    load();
    Expect({save(), std::filesystem::file_size("t.tdf")}, kFileError + "\nInput/output error, 28");
    load();
    block.seeks = 0;
    Expect({save(), std::filesystem::file_size("t.tdf")}, kFileError + "\nInput/output error, 28", "not begun");
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
    Expect({seek("a"), length, std::ftell(stream.get())}, "true, 100, 17");
    Expect({seek("b"), length, tdf.SeekSectionData(stream.get(), "a", 1, length)}, "false, 0, false",
           "a stream that has failed is not searched");
    block.seeks = 3;
    Expect({seek("a"), length}, "false, 0", "the data cannot be reached");
}

TEST(BadBlock, IsToldFromPiecesAndFromTheEnd) {
    const test::TemporaryFolder folder;
    const std::string header = test::Section("name", 1, "");
    const Orm::Lux::Trace::FilePtr stream = Orm::Lux::Trace::OpenForReading(folder.Write("f", header).c_str());
    for (const ssize_t piece : {1, 5, -1}) {
        g_piece = piece;
        Orm::Lux::Trace::TDFSectionReader reader(stream.get(), 0);
        const bool isFound = reader.Find("name", 1);
        EXPECT_TRUE(piece > 0 ? isFound : reader.Damage().fault == Orm::Lux::Trace::TDFFault::kReadError) << piece;
        char bytes[8] = "~~~~~~~";
        EXPECT_EQ(Orm::Lux::Trace::ReadAt(stream.get(), bytes, 6, 0), piece > 0 ? 6U : 0U);
        EXPECT_EQ(bytes[6], '~') << piece;
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
         {std::pair(0, std::string("Could not open TDF file as specified.")), {1, readError}, {2, std::string()}}) {
        g_goodReads = good;
        Orm::Lux::Trace::TDFHandler tdf;
        unsigned position = 7, length = 7;
        const std::string error =
            test::ErrorOf([&] { tdf.GetSectionDataPosition("t.tdf", "BinTraceData", 1, position, length); });
        g_goodReads = good;
        const std::string loadError = test::ErrorOf([&] { driver->LoadFile("t.tdf", 0, kType); });
        g_goodReads = -1;
        Expect({error, loadError, driver->GetNumSamples()},
               expected + ", " + expected + (expected.empty() ? ", 1" : ", 0"), good);
    }
    g_goodReads = 2;
    char data[8];
    unsigned read = 7;
    const auto call = [&] { Orm::Lux::Trace::TDFHandler().LoadSectionData("t.tdf", "BinTraceData", 1, data, 8, read); };
    Expect({test::ErrorOf(call), read}, readError + ", 0");
    g_goodReads = -1;
}

// A target that loses its name during the save takes the section with it.
TEST(BadBlock, OrAnotherTargetIsReported) {
    const test::WorkingFolder folder;
    const std::unique_ptr<Orm::Lux::Trace::CChannelDriver, decltype(&DestroyChannelDriver)> driver(
        CreateChannelDriver(), &DestroyChannelDriver);
    driver->LoadFile(folder.Write("p.bin", "12345678"), 0, kType);
    for (const bool isReplaced : {false, true}) {
        folder.Write("t.tdf", "TDF2");
        folder.Write("other", "TDF2");
        g_duringRead = [isReplaced] { isReplaced ? rename("other", "t.tdf") : unlink("t.tdf"); };
        const std::string error = test::ErrorOf([&] { driver->SaveFile("t.tdf", kType); });
        g_duringRead = nullptr;
        Expect({error, test::ReadAll("t.tdf")},
               std::string("File name passed to save file is not valid., ") + (isReplaced ? "TDF2" : ""), isReplaced);
    }
}

TEST(BadBlock, BehindASectionMayHoldAnother) {
    const test::WorkingFolder folder;
    folder.Write("t.tdf", "");
    test::BadBlock block{"TDF2" + test::Section("a", 1, "x") + std::string(600, 'y'), 4 + 14};
    const StandIn standIn(block);
    unsigned length = 7;
    char data = 'd';
    Expect({test::ErrorOf([&] { Orm::Lux::Trace::TDFHandler().SaveSectionData("t.tdf", "a", 4, &data, 1, 1, length); }),
            length},
           "Section to save data to is followed by another section., 0");
}

}  // namespace
