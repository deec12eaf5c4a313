// Files that take the place of others.
#include "capture/ReplacementFile.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "capture/Error.h"
#include "support/Files.h"
#include "support/Process.h"

static bool g_isDiskBad = false;
// When set, others write to a new file as to the standard stream whose number it has, no file changes its owner, and the
// file system has no locks.
static bool g_isDisturbed = false;

extern "C" int mkostemps(char* path, int endingLength, int flags) {
    static const auto real = reinterpret_cast<int (*)(char*, int, int)>(dlsym(RTLD_NEXT, "mkostemps"));
    const int file = real(path, endingLength, flags);
    if (g_isDisturbed && file >= 0 && file <= STDERR_FILENO && write(file, "stray", 5) != 5) std::abort();
    return file;
}

extern "C" int fchown(int descriptor, uid_t owner, gid_t group) noexcept {
    static const auto real = reinterpret_cast<int (*)(int, uid_t, gid_t)>(dlsym(RTLD_NEXT, "fchown"));
    return g_isDisturbed ? -1 : real(descriptor, owner, group);
}

extern "C" int flock(int descriptor, int operation) noexcept {
    static const auto real = reinterpret_cast<int (*)(int, int)>(dlsym(RTLD_NEXT, "flock"));
    return g_isDisturbed ? errno = ENOLCK, -1 : real(descriptor, operation);
}

extern "C" int fsync(int descriptor) {
    static const auto real = reinterpret_cast<int (*)(int)>(dlsym(RTLD_NEXT, "fsync"));
    return g_isDiskBad ? errno = EIO, -1 : real(descriptor);
}

namespace {

using orm_trace::ReplacementFile;

TEST(ReplacementFile, HasTheModeOfWhatItReplaces) {
    const test::TemporaryFolder folder;
    for (const mode_t mode : {0600U, 0644U, 0777U, 04755U, 02711U}) {
        for (const bool keepsOwner : {true, false}) {
            chmod(folder.Write("t.tdf", "before").c_str(), mode);
            g_isDisturbed = !keepsOwner;
            ReplacementFile file(folder / "t.tdf", true, "");
            file.Publish();
            g_isDisturbed = false;
            struct stat status {};
            stat((folder / "t.tdf").c_str(), &status);
            EXPECT_EQ(status.st_mode & 07777, keepsOwner ? mode : mode & 0777) << mode;
            EXPECT_EQ(test::ReadAll(folder / "t.tdf").substr(0, 4), "TDF2");
        }
    }
}

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
    struct stat status {};
    EXPECT_TRUE(stat(file.Path().c_str(), &status) == 0 && (status.st_mode & 0777) == 0600)
        << "nobody else may read it";
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
                struct stat status {};
                fstat(fileno(file.get()), &status);
                return isAsItWas && fileno(file.get()) > STDERR_FILENO && status.st_size == 0 && ftell(file.get()) == 0;
            })) << closed.size()
                << hasOthers;
            EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
        }
    }
}

}  // namespace
