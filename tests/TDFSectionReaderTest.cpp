// The walk over a section chain, from memory.
#include "tdf/TDFSectionReader.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "support/Files.h"
#include "tdf/OpenFile.h"

namespace {

using namespace Orm::Lux::Trace;
using test::Le32;
using test::Section;

struct Walked {
    std::vector<TDFSection> sections;
    std::vector<std::string> names;
    TDFSectionReader::Step last{};
    TDFDamage damage;
};

Walked Walk(const std::string& file, std::uint64_t start = 0) {
    // An exact copy, so that a read beyond it is seen.
    const std::vector<char> bytes(file.begin(), file.end());
    const FilePtr stream(fmemopen(const_cast<char*>(bytes.data()), bytes.size(), "rb"));
    TDFSectionReader reader(stream.get(), start);
    Walked walked;
    while ((walked.last = reader.Next()) == TDFSectionReader::Step::kSection) {
        walked.sections.push_back(reader.Section());
        walked.names.emplace_back(reader.Section().name);
    }
    EXPECT_EQ(reader.Next(), walked.last) << "an end is final";
    walked.damage = reader.Damage();
    return walked;
}

struct DamageRow {
    const char* label;
    std::string file;
    std::size_t sections;
    TDFFault fault;
    std::uint64_t offset;
    std::uint64_t claimed;
    std::uint64_t available;
};

class WalkDamage : public testing::TestWithParam<DamageRow> {};

TEST_P(WalkDamage, IsReported) {
    const DamageRow& row = GetParam();
    const Walked walked = Walk(row.file);
    EXPECT_EQ(walked.sections.size(), row.sections);
    const auto end = row.fault == TDFFault::kNone ? TDFSectionReader::Step::kEnd : TDFSectionReader::Step::kDamage;
    EXPECT_EQ(walked.last, end);
    EXPECT_EQ(walked.damage.fault, row.fault);
    EXPECT_EQ(walked.damage.offset, row.offset);
    EXPECT_EQ(walked.damage.claimed, row.claimed);
    EXPECT_EQ(walked.damage.available, row.available);
}

const std::string kFirst = Section("first", 1, "0123");  // 21 bytes
const std::string kLongName(4095, 'n');
constexpr std::uint32_t kLimit = 134217728;

INSTANTIATE_TEST_SUITE_P(
    Files, WalkDamage,
    testing::Values(
        DamageRow{"one", kFirst, 1, TDFFault::kNone, 0, 0, 0},
        DamageRow{"nameless", Section("", 9, "") + kFirst, 2, TDFFault::kNone, 0, 0, 0},
        DamageRow{"longest_name", kFirst + Section(kLongName, 1, "d") + kFirst, 3, TDFFault::kNone, 0, 0, 0},
        DamageRow{"name_too_long", kFirst + Section(kLongName + "n", 1, ""), 1, TDFFault::kNameTooLong, 21, 4096, 4095},
        DamageRow{"length_at_limit", kFirst + Section("a", 1, "", kLimit), 2, TDFFault::kDataCut, 21, kLimit, 13},
        DamageRow{"length_beyond", kFirst + Section("a", 1, "", kLimit + 1), 1, TDFFault::kLengthTooLong, 21,
                  kLimit + 1, kLimit},
        DamageRow{"length_0", kFirst + Section("a", 1, "", 0), 1, TDFFault::kLengthTooShort, 21, 0, 13},
        DamageRow{"length_12", kFirst + Section("a", 1, "", 12), 1, TDFFault::kLengthTooShort, 21, 12, 13},
        DamageRow{"length_13", kFirst + Section("a", 1, "", 13), 2, TDFFault::kNone, 0, 0, 0},
        DamageRow{"data_cut", kFirst.substr(0, 20), 1, TDFFault::kDataCut, 0, 21, 20},
        DamageRow{"data_cut_wholly", kFirst + Section("a", 1, std::string(9000, 'x')).substr(0, 13), 2,
                  TDFFault::kDataCut, 21, 9013, 13},
        DamageRow{"fixed_header_cut", kFirst + kFirst.substr(0, 11), 1, TDFFault::kHeaderCut, 21, 12, 11},
        DamageRow{"name_cut", kFirst + kFirst.substr(0, 16), 1, TDFFault::kHeaderCut, 21, 17, 16}),
    [](const auto& row) { return std::string(row.param.label); });

TEST(Walk, CrossesTheFormatsEndNowhere) {
    // The chain begins near 4 GiB: a start position stands in for a file of that size.
    const test::TemporaryFolder folder;
    const std::uint64_t start = 0xFFFFFFFFULL - 21;
    for (const std::uint64_t shift : {0U, 1U, 30U}) {
        const std::string path = folder.WriteSparse("big", "", start + shift);
        std::ofstream(path, std::ios::binary | std::ios::app) << kFirst;
        const FilePtr stream = OpenForReading(path.c_str());
        ASSERT_EQ(fseeko(stream.get(), static_cast<off_t>(start + shift), SEEK_SET), 0);
        TDFSectionReader reader(stream.get(), start + shift);
        EXPECT_EQ(reader.Find("first", 1), shift == 0) << shift;
        EXPECT_EQ(reader.Damage().fault, shift == 0 ? TDFFault::kNone : TDFFault::kBeyondFormat) << shift;
    }
}

// Every mixture of short, middling and long hops gives the same sections as their making: reading on, seeking and the
// growing window agree.
TEST(Walk, FindsSectionsOfEverySizeWhereTheyAre) {
    const std::vector<std::size_t> sizes{0, 1, 50, 511, 4000, 4095, 4096, 4097, 9000, 16384, 40000};
    std::string file;
    std::vector<TDFSection> expected;
    std::uint32_t seed = 1;
    for (int n = 0; n < 400; ++n) {
        seed = seed * 1664525 + 1013904223;
        const std::size_t size = sizes[(seed >> 16) % sizes.size()];
        const std::string name(seed >> 28 == 0 ? 4000 : (seed >> 24) % 90, static_cast<char>('a' + n % 26));
        TDFSection section;
        section.offset = static_cast<std::uint32_t>(file.size());
        section.version = seed;
        section.length = static_cast<std::uint32_t>(12 + name.size() + size);
        file += Section(name, seed, std::string(size, '\xFF'));
        expected.push_back(section);
    }
    const Walked walked = Walk(file);
    EXPECT_EQ(walked.last, TDFSectionReader::Step::kEnd);
    ASSERT_EQ(walked.sections.size(), expected.size());
    for (std::size_t n = 0; n < expected.size(); ++n) {
        EXPECT_EQ(walked.sections[n].offset, expected[n].offset) << n;
        EXPECT_EQ(walked.sections[n].length, expected[n].length) << n;
        EXPECT_EQ(walked.sections[n].version, expected[n].version) << n;
        EXPECT_EQ(walked.names[n].find_first_not_of(static_cast<char>('a' + n % 26)), std::string::npos) << n;
    }
}

// A stream that fails from some position on, as a disk with a bad block does.
struct BadBlock {
    std::string bytes;
    std::size_t bad;
    std::size_t at = 0;
};

TEST(Walk, PassesOverABadBlockThatNoHeaderTouches) {
    const std::string file =
        Section("a", 1, std::string(3000, 'x')) + Section("b", 1, std::string(9000, 'y')) + Section("c", 1, "z");
    for (const std::size_t bad : {2000U, 8000U}) {
        BadBlock block{file, bad};
        const auto read = [](void* cookie, char* buffer, std::size_t size) -> ssize_t {
            auto& b = *static_cast<BadBlock*>(cookie);
            if (b.at >= b.bad && b.at < b.bad + 500) return errno = EIO, -1;
            const std::size_t limit = b.at < b.bad ? b.bad : b.bytes.size();
            const std::size_t got = std::min(size, limit - b.at);
            b.bytes.copy(buffer, got, b.at);
            b.at += got;
            return static_cast<ssize_t>(got);
        };
        const auto seek = [](void* cookie, off64_t* offset, int whence) {
            auto& b = *static_cast<BadBlock*>(cookie);
            b.at = static_cast<std::size_t>(*offset) + (whence == SEEK_END   ? b.bytes.size()
                                                        : whence == SEEK_CUR ? b.at
                                                                             : 0);
            *offset = static_cast<off64_t>(b.at);
            return 0;
        };
        const FilePtr stream(fopencookie(&block, "rb", {read, nullptr, seek, nullptr}));
        std::setvbuf(stream.get(), nullptr, _IONBF, 0);
        TDFSectionReader reader(stream.get(), 0);
        EXPECT_TRUE(reader.Find("c", 1)) << bad;
        EXPECT_FALSE(std::ferror(stream.get()));
    }
}

}  // namespace
