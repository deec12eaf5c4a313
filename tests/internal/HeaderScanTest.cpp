// Searches for headers that no chain leads to, around the borders of the blocks and chunks in which they look.
#include "capture/ChainScan.h"

#include <numeric>

#include "capture/HeaderSearch.h"
#include "support/Files.h"

namespace {

using orm_trace::InputFile;

const std::string kChain = test::Section("one", 1, "data") + test::Section("two", 2, std::string(300, 'd'));

// Of headers: across two blocks, and around the ends of chunks.
std::vector<std::size_t> Shifts() {
    std::vector<std::size_t> shifts(140);
    std::iota(shifts.begin(), shifts.end(), 0);
    for (const std::size_t chunk : {64 * 1024U, 256 * 1024U}) {
        for (std::size_t n = 0; n < 40; n += 3) shifts.push_back(chunk + 10 - n);
    }
    return shifts;
}

TEST(HeaderScan, FindsHeadersAtEveryOffset) {
    const test::WorkingFolder folder;
    for (const std::size_t shift : Shifts()) {
        for (const char filler : {'x', '\0'}) {  // a block of zeros is looked at byte by byte
            const std::string before(shift, filler);
            folder.Write("f", before + kChain);
            const InputFile whole("f");
            EXPECT_EQ(orm_trace::FindChainToEnd(whole, 0, 0), shift) << filler;
            EXPECT_EQ(orm_trace::HeaderSearch(whole).Find(0, whole.Size(), false), shift) << filler;
            // A single section.
            folder.Write("g", before + test::Section("one", 1, "data") + std::string(400, 'x'));
            const InputFile single("g");
            EXPECT_EQ(orm_trace::FindChainToEnd(single, 0, 0), std::nullopt) << shift << filler;
            EXPECT_EQ(orm_trace::HeaderSearch(single).Find(0, single.Size(), true), shift) << filler;
        }
    }
}

TEST(HeaderScan, FindsHeadersFromEveryOffset) {
    const test::WorkingFolder folder;
    folder.Write("f", std::string(300, 'x') + kChain + kChain);
    const InputFile file("f");
    for (std::size_t from = 0; from <= 300; ++from) {
        EXPECT_EQ(orm_trace::FindChainToEnd(file, from, 0), 300U) << from;
        EXPECT_EQ(orm_trace::HeaderSearch(file).Find(from, file.Size(), false), 300U) << from;
    }
    // At the end of a block, with zeros only in the upper half of the name's length.
    folder.Write("g",
                 std::string(319, 'x') + test::Section(std::string(300, 'n'), 0x01010101, std::string(70000, 'd')));
    EXPECT_EQ(orm_trace::FindChainToEnd(InputFile("g"), 0, 0), 319U);
    EXPECT_EQ(orm_trace::FindChainToEnd(file, 301, 0), 300 + test::Section("one", 1, "data").size());
}

}  // namespace
