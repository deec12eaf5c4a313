// What is recovered of a damaged file, byte by byte, without the tool.
#include "capture/Salvage.h"

#include <gtest/gtest.h>

#include <tuple>

#include "support/Files.h"
#include "tdf/TDFFormat.h"

namespace {

using namespace orm_trace;
using test::Section;

// Lists all that is shown, for example "intact 4-21 aa:1, fault 1 at 21, gap 21-41 offered, ".
class Listing : public Salvage::Visitor {
public:
    void OnSection(const Salvage::Item& item) override {
        constexpr const char* kStates[] = {"intact", "cut", "shortened", "rebuilt", "extended", "found"};
        const std::uint64_t end = std::uint64_t{item.section.offset} + item.length;
        Put(kStates[static_cast<int>(item.state)], item.section.offset, end,
            std::string(item.section.name) + ':' + std::to_string(item.section.version));
    }
    void OnGap(const Salvage::Gap& gap) override {
        constexpr const char* kTails[] = {"offered", "too long", "for no section"};
        Put("gap", gap.begin, gap.end, kTails[static_cast<int>(gap.tail)]);
    }
    void OnFault(const LocatedFault& fault) override {
        m_text += "fault " + std::to_string(fault.index) + " at " + std::to_string(fault.offset) + ", ";
    }
    const std::string& Text() const { return m_text; }

private:
    void Put(const char* what, std::uint64_t begin, std::uint64_t end, const std::string& more) {
        m_text += std::string(what) + ' ' + std::to_string(begin) + '-' + std::to_string(end) + ' ' + more + ", ";
    }

    std::string m_text;
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
        EXPECT_EQ(once.Text(), again.Text());
        return once.Text();
    }
    std::string VisitBytes(const std::string& bytes, bool withTail) {
        m_folder.Write("f", bytes);
        return Visit(withTail);
    }

    test::WorkingFolder m_folder;
};

TEST_F(SalvageTest, ShowsEachByteOnce) {
    const std::string a = Section("aa", 1, "123"), b = Section("bb", 2, ""), x(20, 'x'), noText = Section("\1", 3, "");
    const std::string trap(12, '\xFF');
    // The bytes; what is shown, and with tails if that is not the same.
    const std::tuple<std::string, std::string, std::string> rows[] = {
        {"TDF2", "", ""},
        {"TDF2" + a + b, "intact 4-21 aa:1, intact 21-35 bb:2, ", ""},
        {"XDF2" + a + b, "gap 0-4 for no section, found 4-21 aa:1, found 21-35 bb:2, ", ""},
        {a + b, "found 0-17 aa:1, found 17-31 bb:2, ", ""},
        {noText + b, "found 0-13 :3, found 13-27 bb:2, ", ""},
        {"XDF2" + a + x, "gap 0-41 for no section, ", ""},
        {"XDF2" + a + b + x + a + x + a + x,
         "gap 0-4 for no section, fault 2 at 35, found 4-21 aa:1, found 21-35 bb:2, gap 35-55 offered, fault 3 at 72, "
         "found 55-72 aa:1, gap 72-92 offered, fault 4 at 109, found 92-109 aa:1, gap 109-129 offered, ",
         "gap 0-4 for no section, fault 2 at 35, found 4-21 aa:1, fault 3 at 72, extended 21-55 bb:2, fault 4 at 109, "
         "extended 55-92 aa:1, extended 92-129 aa:1, "},
        {"TDF2" + a + x + a + x + a + x,
         "fault 1 at 21, intact 4-21 aa:1, gap 21-41 offered, fault 2 at 58, found 41-58 aa:1, gap 58-78 offered, "
         "fault 3 at 95, found 78-95 aa:1, gap 95-115 offered, ",
         "fault 1 at 21, fault 2 at 58, extended 4-41 aa:1, fault 3 at 95, extended 41-78 aa:1, extended 78-115 "
         "aa:1, "},
        {"TDF2" + x, "fault 0 at 4, gap 4-24 for no section, ", ""},
        {"TDF2" + x + noText + b, "fault 0 at 4, gap 4-24 for no section, found 24-37 :3, found 37-51 bb:2, ", ""},
        {"TDF2" + x + noText + x, "fault 0 at 4, gap 4-57 for no section, ", ""},
        {"TDF2z" + noText + b, "fault 0 at 4, gap 4-5 for no section, found 5-18 :3, found 18-32 bb:2, ", ""},
        {"TDF2" + Section("aa", 1, "", 0) + noText + b,
         "fault 0 at 4, rebuilt 4-18 aa:1, found 18-31 :3, found 31-45 bb:2, ", ""},
        // A header with a name and no usable length.
        {"TDF2" + Section("aa", 1, "1234", 0) + b, "fault 0 at 4, rebuilt 4-22 aa:1, found 22-36 bb:2, ", ""},
        {"TDF2" + Section("aa", 1, "1234", 0), "fault 0 at 4, rebuilt 4-22 aa:1, ", ""},
        {"TDF2" + Section("aa", 1, "", 0), "fault 0 at 4, rebuilt 4-18 aa:1, ", ""},
        {"TDF2" + Section("aa", 1, "", 0) + b, "fault 0 at 4, rebuilt 4-18 aa:1, found 18-32 bb:2, ", ""},
        {"TDF2" + Section("aa", 1, a + "z", 0) + b,
         "fault 0 at 4, fault 2 at 35, rebuilt 4-18 aa:1, found 18-35 aa:1, gap 35-36 offered, found 36-50 bb:2, ",
         "fault 0 at 4, fault 2 at 35, rebuilt 4-18 aa:1, extended 18-36 aa:1, found 36-50 bb:2, "},
        {"TDF2" + a + Section("aa", 1, b + x, 0) + x,
         "fault 1 at 21, intact 4-21 aa:1, fault 3 at 49, rebuilt 21-35 aa:1, found 35-49 bb:2, gap 49-89 offered, ",
         "fault 1 at 21, intact 4-21 aa:1, fault 3 at 49, rebuilt 21-35 aa:1, extended 35-89 bb:2, "},
        // One that the end of the file cuts.
        {"TDF2" + Section("aa", 1, "1234", 99), "fault 0 at 4, cut 4-22 aa:1, ", ""},
        {"TDF2" + a + Section("aa", 1, "1234", 99), "fault 1 at 21, intact 4-21 aa:1, cut 21-39 aa:1, ", ""},
        {"TDF2" + Section("aa", 1, "1234", 99) + a + b,
         "fault 0 at 4, shortened 4-22 aa:1, found 22-39 aa:1, found 39-53 bb:2, ", ""},
        {"TDF2" + Section("aa", 1, "1234", 99) + a + x,
         "fault 0 at 4, fault 2 at 39, shortened 4-22 aa:1, found 22-39 aa:1, gap 39-59 offered, ",
         "fault 0 at 4, fault 2 at 39, shortened 4-22 aa:1, extended 22-59 aa:1, "},
        // Another one begins in what was taken for its name.
        {"TDF2" + Section("\1\1" + b + b, 1, "", 999),
         "fault 0 at 4, gap 4-18 for no section, found 18-32 bb:2, found 32-46 bb:2, ", ""},
        {"TDF2" + a + Section("\1\1" + b + b, 1, "", 999),
         "fault 1 at 21, intact 4-21 aa:1, gap 21-35 offered, found 35-49 bb:2, found 49-63 bb:2, ",
         "fault 1 at 21, extended 4-35 aa:1, found 35-49 bb:2, found 49-63 bb:2, "},
        {"TDF2" + a + Section("\1\1" + b + b, 1, "", 46),
         "fault 1 at 21, intact 4-21 aa:1, gap 21-35 offered, found 35-49 bb:2, found 49-63 bb:2, ",
         "fault 1 at 21, extended 4-35 aa:1, found 35-49 bb:2, found 49-63 bb:2, "},
        // Too long by what another one has, in the middle of the file.
        {"TDF2" + Section("aa", 1, "123", 17 + 20) + a + b + x,
         "fault 1 at 41, shortened 4-21 aa:1, fault 3 at 52, found 21-38 aa:1, found 38-52 bb:2, gap 52-72 offered, ",
         "fault 1 at 41, shortened 4-21 aa:1, fault 3 at 52, found 21-38 aa:1, extended 38-72 bb:2, "},
        {"TDF2" + Section("aa", 1, "123", 17 + 20) + a + b + x + Section("aa", 1, "123", 17 + 20) + a + b + x,
         "fault 1 at 41, shortened 4-21 aa:1, fault 3 at 52, found 21-38 aa:1, found 38-52 bb:2, gap 52-89 offered, "
         "fault 5 at 120, found 89-106 aa:1, found 106-120 bb:2, gap 120-140 offered, ",
         "fault 1 at 41, shortened 4-21 aa:1, fault 3 at 52, found 21-38 aa:1, extended 38-89 bb:2, fault 5 at 120, "
         "found 89-106 aa:1, extended 106-140 bb:2, "},
        {"TDF2" + x + Section("aa", 1, "123", 17 + 10) + a + b,
         "fault 0 at 4, gap 4-41 for no section, found 41-58 aa:1, found 58-72 bb:2, ", ""},
        {"TDF2" + x + b + Section("aa", 1, "123", 17 + 10) + a + b,
         "fault 0 at 4, gap 4-24 for no section, found 24-38 bb:2, shortened 38-55 aa:1, found 55-72 aa:1, found 72-86 "
         "bb:2, ",
         ""},
        {"TDF2" + Section("aa", 1, "12", 17 + 20) + x + b + a + trap,
         "fault 1 at 41, shortened 4-40 aa:1, fault 3 at 71, found 40-54 bb:2, found 54-71 aa:1, gap 71-83 offered, ",
         "fault 1 at 41, shortened 4-40 aa:1, fault 3 at 71, found 40-54 bb:2, extended 54-83 aa:1, "},
        {"TDF2" + a + x + Section("aa", 1, b, 28) + b,
         "fault 1 at 21, intact 4-21 aa:1, gap 21-41 offered, found 41-69 aa:1, found 69-83 bb:2, ",
         "fault 1 at 21, extended 4-41 aa:1, found 41-69 aa:1, found 69-83 bb:2, "},
    };
    for (const auto& [bytes, plain, withTail] : rows) {
        const std::string label = testing::PrintToString(bytes);
        EXPECT_EQ(VisitBytes(bytes, false), plain) << label;
        EXPECT_EQ(VisitBytes(bytes, true), withTail.empty() ? plain : withTail) << label;
    }
}

// The longest section that readers follow, and the last offset that one may end at.
TEST_F(SalvageTest, StaysWithinTheFormat) {
    using namespace Orm::Lux::Trace;
    for (const std::uint64_t more : {0U, 1U}) {
        const std::uint64_t length = kMaxSectionLength + more;
        const std::string size = std::to_string(4 + length);
        VisitBytes("TDF2" + Section("aa", 1, ""), false);
        std::filesystem::resize_file("f", 4 + length);
        EXPECT_EQ(Visit(false),
                  "fault 1 at 18, intact 4-18 aa:1, gap 18-" + size + (more == 0 ? " offered, " : " too long, "));
        EXPECT_EQ(Visit(true), "fault 1 at 18, " + (more == 0 ? "extended 4-" + size + " aa:1, "
                                                              : "intact 4-18 aa:1, gap 18-" + size + " too long, "));
        VisitBytes("TDF2" + Section("aa", 1, "", 5), false);
        std::filesystem::resize_file("f", 4 + length);
        EXPECT_EQ(Visit(false), "fault 0 at 4, rebuilt 4-134217732 aa:1, " +
                                    (more == 0 ? "" : "gap 134217732-" + size + " too long, "));
    }
    // A header at the end of the format, whose section would have at least a byte there, or none.
    for (const std::uint64_t left : {15U, 14U}) {
        test::WriteLarge("f", kMaxPosition - left, Section("aa", 1, std::string(10, 'd'), 5));
        const std::string text = Visit(false), begin = std::to_string(kMaxPosition - left);
        EXPECT_NE(
            text.find(left == 15 ? "rebuilt " + begin + "-4294967295 aa:1, gap 4294967295-" : "gap " + begin + '-'),
            text.npos)
            << text;
    }
}

}  // namespace
