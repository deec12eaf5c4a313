// Searches for headers that no chain leads to: what they take for one, and around the borders of the blocks and chunks in
// which they look.
#include "capture/ChainScan.h"

#include <numeric>

#include "capture/HeaderSearch.h"
#include "support/Files.h"

namespace {

using orm_trace::HeaderSearch;
using orm_trace::InputFile;
using test::Section;
using Offset = std::optional<std::uint64_t>;

constexpr auto kNone = std::nullopt;
const std::string kChain = Section("one", 1, "data") + Section("two", 2, std::string(300, 'd'));

// Each returns what is found in a file of these bytes.
struct HeaderScan : testing::Test {
    Offset Chain(const std::string& bytes, std::uint64_t trusted = 0) {
        return orm_trace::FindChainToEnd(InputFile(m_folder.Write("f", bytes)), 0, trusted);
    }
    Offset Followed(const std::string& bytes, Offset bound = {}) { return Find(bytes, bound, false); }
    Offset Single(const std::string& bytes, Offset bound = {}) { return Find(bytes, bound, true); }
    Offset Find(const std::string& bytes, Offset bound, bool isSingle) {
        const InputFile file(m_folder.Write("f", bytes));
        return HeaderSearch(file).Find(0, bound.value_or(file.Size()), isSingle);
    }

    test::WorkingFolder m_folder;
};

TEST_F(HeaderScan, FindsHeadersAtEveryOffset) {
    std::vector<std::size_t> shifts(140);  // across two blocks
    std::iota(shifts.begin(), shifts.end(), 0);
    for (std::size_t n = 0; n < 40; n += 3) {  // around the ends of chunks
        for (const std::size_t chunk : {64 * 1024U, 256 * 1024U}) shifts.push_back(chunk + 10 - n);
    }
    for (const std::size_t shift : shifts) {
        for (const char filler : {'x', '\0'}) {  // a block of zeros is looked at byte by byte
            const std::string before(shift, filler);
            EXPECT_EQ(Chain(before + kChain), shift) << filler;
            EXPECT_EQ(Followed(before + kChain), shift) << filler;
            EXPECT_EQ(Chain(before + Section("", 1, std::string(300, '\0')) + kChain), shift) << filler;
            const std::string single = before + Section("one", 1, "data") + std::string(400, 'x');
            EXPECT_EQ(Chain(single), kNone) << shift << filler;
            EXPECT_EQ(Single(single), shift) << filler;
        }
    }
}

TEST_F(HeaderScan, FindsHeadersFromEveryOffset) {
    m_folder.Write("f", std::string(300, 'x') + kChain + kChain);
    const InputFile file("f");
    for (std::size_t from = 0; from <= 300; ++from) {
        EXPECT_EQ(orm_trace::FindChainToEnd(file, from, 0), 300U) << from;
        EXPECT_EQ(HeaderSearch(file).Find(from, file.Size(), false), 300U) << from;
    }
    EXPECT_EQ(orm_trace::FindChainToEnd(file, 301, 0), 300 + Section("one", 1, "data").size());
    // At the end of a block, with zeros only in the upper half of the name's length.
    const std::string section = Section(std::string(300, 'n'), 0x01010101, std::string(70000, 'd'));
    EXPECT_EQ(Chain(std::string(319, 'x') + section), 319U);
}

// Names that reach as far as possible into the next chunk, sections that are as long as possible, and a last one that has
// no name.
TEST_F(HeaderScan, FindsChainsAcrossChunks) {
    constexpr std::size_t kChunk = 64 * 1024, kMost = 128 << 20;
    for (const std::size_t size : {254U, 255U}) {
        for (std::size_t at = kChunk - 14; at <= kChunk; ++at) {
            const std::string named = std::string(at, 'x') + Section(std::string(size, 'n'), 1, "");
            EXPECT_EQ(Chain(named + Section("", 1, ""), named.size()), at) << size;
        }
    }
    for (const std::size_t at : {kChunk - 500, kChunk - 12, kChunk}) {
        const std::string begin = std::string(at, 'x') + Section("longest", 1, "", kMost);
        std::filesystem::resize_file(m_folder.Write("f", begin), at + kMost);
        std::ofstream("f", std::ios::app) << Section("last", 1, "");
        EXPECT_EQ(orm_trace::FindChainToEnd(InputFile("f"), 0, 0), at);
    }
}

// A name across the end of a chunk, a section that leads across it, and one that begins before the data after a hole.
TEST_F(HeaderScan, FindsSectionsAcrossChunksAndHoles) {
    constexpr std::size_t kChunk = 256 * 1024, kHole = 1 << 20;
    for (std::size_t at = kChunk - 268; at <= kChunk - 264; ++at) {
        EXPECT_EQ(Followed(std::string(at, 'x') + Section(std::string(255, 'n'), 1, "") + kChain), at);
    }
    for (const std::size_t end : {kChunk - 20, kChunk - 5, kChunk}) {
        const std::size_t at = end - 100000;
        const std::string longSection = Section("long", 1, std::string(99984, 'x'));
        EXPECT_EQ(Followed(std::string(at, 'x') + longSection + kChain + 'x'), at);
    }
    for (const std::size_t at : {kHole - 1, kHole, kHole + 11}) {
        const std::string section = std::string(at + 1 - kHole, 'x') + Section("nn", 1, std::string(498, 'd'));
        std::filesystem::resize_file(m_folder.Write("f", ""), kHole);
        // What is first is in the hole.
        std::ofstream("f", std::ios::app) << section.substr(1) << std::string(400, 'x');
        EXPECT_EQ(HeaderSearch(InputFile("f")).Find(0, std::filesystem::file_size("f"), true), at);
    }
}

// Of a single section, whatever else is in the file.
TEST_F(HeaderScan, TakesNamesThatPeopleGive) {
    // clang-format off
    const std::pair<std::string, bool> names[] = {
        {"", false},  {"n", false},     {"nn", true},     {std::string(255, 'n'), true}, {std::string(256, 'n'), false},
        {" ~", true}, {"n\x1F", false}, {"n\x7F", false}, {"n\xC3\xA9", true},           {"n\xC3", false}};
    // clang-format on
    for (const auto& [name, isText] : names) {
        // At the end of the file, and where more bytes follow than a header can have.
        for (const std::string& after : {std::string(), std::string(11, 'x'), std::string(400, 'x')}) {
            EXPECT_EQ(Single("x" + Section(name, 7, "") + after), isText ? Offset(1) : kNone) << name << after.size();
            const InputFile file("f");
            const auto header = HeaderSearch(file).ReadNamed(1);
            EXPECT_EQ(header.has_value(), isText || name == "n") << name;
            if (!header) continue;
            EXPECT_TRUE(header->name == name && header->length == 12 + name.size() && header->version == 7) << name;
        }
    }
    m_folder.Write("f", std::string(300, 'n') + Section("name", 1, "", 1U << 31).substr(0, 15));
    const InputFile file("f");
    HeaderSearch search(file);
    EXPECT_FALSE(search.ReadNamed(0));
    EXPECT_FALSE(search.ReadNamed(300)) << "its name is cut";
    EXPECT_FALSE(search.ReadNamed(304)) << "its fields are cut";
    const InputFile chain(m_folder.Write("g", kChain));
    HeaderSearch back(chain);
    EXPECT_EQ(back.Find(1, chain.Size(), true), 19U);
    EXPECT_EQ(back.ReadNamed(0)->name, "one") << "before what was searched";
}

TEST_F(HeaderScan, FindsTheFirstThatNeedsNoChain) {
    const std::string a = Section("aa", 1, "123"), b = Section("bb", 2, ""), x(20, 'x');
    // The bytes, the bound if it is not their end; where it is found as one that something follows, and as a single one.
    // clang-format off
    const std::tuple<std::string, Offset, Offset, Offset> rows[] = {
        {a, {}, 0, 0}, {x + a + x, {}, kNone, 20}, {a + b, 17, 0, 0},
        {a + b, 16, kNone, kNone},  // it reaches beyond a section that is known
        {a + b, 18, 0, 0}, {a + b + x, {}, 0, 0},
        // What follows is a header: with a text as its name, or one that is well-formed and ends within the file.
        {a + Section("n", 1, "", 0), {}, 0, 0}, {a + Section("n", 1, "", 1U << 31) + x, {}, 0, 0},
        {a + Section("\1", 1, "") + x, {}, 0, 0}, {a + Section("\1", 1, ""), {}, 0, 0},
        {a + Section("\1", 1, "", 14), {}, kNone, 0}, {a + Section("", 1, "") + x, {}, kNone, 0},
        {a + Section(std::string(255, '\1'), 1, ""), {}, 0, 0},
        {a + Section(std::string(256, '\1'), 1, ""), {}, kNone, 0},
        {a + Section(std::string(255, 'n'), 1, "", 0), {}, 0, 0}, {a + b.substr(0, 13), {}, kNone, 0},
        {a + b.substr(0, 11), {}, kNone, 0},
        // One that the end of the file cuts is a single one, unless it is within another or after another.
        {Section("aa", 1, "123", 18), {}, kNone, 0}, {Section("aa", 1, "123", 18) + "x" + b, 18, 0, 0},
        {Section("xx", 1, Section("yy", 1, "", 1000) + "z") + x, {}, kNone, kNone},
        {Section("xx", 1, a + x) + x, {}, kNone, 14}, {Section("xx", 1, "z") + x + a + x, {}, kNone, 0},
        {Section("xx", 1, "z" + Section("yy", 1, "", 15) + b) + x, {}, kNone, 29},
        {Section("xx", 1, a + b + x) + x, {}, 14, 14}};
    // clang-format on
    for (const auto& [bytes, bound, followed, single] : rows) {
        const std::string label = testing::PrintToString(bytes) + " up to " + std::to_string(bound.value_or(0));
        EXPECT_EQ(Followed(bytes, bound), followed) << label;
        EXPECT_EQ(Single(bytes, bound), single) << label;
    }
}

// Sections that lie across the end of another one.
TEST_F(HeaderScan, FindsWhatReachesBeyondTheEnd) {
    const std::string a = Section("aa", 1, "123"), b = Section("bb", 2, ""), x(20, 'x');
    // The bytes from the first one of the section on, where it ends, and the offset of the one that shows that it does not.
    // clang-format off
    const std::tuple<std::string, std::uint64_t, Offset> rows[] = {
        // It reaches beyond the end, or leads to one that does; or it ends where the file does, or is the only one.
        {x + a + b, 36, 20}, {x + a + b, 37, 20}, {x + b + a + b, 36, 20}, {x + b + a + b + x, 36, 20},
        {x + b + x + a + b, 56, 54}, {x + a, 36, 20}, {x + a + x, 36, 20},
        // It ends where the other one does, its chain breaks before that, it is cut, or one of two that nothing follows.
        {x + a + x, 37, kNone}, {x + b + b + x + b, 50, kNone}, {x + Section("aa", 1, "123", 18), 36, kNone},
        {x + b + x + a + x, 60, kNone}, {x + a + x + x, 57, kNone},
        // Of a section that the end of the file cuts.
        {x + a + b, 51, 20}, {x + a, 37, 20}, {x + a, 99, 20}, {x + a + x, 57, 20}, {x + a + x, 99, 20},
        {x + b + x + a + x, 99, kNone},
        // A file that is data.
        {x + "TDF2" + a + b, 40, kNone}, {x + "TDF2" + a + b + b + a + b, 99, kNone},
        {x + "TDF2" + b + b + x + a + b, 80, 72}, {x + "TDF3" + a + b, 40, 24}};
    // clang-format on
    for (const auto& [bytes, to, expected] : rows) {
        const InputFile file(m_folder.Write("f", bytes));
        EXPECT_EQ(HeaderSearch(file).FindAcross(5, to), expected) << testing::PrintToString(bytes) << to;
    }
}

}  // namespace
