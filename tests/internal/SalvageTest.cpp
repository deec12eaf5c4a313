// What is recovered of a damaged file, byte by byte, without the tool.
#include "capture/Salvage.h"

#include "support/Files.h"
#include "tdf/TDFFormat.h"

namespace {

using namespace orm_trace;
using test::Section;

// Lists all that is shown, for example "fault 1@21, intact 4-21 aa, tail 21-41, ". A gap is a tail if the section
// before could have it, and a rest if that would be too long.
struct Listing : Salvage::Visitor {
    void OnSection(const Salvage::Item& item) override {
        constexpr const char* kStates[] = {"intact", "cut", "shortened", "rebuilt", "extended", "found"};
        const std::uint64_t end = std::uint64_t{item.section.offset} + item.length;
        Put(kStates[static_cast<int>(item.state)], item.section.offset, end, ' ' + std::string(item.section.name));
    }
    void OnGap(const Salvage::Gap& gap) override {
        constexpr const char* kTails[] = {"tail", "rest", "gap"};
        Put(kTails[static_cast<int>(gap.tail)], gap.begin, gap.end);
    }
    void OnFault(const LocatedFault& fault) override {
        text += "fault " + std::to_string(fault.index) + '@' + std::to_string(fault.offset) + ", ";
    }
    void Put(const char* what, std::uint64_t begin, std::uint64_t end, const std::string& name = {}) {
        text += std::string(what) + ' ' + std::to_string(begin) + '-' + std::to_string(end) + name + ", ";
    }

    std::string text;
};

struct SalvageTest : testing::Test {
    // Visits a file twice, of which each byte has to be in one section or gap.
    std::string Visit(bool withTail) {
        const InputFile file("f");
        Salvage salvage(file, withTail);
        Listing once, again;
        const Salvage::Totals totals = salvage.Visit(once);
        EXPECT_EQ(totals.recovered + totals.unrecovered, file.Size());
        EXPECT_EQ(salvage.Visit(again), totals);
        EXPECT_EQ(once.text, again.text);
        return once.text;
    }

    test::WorkingFolder m_folder;
};

TEST_F(SalvageTest, ShowsEachByteOnce) {
    const std::string a = Section("aa", 1, "123"), b = Section("bb", 2, ""), x(20, 'x'), noText = Section("\1", 3, "");
    const std::string tooLong = Section("aa", 1, "123", a.size() + 20), trap = "\1\1" + b + b;
    std::string records;  // whose first words would be lengths
    for (const unsigned time : {40U, 41U, 40U, 5000U, 33U}) records += Section("event", 1, "", time);
    // What follows the identifier, or a whole file without one; what is shown, and with tails if that differs.
    const std::tuple<std::string, std::string, std::string> rows[] = {
        {"", "", ""},
        {x, "fault 0@4, gap 4-24, ", ""},
        {x + noText + b, "fault 0@4, gap 4-24, found 24-37 \1, found 37-51 bb, ", ""},
        {"z" + noText + b, "fault 0@4, gap 4-5, found 5-18 \1, found 18-32 bb, ", ""},
        // A header with a name and no usable length.
        {Section("aa", 1, "1234", 0) + b, "fault 0@4, rebuilt 4-22 aa, found 22-36 bb, ", ""},
        {Section("aa", 1, "", 0) + noText + b, "fault 0@4, rebuilt 4-18 aa, found 18-31 \1, found 31-45 bb, ", ""},
        {Section("aa", 1, a + "z", 0) + b,
         "fault 0@4, fault 2@35, rebuilt 4-18 aa, found 18-35 aa, tail 35-36, found 36-50 bb, ",
         "fault 0@4, fault 2@35, rebuilt 4-18 aa, extended 18-36 aa, found 36-50 bb, "},
        {a + Section("aa", 1, b + x, 0) + x,
         "fault 1@21, intact 4-21 aa, fault 3@49, rebuilt 21-35 aa, found 35-49 bb, tail 49-89, ",
         "fault 1@21, intact 4-21 aa, fault 3@49, rebuilt 21-35 aa, extended 35-89 bb, "},
        {Section("wild", 1, records, 1U << 28) + b, "fault 0@4, rebuilt 4-105 wild, found 105-119 bb, ", ""},
        {Section("wild", 1, "x", 1U << 28) + Section("bb", 2, "", 99),
         "fault 0@4, fault 1@21, rebuilt 4-21 wild, cut 21-35 bb, ", ""},
        {Section("\1", 1, "x", 1U << 28) + b, "fault 0@4, gap 4-18, found 18-32 bb, ", ""},
        // One that the end of the file cuts.
        {a + Section("aa", 1, "1234", 99), "fault 1@21, intact 4-21 aa, cut 21-39 aa, ", ""},
        {Section("aa", 1, "1234", 99) + a + b, "fault 0@4, shortened 4-22 aa, found 22-39 aa, found 39-53 bb, ", ""},
        {Section("aa", 1, "1234", 99) + a + x, "fault 0@4, fault 2@39, shortened 4-22 aa, found 22-39 aa, tail 39-59, ",
         "fault 0@4, fault 2@39, shortened 4-22 aa, extended 22-59 aa, "},
        {Section("aa", 1, "TDF2" + a + b + "z", 99), "fault 0@4, cut 4-54 aa, ", ""},
        // Another one begins in what was taken for its name.
        {Section(trap, 1, "", 999), "fault 0@4, gap 4-18, found 18-32 bb, found 32-46 bb, ", ""},
        {a + Section(trap, 1, "", 999), "fault 1@21, intact 4-21 aa, tail 21-35, found 35-49 bb, found 49-63 bb, ",
         "fault 1@21, extended 4-35 aa, found 35-49 bb, found 49-63 bb, "},
        // Too long by what another one has, in the middle of the file.
        {tooLong + a + b + x + tooLong + a + b + x,
         "fault 1@41, shortened 4-21 aa, fault 3@52, found 21-38 aa, found 38-52 bb, tail 52-89, "
         "fault 5@120, found 89-106 aa, found 106-120 bb, tail 120-140, ",
         "fault 1@41, shortened 4-21 aa, fault 3@52, found 21-38 aa, extended 38-89 bb, "
         "fault 5@120, found 89-106 aa, extended 106-140 bb, "},
        {Section("big", 1, "x", 60) + b + x + a + b,
         "fault 1@64, fault 2@34, shortened 4-20 big, found 20-34 bb, tail 34-54, found 54-71 aa, found 71-85 bb, ",
         "fault 1@64, fault 2@34, shortened 4-20 big, extended 20-54 bb, found 54-71 aa, found 71-85 bb, "},
        {x + tooLong + a + b, "fault 0@4, gap 4-41, found 41-58 aa, found 58-72 bb, ", ""},
        {x + b + tooLong + a + b,
         "fault 0@4, gap 4-24, found 24-38 bb, shortened 38-55 aa, found 55-72 aa, found 72-86 bb, ", ""},
        {x + b + tooLong + a + b + x,
         "fault 0@4, gap 4-24, fault 2@75, found 24-38 bb, shortened 38-55 aa, fault 4@86, found 55-72 aa, "
         "found 72-86 bb, tail 86-106, ",
         "fault 0@4, gap 4-24, fault 2@75, found 24-38 bb, shortened 38-55 aa, fault 4@86, found 55-72 aa, "
         "extended 72-106 bb, "},
        {Section("big", 1, "x", 99) + a + noText + b,
         "fault 0@4, shortened 4-20 big, found 20-37 aa, found 37-50 \1, found 50-64 bb, ", ""},
        {Section("big", 1, b + b) + x, "fault 1@47, intact 4-47 big, tail 47-67, ", "fault 1@47, extended 4-67 big, "},
        {a + x + Section("aa", 1, b) + b, "fault 1@21, intact 4-21 aa, tail 21-41, found 41-69 aa, found 69-83 bb, ",
         "fault 1@21, extended 4-41 aa, found 41-69 aa, found 69-83 bb, "},
        {"XDF2" + a + x, "gap 0-4, fault 1@21, found 4-21 aa, tail 21-41, ", "gap 0-4, fault 1@21, extended 4-41 aa, "},
        {"XDF2" + Section("aa", 1, "1234", 99), "gap 0-4, fault 0@4, cut 4-22 aa, ", ""},
        {"XDF2" + x + a + x, "gap 0-61, ", ""},
        // A wrong length leads to what looks like a header, in data; the same before a chain that ends.
        {Section("aa", 1, "", 14 + 16 + 20) + Section("data", 1, x + noText + x) + b,
         "fault 2@67, shortened 4-18 aa, found 18-87 data, found 87-101 bb, ", ""},
        {Section("aa", 1, "", 14 + 16 + 20) + Section("data", 1, x + Section("\1", 3, "", 999)) + b,
         "fault 1@54, shortened 4-18 aa, found 18-67 data, found 67-81 bb, ", ""},
        {a + noText + x, "fault 2@34, intact 4-21 aa, intact 21-34 \1, tail 34-54, ",
         "fault 2@34, intact 4-21 aa, extended 21-54 \1, "},
        {b + Section("aa", 1, b + b) + noText + x,
         "intact 4-18 bb, fault 3@73, intact 18-60 aa, intact 60-73 \1, tail 73-93, ",
         "intact 4-18 bb, fault 3@73, intact 18-60 aa, extended 60-93 \1, "},
        // Bytes before a header that the end of the file cuts.
        {a + std::string(1, '\0') + Section("data", 1, std::string(2000, 'd'), 9999),
         "fault 1@21, intact 4-21 aa, tail 21-22, fault 1@22, cut 22-2038 data, ",
         "fault 1@21, fault 1@22, extended 4-22 aa, cut 22-2038 data, "},
        {std::string(1, '\0') + Section("data", 1, std::string(2000, 'd'), 9999),
         "fault 0@4, gap 4-5, fault 0@5, cut 5-2021 data, ", ""},
        {Section("\1", 1, Section("data", 1, x, 99), 999), "fault 0@4, cut 4-53 \1, ", ""},
        {"XDF2" + a + b + x + a + x + a + x,
         "gap 0-4, fault 2@35, found 4-21 aa, found 21-35 bb, tail 35-55, fault 3@72, "
         "found 55-72 aa, tail 72-92, fault 4@109, found 92-109 aa, tail 109-129, ",
         "gap 0-4, fault 2@35, found 4-21 aa, fault 3@72, extended 21-55 bb, fault 4@109, "
         "extended 55-92 aa, extended 92-129 aa, "},
        // Nothing tells which of two is true: both names are text, or neither is.
        {Section("\1", 1, "", 13 + 16 + 20) + Section("data", 1, x + noText + x) + b,
         "fault 2@66, intact 4-53 \1, intact 53-66 \1, tail 66-86, found 86-100 bb, ",
         "fault 2@66, intact 4-53 \1, extended 53-86 \1, found 86-100 bb, "},
        {Section("aa", 1, "", 14 + 16 + 20) + Section("data", 1, x + b + x) + b,
         "fault 2@68, intact 4-54 aa, intact 54-68 bb, tail 68-88, found 88-102 bb, ",
         "fault 2@68, intact 4-54 aa, extended 54-88 bb, found 88-102 bb, "},
        // Once a chain was found, single sections are too.
        {"XDF2" + x + a + b + x + a + x,
         "gap 0-24, fault 2@55, found 24-41 aa, found 41-55 bb, tail 55-75, fault 3@92, found 75-92 aa, tail 92-112, ",
         "gap 0-24, fault 2@55, found 24-41 aa, fault 3@92, extended 41-75 bb, extended 75-112 aa, "},
        {"\r" + noText.substr(1) + b, "found 0-13 \1, found 13-27 bb, ", ""}};
    for (const auto& [after, plain, withTail] : rows) {
        const std::string bytes = after[0] == 'X' || after[0] == '\r' ? after : "TDF2" + after;
        const std::string label = testing::PrintToString(bytes);
        m_folder.Write("f", bytes);
        EXPECT_EQ(Visit(false), plain) << label;
        EXPECT_EQ(Visit(true), withTail.empty() ? plain : withTail) << label;
    }
}

// The longest section that readers follow, and the last offset that one may end at.
TEST_F(SalvageTest, StaysWithinTheFormat) {
    using namespace Orm::Lux::Trace;
    for (const bool isTooLong : {false, true}) {
        const std::uint64_t size = 4 + kMaxSectionLength + isTooLong;
        const std::string end = std::to_string(size), rest = "fault 1@18, intact 4-18 aa, rest 18-" + end + ", ";
        std::filesystem::resize_file(m_folder.Write("f", "TDF2" + Section("aa", 1, "")), size);
        EXPECT_EQ(Visit(false), isTooLong ? rest : "fault 1@18, intact 4-18 aa, tail 18-" + end + ", ");
        EXPECT_EQ(Visit(true), isTooLong ? rest : "fault 1@18, extended 4-" + end + " aa, ");
        std::filesystem::resize_file(m_folder.Write("f", "TDF2" + Section("aa", 1, "", 5)), size);
        EXPECT_EQ(Visit(false),
                  "fault 0@4, rebuilt 4-134217732 aa, " + (isTooLong ? "rest 134217732-" + end + ", " : ""));
    }
    // What follows the last section, up to the end of the format, and a header there whose section would have a byte, or
    // none.
    for (const std::uint64_t more : {0U, 1U}) {
        const std::uint64_t begin = test::WriteLarge("f", kMaxPosition - 100, std::string(100 + more, 'x'));
        const std::string last =
            std::to_string(begin) + (more == 0 ? "-4294967295" : "-4294967195") + " BinTraceData, ";
        const std::string expected = more == 0 ? "extended " + last : "intact " + last + "rest 4294967195-4294967296, ";
        EXPECT_TRUE(Visit(true).ends_with(expected)) << Visit(true);
    }
    for (const std::uint64_t left : {15U, 14U}) {
        test::WriteLarge("f", kMaxPosition - left, Section("aa", 1, std::string(10, 'd'), 5));
        const std::string text = Visit(false), begin = std::to_string(kMaxPosition - left);
        const std::string expected = left == 15 ? ", rebuilt " + begin + "-4294967295 aa, rest 4294967295-4294967304, "
                                                : ", rest " + begin + "-4294967305, ";
        EXPECT_TRUE(text.ends_with(expected)) << text;
    }
}

}  // namespace
