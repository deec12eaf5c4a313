// Summaries from an index, compared with a plain count.
#include "analysis/BlockIndex.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <thread>
#include <tuple>

namespace {

using orm_trace::BlockIndex;
using orm_trace::RangeSummary;

constexpr std::uint64_t kBlock = BlockIndex::kBlock;

std::vector<std::uint64_t> RandomWords(std::size_t size, std::uint32_t stampsOf256) {
    std::mt19937_64 random(size + stampsOf256);
    std::vector<std::uint64_t> words(size);
    for (std::size_t n = 0; n < size; ++n) {
        const std::uint64_t type = random() % 256 < stampsOf256 ? 0x88 + 8 * (random() % 14) : random() % 256;
        // Stamps mostly go forward.
        const std::uint64_t count = random() % 16 == 0 ? random() : random() % 4096 + 256 * n;
        words[n] = (type << 56) | (count << 8 >> 8);
    }
    return words;
}

// One word after another.
RangeSummary PlainSummary(orm_trace::Words words, std::uint64_t reference) {
    RangeSummary plain;
    auto& stamps = plain.stamps;
    for (const std::uint64_t word : words) {
        ++plain.samples;
        ++plain.types[word >> 56];
        if (!orm_trace::IsStamp(word)) continue;
        const std::uint64_t ticks = (word & 0xFFFFFFFFFFFFFF) + (word >> 56 == 0xB0 ? 0 : reference);
        if (stamps.count++ == 0) {
            stamps.first = ticks;
        } else if (ticks < stamps.last) {
            ++stamps.stepsBack;
        } else {
            stamps.greatestStep = std::max(stamps.greatestStep, ticks - stamps.last);
        }
        stamps.last = ticks;
        stamps.least = std::min(stamps.least, ticks);
        stamps.greatest = std::max(stamps.greatest, ticks);
    }
    return plain;
}

// The first half of the blocks is filled by one thread in one part, the others by another one in several.
BlockIndex Filled(orm_trace::Words words, std::uint64_t reference) {
    BlockIndex index(words.size(), reference);
    const std::size_t half = words.size() / kBlock / 2 * kBlock;
    std::thread other([&] { index.Fill(0, words.first(half)); });
    for (std::size_t at = half; at < words.size(); at += 3 * kBlock) {
        index.Fill(at, words.subspan(at, std::min<std::size_t>(3 * kBlock, words.size() - at)));
    }
    other.join();
    index.Finish();
    return index;
}

TEST(BlockIndex, SummarizesEveryRangeExactly) {
    constexpr std::uint64_t kLarge = 16 * 16 * kBlock;
    // samples, reference, stamps of 256 words
    // clang-format off
    const std::tuple<std::size_t, std::uint64_t, std::uint32_t> runs[] = {
        {0, 0, 32}, {1, 1, 256}, {4095, 0, 32}, {4096, UINT64_MAX, 32}, {4097, 5, 256},
        {65535, std::uint64_t{1} << 63, 32}, {65536, 170000000, 1}, {65537, UINT64_MAX - 100000, 128}, {kLarge, 0, 0},
        {kLarge + 3, UINT64_MAX - 300000000, 32}};
    // clang-format on
    for (const auto& [size, reference, stampsOf256] : runs) {
        const auto words = RandomWords(size, stampsOf256);
        const BlockIndex index = Filled(words, reference);
        int reads = 0;
        const auto read = [&, &words = words](std::uint64_t first, std::span<std::uint64_t> to) {
            EXPECT_LT(to.size(), kBlock);
            std::copy_n(words.begin() + static_cast<std::ptrdiff_t>(first), to.size(), to.begin());
            ++reads;
            return to.size();
        };
        std::vector<std::uint64_t> edges{size, UINT64_MAX};
        for (const std::uint64_t base : {std::uint64_t{1}, kBlock, 2 * kBlock, 16 * kBlock, 17 * kBlock, kLarge})
            edges.insert(edges.end(), {base - 1, base, base + 1, base * 19491001 % (size + 1)});
        for (const std::uint64_t begin : edges) {
            for (const std::uint64_t end : edges) {
                if (size >= kLarge && (begin ^ end) % 4 == 1) continue;  // a plain count takes long
                const std::uint64_t last = std::min<std::uint64_t>(end, size), first = std::min(begin, last);
                const auto range = orm_trace::Words(words).subspan(first, last - first);
                const RangeSummary expected = PlainSummary(range, reference);
                reads = 0;
                ASSERT_EQ(index.Summarize(begin, end, read), expected) << size << ": " << begin << " to " << end;
                ASSERT_EQ(orm_trace::Summarize(range, reference), expected) << size << ": " << begin << " to " << end;
                const bool isWhole = first % kBlock == 0 && (last % kBlock == 0 || last == size);
                ASSERT_LE(reads, isWhole ? 0 : 2);
                if (isWhole) {
                    ASSERT_EQ(index.SummarizeBlocks(begin, end), expected);
                }
            }
        }
    }
}

TEST(BlockIndex, EndsWhereWordsAreMissing) {
    const auto words = RandomWords(3 * kBlock, 32);
    const auto read = [&](std::uint64_t first, std::span<std::uint64_t> to) {
        std::copy_n(words.begin() + static_cast<std::ptrdiff_t>(first), 7, to.begin());
        return std::size_t{7};
    };
    const BlockIndex index = Filled(words, 9);
    EXPECT_EQ(index.Summarize(10, 3 * kBlock, read), PlainSummary({words.data() + 10, 7}, 9));
    EXPECT_EQ(index.Summarize(0, kBlock + 10, read), PlainSummary({words.data(), kBlock + 7}, 9));
}

TEST(BlockIndex, TakesTwoPercent) {
    EXPECT_LE(Filled(RandomWords(4000000, 0), 0).MemoryUse(), 4000000 * 8 / 50);
    const std::size_t empty = Filled({}, 0).MemoryUse();
    EXPECT_TRUE(empty > sizeof(BlockIndex) && empty < sizeof(BlockIndex) + 100);
    // Of a block, its counts of 16 bits, its stamps, and its gaps; above them, counts of 32 bits.
    for (const auto& [blocks, above] :
         {std::pair(1U, 0U), {2U, 1U}, {16U, 1U}, {17U, 3U}, {257U, 20U}, {65537U, 4373U}}) {
        BlockIndex index(blocks * kBlock, 0);
        index.Finish();
        EXPECT_EQ(index.MemoryUse() - empty, blocks * (512 + 56 + 2) + above * (1024 + 56)) << blocks;
    }
}

// A node counts in 32 bits, so that there are several of the highest level.
TEST(BlockIndex, HasAsManyLevelsAsCountsAllow) {
    constexpr std::uint64_t kBlocks = 16 * 16 * 16 * 16 + 1;
    BlockIndex index(kBlocks * kBlock, 0);
    const auto words = RandomWords(kBlock, 32);
    for (const std::uint64_t at : {std::uint64_t{0}, kBlocks / 2, kBlocks - 1}) index.Fill(at * kBlock, words);
    index.Finish();
    RangeSummary expected = PlainSummary(words, 0);
    const RangeSummary one = expected;
    for (int n = 0; n < 2; ++n) expected.Append(one);
    expected.samples = kBlocks * kBlock;
    EXPECT_EQ(index.SummarizeBlocks(0, kBlocks * kBlock), expected);
    EXPECT_NE(index.SummarizeBlocks(0, kBlock), expected);
}

}  // namespace
