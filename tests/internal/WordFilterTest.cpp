// Searching, with vectors and without, against one word at a time.
#include "analysis/WordFilter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

namespace {

using namespace orm_trace;

void ExpectHits(const WordFilter& filter, Words words) {
    constexpr std::uint64_t kFirst = 0xFFFFFFF1;  // of four words that are collected at once, one is beyond 32 bits
    constexpr std::uint64_t kUntouched = 0x5A5A5A5A5A5A5A5A;
    std::vector<std::uint64_t> expected;
    for (std::size_t n = 0; n < words.size(); ++n) {
        if (filter.IsHit(words[n])) expected.push_back(kFirst + n);
    }
    std::vector<std::uint64_t> hits(words.size() + 8, kUntouched);
    const std::size_t count = filter.Collect(words, kFirst, hits.data());
    EXPECT_TRUE(std::all_of(hits.begin() + static_cast<std::ptrdiff_t>(words.size()), hits.end(),
                            [](std::uint64_t hit) { return hit == kUntouched; }));
    hits.resize(count);
    EXPECT_EQ(hits, expected);
    EXPECT_EQ(filter.Count(words), expected.size());
    std::size_t next = 0;
    for (const std::uint64_t hit : expected) {
        next = filter.Next(words, next);
        EXPECT_EQ(kFirst + next++, hit);
    }
    EXPECT_EQ(filter.Next(words, std::min(next, words.size())), words.size());
}

TEST(WordFilterTest, FindsWhatIsHit) {
    std::vector<std::uint64_t> words(200);
    std::uint64_t state = 1;
    for (std::uint64_t& word : words) {
        state = state * 6364136223846793005 + 1442695040888963407;
        word = (state >> 62) << 56 | (state >> 40 & 3);
    }
    std::array<bool, kTypes> types{};
    types[1] = types[2] = true;
    std::array<bool, kTypes> oneType{};
    oneType[3] = true;
    for (std::size_t size = 0; size <= 67; ++size) {
        SCOPED_TRACE(size);
        const Words part(words.data() + size % 5, size);
        ExpectHits(WordFilter::Masked(0, 0), part);                                    // all
        ExpectHits(WordFilter::Masked(0x0100000000000000, 0xFF00000000000000), part);  // some
        ExpectHits(WordFilter::Masked(words[40], ~std::uint64_t{0}), part);            // few
        ExpectHits(WordFilter::Masked(0xFF, 0xFF), part);                              // none
        ExpectHits(WordFilter::OfTypes(types), part);
        ExpectHits(WordFilter::OfTypes(oneType), part);
    }
    ExpectHits(WordFilter::Masked(0, 3), words);
    std::vector<std::uint64_t> rare(67);
    rare[40] = rare[66] = 7;
    ExpectHits(WordFilter::Masked(7, ~std::uint64_t{0}), rare);
}

TEST(WordFilterTest, HitsWhatItIsMadeFor) {
    const std::uint64_t words[] = {0, 1, 5, 7, 0x0100000000000000, 0x0200000000000005, 0xFF00000000000000, UINT64_MAX};
    for (const std::uint64_t mask : {std::uint64_t{0}, std::uint64_t{4}, kCountMask, ~kCountMask, UINT64_MAX}) {
        for (const std::uint64_t value : words) {
            for (const std::uint64_t word : words) {
                EXPECT_EQ(WordFilter::Masked(value, mask).IsHit(word), ((value ^ word) & mask) == 0) << value << word;
            }
        }
    }
    std::array<bool, kTypes> all{};
    all.fill(true);
    std::array<bool, kTypes> none{}, one{}, two{}, allButOne = all;
    one[2] = two[0] = two[2] = true;
    allButOne[0] = false;
    for (const auto& types : {none, one, two, allButOne, all}) {
        for (const std::uint64_t word : words) {
            EXPECT_EQ(WordFilter::OfTypes(types).IsHit(word), types[word >> 56]) << word;
        }
    }
}

}  // namespace
