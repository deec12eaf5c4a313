// Captures that change between two looks at them: each is answered for as it is now, or refused.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/syscall.h>

#include <cerrno>

#include "capture/ChainScan.h"
#include "capture/Duplicates.h"
#include "capture/Error.h"
#include "capture/SectionCopy.h"
#include "capture/SectionPairs.h"
#include "capture/SectionWalk.h"
#include "capture/TargetLock.h"
#include "support/Files.h"

namespace {
bool g_isHurried = false;  // nobody sleeps
}  // namespace

extern "C" int nanosleep(const timespec* time, timespec* left) {
    return g_isHurried ? 0 : static_cast<int>(syscall(SYS_nanosleep, time, left));
}

namespace {

using orm_trace::InputFile;
using orm_trace::SectionPairs;
using orm_trace::TargetLock;
using test::Section;

// Writes bytes into the file, which keeps its other ones.
void Overwrite(const std::string& path, std::size_t at, std::string_view bytes) {
    std::fstream(path, std::ios::in | std::ios::out | std::ios::binary).seekp(static_cast<long>(at)) << bytes;
}

struct ChangingCapture : testing::Test {
    // Returns: the pairs, as a name and in which files it is, and the file that was changed, if any.
    std::string PairsOf(const SectionPairs& pairs) const {
        std::string text;
        try {
            pairs.Visit([&](const SectionPairs::Pair& pair) {
                ((text += pair.name) += pair.a ? "a" : "") += pair.b ? "b " : " ";
            });
        } catch (const orm_trace::Error& error) {
            EXPECT_EQ(error.Kind(), orm_trace::ErrorKind::kChanged);
            text += error.Subject().substr(m_folder.Path().size() + 1) + " changed";
        }
        return text;
    }

    test::TemporaryFolder m_folder;
};

// The order of the hashes is random, so that each name is also looked for where it comes last.
TEST_F(ChangingCapture, IsNotPairedWithWhatItWas) {
    const std::string x = Section("x", 1, "12"), y = Section("y", 1, "34"), z = Section("z", 1, "5"),
                      x2 = Section("x", 2, "");
    // The sections of both files, the file that has others by the time of the visit, and the pairs.
    const std::tuple<std::string, std::string, std::string, std::string, std::string> rows[] = {
        {"", x + y, "b", x + y, "xb yb "},
        {x + y, x + x + y + y, "a", x + y, "xab yab xb yb "},
        {x + x + y + y, y + x, "b", y + x, "xab xa yab ya "},
        {x + x2, x2 + x2 + y, "a", x + x2, "xa xab xb yb "},
        {x + y, y + z, "a", x + y, "xa yab zb "},
        {x + y, y + z, "a", x + y + z, "xa yab a changed"},
        {x + y, y + z, "a", Section("x", 1, "1") + Section("y", 1, "345"), "xa a changed"},
        {x + y, y + z, "a", Section("x", 1, "12" + y), "xa a changed"},
        {x + y, y + z, "b", y + z + x, "xa yab zb "},
        {x + y, y + z, "b", Section("y", 1, "34" + z), "xa yab b changed"}};
    for (const auto& [inA, inB, changed, sections, expected] : rows) {
        const InputFile a(m_folder.Write("a", "TDF2" + inA)), b(m_folder.Write("b", "TDF2" + inB));
        const SectionPairs pairs(a, b, [](const auto&) { return true; });
        m_folder.Write(changed, "TDF2" + sections);
        EXPECT_EQ(PairsOf(pairs), expected) << sections;
    }
}

TEST_F(ChangingCapture, HasTheDataThatWasAppended) {
    const std::string path = m_folder.Write("t", "TDF2" + Section("first", 1, "1"));
    const InputFile file(path);
    std::ofstream(path, std::ios::app) << Section("second", 1, "23") << Section("cut", 1, "456", 99);
    orm_trace::SectionWalk walk(file);
    EXPECT_TRUE(walk.Next() && walk.DataAvailable() == 1);
    EXPECT_TRUE(walk.Next() && walk.DataAvailable() == 2);
    EXPECT_TRUE(walk.Next() && walk.DataAvailable() == 3);
}

TEST_F(ChangingCapture, HasPairsOfTheNamesThatItHasNow) {
    const std::string y = Section("y", 1, "12");
    const std::string path = m_folder.Write("a", "TDF2" + y + y + y);
    const InputFile a(path), b(m_folder.Write("b", "TDF2" + y + y + y));
    const SectionPairs pairs(a, b, [&, seen = 0](const auto&) mutable {
        if (++seen == 4) Overwrite(path, 4 + 12, "x");  // when the sections of b are looked at
        return true;
    });
    EXPECT_EQ(PairsOf(pairs), "xa yab yab yb ");
}

TEST_F(ChangingCapture, HasDuplicatesOfTheNamesThatItHasNow) {
    const std::string y = Section("y", 1, ""), path = m_folder.Write("a", "TDF2" + y + y + y);
    const InputFile file(path);
    orm_trace::Duplicates duplicates(file, 0, 1);
    orm_trace::SectionWalk walk(file);
    for (const auto& first : std::vector<std::optional<std::uint32_t>>{std::nullopt, 4, std::nullopt}) {
        ASSERT_TRUE(walk.Next());
        if (walk.Index() == 2) Overwrite(path, 4 + 12, "x");
        EXPECT_EQ(duplicates.Find(walk.Section()), first) << walk.Index();
    }
}

TEST_F(ChangingCapture, HasNoSectionWhoseNameIsCut) {
    const std::string bytes = "TDF2" + Section("x", 1, "12") + Section("name", 1, "");
    for (const std::size_t missing : {0U, 1U, 4U, 5U}) {
        const std::string path = m_folder.Write("a", bytes);
        const InputFile file(path);
        std::filesystem::resize_file(path, bytes.size() - missing);
        for (const std::size_t trusted : {std::size_t{0}, bytes.size()}) {
            const auto chain = orm_trace::FindChainToEnd(file, 5, trusted);
            EXPECT_EQ(chain, missing == 0 ? std::optional<std::uint64_t>(19) : std::nullopt)
                << missing << ' ' << trusted;
        }
    }
}

TEST_F(ChangingCapture, IsLockedUnderTheNameThatItHas) {
    std::filesystem::create_directory(m_folder / "folder");
    const std::string path = m_folder.Write("folder/t", "old");
    const int held = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(held, LOCK_EX), 0);
    // Nobody else ends its work.
    int waits = 0;
    g_isHurried = true;
    EXPECT_EQ(
        test::ErrorOf<orm_trace::Error>([&] { TargetLock(path, TargetLock::Purpose::kAppending, [&] { ++waits; }); }),
        "is being written by another process");
    g_isHurried = false;
    EXPECT_EQ(waits, 1500);
    close(held);
    const TargetLock lock(path, TargetLock::Purpose::kReplacing);
    EXPECT_TRUE(lock.HasName());
    std::filesystem::rename(path, m_folder / "folder/elsewhere");
    EXPECT_FALSE(lock.HasName());
    m_folder.Write("folder/t", "another");
    EXPECT_FALSE(lock.HasName());
    std::filesystem::rename(m_folder / "folder", m_folder / "renamed");
    m_folder.Write("folder", "");
    EXPECT_EQ(test::ErrorOf<orm_trace::Error>([&] { lock.HasName(); }), std::strerror(ENOTDIR));
}

TEST_F(ChangingCapture, IsNotTakenForWhatWasCopied) {
    const InputFile from(m_folder.Write("from", "TDF2"));
    for (const bool isChanged : {false, true}) {
        const std::string path = m_folder.Write("t", "");
        orm_trace::SectionCopy copy(from, path, "name", {});
        copy.AddNew("a", 1, "12");
        copy.AddNew("b", 1, std::string(1 << 20, 'b'));
        // The first section now ends where the second one does.
        if (isChanged) Overwrite(path, 4, test::Le(13 + 2 + 13 + (1 << 20), 4));
        EXPECT_EQ(test::ErrorOf<orm_trace::Error>([&] { copy.Verify(); }),
                  isChanged ? "does not contain what was written" : "");
    }
}

}  // namespace
