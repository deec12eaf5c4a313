// The walk over a section chain, from memory.
#include "tdf/TDFSectionReader.h"

#include "support/BadBlock.h"
#include "support/Files.h"
#include "tdf/FileIO.h"

namespace {

using namespace Orm::Lux::Trace;
using test::Section;
using Step = TDFSectionReader::Step;

constexpr std::uint32_t kLimit = 134217728;
const std::string kFirst = Section("first", 1, "0123");  // 21 bytes
const std::string kLongName(4095, 'n');

// Visits the sections of a file. Returns: the reader, at the end that it found.
template <class Visit> TDFSectionReader Walk(const std::string& file, Visit visit) {
    // An exact copy, so that a read beyond it is seen.
    std::vector<char> bytes(file.begin(), file.end());
    const FilePtr stream(fmemopen(bytes.data(), bytes.size(), "rb"));
    TDFSectionReader reader(stream.get(), 0);
    Step last{};
    while ((last = reader.Next()) == Step::kSection) visit(reader.Section());
    EXPECT_EQ(reader.Next(), last) << "an end is final";
    return reader;
}

TEST(Walk, ReportsFaults) {
    // label, file, sections, kind of fault, and its offset, claimed and available bytes
    using enum TDFFaultKind;
    const std::tuple<const char*, std::string, int, TDFFaultKind, std::uint64_t, std::uint64_t, std::uint64_t> rows[] =
        {{"one", kFirst, 1, kNone, 0, 0, 0},
         {"nameless", Section("", 9, "") + kFirst, 2, kNone, 0, 0, 0},
         {"longest name", kFirst + Section(kLongName, 1, "d") + kFirst, 3, kNone, 0, 0, 0},
         {"name too long", kFirst + Section(kLongName + "n", 1, ""), 1, kNameTooLong, 21, 4096, 4095},
         {"length at limit", kFirst + Section("a", 1, "", kLimit), 2, kDataCut, 21, kLimit, 13},
         {"length beyond", kFirst + Section("a", 1, "", kLimit + 1), 1, kLengthTooLong, 21, kLimit + 1, kLimit},
         {"length 0", kFirst + Section("a", 1, "", 0), 1, kLengthTooShort, 21, 0, 13},
         {"length 12", kFirst + Section("a", 1, "", 12), 1, kLengthTooShort, 21, 12, 13},
         {"length 13", kFirst + Section("a", 1, "", 13), 2, kNone, 0, 0, 0},
         {"data cut", kFirst.substr(0, 20), 1, kDataCut, 0, 21, 20},
         {"data cut wholly", kFirst + Section("a", 1, "", 9013), 2, kDataCut, 21, 9013, 13},
         {"fixed header cut", kFirst + kFirst.substr(0, 11), 1, kHeaderCut, 21, 12, 11},
         {"name cut", kFirst + kFirst.substr(0, 16), 1, kHeaderCut, 21, 17, 16}};
    for (const auto& [label, file, sections, kind, offset, claimed, available] : rows) {
        int count = 0;
        TDFSectionReader reader = Walk(file, [&](const TDFSection&) { ++count; });
        EXPECT_EQ(count, sections) << label;
        EXPECT_EQ(reader.Next(), kind == kNone ? Step::kEnd : Step::kFault) << label;
        const TDFFault& fault = reader.Fault();
        EXPECT_EQ(std::tuple(fault.kind, fault.offset, fault.claimed, fault.available),
                  std::tuple(kind, offset, claimed, available))
            << label;
    }
}

// Every mixture of short, middling and long hops gives the same sections as their making: reading on, seeking and the
// growing window agree.
TEST(Walk, FindsSectionsOfEverySizeWhereTheyAre) {
    const std::vector<std::size_t> sizes{0, 1, 50, 511, 4000, 4095, 4096, 4097, 9000, 16384, 40000};
    std::string file;
    std::vector<std::tuple<std::size_t, std::uint32_t, std::uint32_t, std::string>> expected, found;
    std::uint32_t seed = 1;
    for (int n = 0; n < 400; ++n) {
        seed = seed * 1664525 + 1013904223;
        const std::string name(seed >> 28 == 0 ? 4000 : (seed >> 24) % 90, static_cast<char>('a' + n % 26));
        const std::string section = Section(name, seed, std::string(sizes[(seed >> 16) % sizes.size()], '\xFF'));
        expected.emplace_back(section.size(), static_cast<std::uint32_t>(file.size()), seed, name);
        file += section;
    }
    const auto keep = [&](const TDFSection& s) { found.emplace_back(s.length, s.offset, s.version, s.name); };
    EXPECT_EQ(Walk(file, keep).Next(), Step::kEnd);
    EXPECT_EQ(found, expected);
}

TEST(Walk, PassesOverABadBlockThatNoHeaderTouches) {
    const std::string file =
        Section("a", 1, std::string(3000, 'x')) + Section("b", 1, std::string(9000, 'y')) + Section("c", 1, "z");
    for (const std::size_t bad : {2000U, 8000U}) {
        test::BadBlock block{file, bad};
        const FilePtr stream(block.Open());
        TDFSectionReader reader(stream.get(), 0);
        EXPECT_TRUE(reader.Find("c", 1)) << bad;
        EXPECT_FALSE(std::ferror(stream.get())) << bad;
    }
    // Each seek fails in turn: that is never taken for the end of the file.
    TDFFaultKind kind = TDFFaultKind::kReadError;
    for (int seeks = 0; kind != TDFFaultKind::kNone; ++seeks) {
        test::BadBlock block{file, file.size() + 1, seeks};
        const FilePtr stream(block.Open());
        TDFSectionReader reader(stream.get(), 0);
        reader.Find("none", 1);
        kind = reader.Fault().kind;
        EXPECT_EQ(reader.Fault().claimed + reader.Fault().available, 0U);
        ASSERT_EQ(kind, block.seeks < 0 ? TDFFaultKind::kReadError : TDFFaultKind::kNone) << seeks;
    }
}

}  // namespace
