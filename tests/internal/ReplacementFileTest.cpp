// Files that take the place of others.
#include "capture/ReplacementFile.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>

#include "capture/Error.h"
#include "support/Process.h"

static bool g_isDiskBad = false;
// When set, others write to a new file as to the standard stream whose number it has.
static bool g_isDisturbed = false;

extern "C" int mkostemps(char* path, int endingLength, int flags) {
    static const auto real = reinterpret_cast<int (*)(char*, int, int)>(dlsym(RTLD_NEXT, "mkostemps"));
    const int file = real(path, endingLength, flags);
    if (g_isDisturbed && file >= 0 && file <= STDERR_FILENO && write(file, "stray", 5) != 5) std::abort();
    return file;
}

extern "C" int fsync(int descriptor) {
    return g_isDiskBad ? errno = EIO, -1 : static_cast<int>(syscall(SYS_fsync, descriptor));
}

namespace {

using orm_trace::ReplacementFile;

TEST(ReplacementFile, ReplacesNothingThatIsNotOnTheDisk) {
    const test::TemporaryFolder folder;
    folder.Write("t.tdf", "before");
    ReplacementFile file(folder / "t.tdf", true, "");
    g_isDiskBad = true;
    EXPECT_EQ(test::ErrorOf<orm_trace::Error>([&] { file.Publish(); }), std::strerror(EIO));
    g_isDiskBad = false;
    EXPECT_EQ(test::ReadAll(folder / "t.tdf"), "before");
}

TEST(ReplacementFile, HasNoNameBeforeItIsComplete) {
    const test::TemporaryFolder folder;
    const int nameless = open(folder.Path().c_str(), O_TMPFILE | O_RDWR, 0600);
    if (nameless < 0) GTEST_SKIP() << "this file system has no nameless files";
    close(nameless);
    ReplacementFile file(folder / "t.tdf", false, "exists");
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
    EXPECT_EQ(std::filesystem::status(file.Path()).permissions(), std::filesystem::perms{0600});
    file.Publish();
    EXPECT_EQ(test::ReadAll(folder / "t.tdf"), "TDF2");
}

TEST(TemporaryName, IsNoStandardStream) {
    const test::TemporaryFolder folder;
    const std::vector<int> rows[] = {{0}, {1}, {2}, {0, 1}, {0, 1, 2}};
    for (const auto& closed : rows) {
        for (const bool hasOthers : {true, false}) {
            EXPECT_TRUE(test::HoldsInChild([&, &numbers = closed] {
                for (const int number : numbers) close(number);
                const rlimit none{3, 3};
                if (!hasOthers) setrlimit(RLIMIT_NOFILE, &none);
                g_isDisturbed = true;
                orm_trace::TemporaryName name(folder / "n.XXXXXX.tdf", 4);
                const auto file = name.TakeFile();
                const bool isAsItWas = std::all_of(numbers.begin(), numbers.end(),
                                                   [](int number) { return fcntl(number, F_GETFD) == -1; });
                if (!hasOthers) return isAsItWas && file == nullptr;
                const bool isEmpty = std::filesystem::file_size(name.Path()) == 0 && ftell(file.get()) == 0;
                return isAsItWas && fileno(file.get()) > STDERR_FILENO && isEmpty;
            })) << closed.size()
                << hasOthers;
            EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
        }
    }
}

}  // namespace
