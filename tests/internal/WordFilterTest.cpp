// Searching, with vectors and without, against one word at a time.
#include "analysis/WordFilter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

using namespace orm_trace;

template <class IsHit> void ExpectHits(const WordFilter& filter, Words words, IsHit isHit) {
    constexpr std::uint64_t kFirst = 0xFFFFFFF1;  // of four words that are collected at once, one is beyond 32 bits
    constexpr std::uint64_t kUntouched = 0x5A5A5A5A5A5A5A5A;
    std::vector<std::uint64_t> expected;
    for (std::size_t n = 0; n < words.size(); ++n) {
        EXPECT_EQ(filter.IsHit(words[n]), isHit(words[n])) << words[n];
        if (isHit(words[n])) expected.push_back(kFirst + n);
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

void ExpectMaskedHits(std::uint64_t value, std::uint64_t mask, Words words) {
    ExpectHits(WordFilter::Masked(value, mask), words,
               [=](std::uint64_t word) { return ((word ^ value) & mask) == 0; });
}

TEST(WordFilterTest, FindsWhatIsHit) {
    std::vector<std::uint64_t> words(200);
    std::uint64_t state = 1;
    for (std::uint64_t& word : words) {
        state = state * 6364136223846793005 + 1442695040888963407;
        word = (state >> 62) * 0x55 << 56 | (state >> 40 & 3) * 5;
    }
    std::array<bool, kTypes> none{}, one{}, two{}, allButOne{};
    one[0xFF] = two[0x55] = two[0xAA] = true;
    allButOne.fill(true);
    allButOne[0] = false;
    for (std::size_t size = 0; size <= 67; ++size) {
        SCOPED_TRACE(size);
        const Words part(words.data() + size % 5, size);
        ExpectMaskedHits(0, 0, part);                             // all
        ExpectMaskedHits(0x5500000000000000, ~kCountMask, part);  // some
        ExpectMaskedHits(5, kCountMask, part);
        ExpectMaskedHits(7, 8, part);                   // of a value that has bits beside the mask
        ExpectMaskedHits(words[40], UINT64_MAX, part);  // few
        ExpectMaskedHits(0xF0, 0xFF, part);             // none
        for (const auto& types : {none, one, two, allButOne}) {
            ExpectHits(WordFilter::OfTypes(types), part, [&](std::uint64_t word) { return types[word >> 56]; });
        }
    }
    ExpectMaskedHits(0, 3, words);
    std::vector<std::uint64_t> rare(67);
    rare[40] = rare[66] = 7;
    ExpectMaskedHits(7, UINT64_MAX, rare);
}

}  // namespace
