// Steps and times from an index: at its edges, and in files that become shorter. The fuzz target has a model of the rest.
#include "analysis/StampTimeline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

using orm_trace::BlockIndex;
using orm_trace::StampSteps;
using orm_trace::StampTimeline;

constexpr std::uint64_t kGap = 5000;

std::vector<std::pair<std::uint64_t, std::uint64_t>> Listed(const StampSteps& steps) {
    std::vector<std::pair<std::uint64_t, std::uint64_t>> list;
    for (const auto& step : steps.first) list.emplace_back(step.sample, step.ticks);
    return list;
}

// The file becomes shorter: what was there before is found.
TEST(StampTimeline, FindsWhatIsLeftOfTheFile) {
    const std::size_t kBlock = BlockIndex::kBlock;
    const std::uint64_t stamp = std::uint64_t{0x88} << 56;
    for (const std::uint64_t second : {200U, 100U}) {
        std::vector<std::uint64_t> words(2 * kBlock);
        words[1] = stamp | 100;
        words[kBlock + 1] = stamp | second;
        BlockIndex index(words.size(), 0, kGap);
        index.Fill(0, words);
        index.Finish();
        std::size_t available = words.size();
        const auto read = [&](std::uint64_t first, std::span<std::uint64_t> to) {
            const std::size_t size = std::min(to.size(), available - std::min<std::size_t>(first, available));
            std::copy_n(words.begin() + static_cast<std::ptrdiff_t>(first), size, to.begin());
            return size;
        };
        const StampTimeline timeline(index, 1, read);
        const auto& stretch = timeline.Stretches()[0];
        EXPECT_EQ(timeline.Find(stretch, 100, read), stretch.begin);
        EXPECT_EQ(timeline.Find(stretch, second, read), second == 100 ? 0 : kBlock + 1);
        available = kBlock + 1;
        EXPECT_EQ(timeline.Find(stretch, second, read), second == 100 ? 0 : available);
        const auto columns = timeline.Columns(stretch, {100, second + 1}, read);
        EXPECT_EQ(columns[0].types[0], kBlock) << second;
    }
}

// A block before all stamps is not at the first of them.
TEST(StampTimeline, FindsTheFirstTicks) {
    const std::size_t kBlock = BlockIndex::kBlock;
    std::vector<std::uint64_t> words(2 * kBlock);
    for (const std::size_t ticks : {0U, 1U}) words[kBlock + 5 + ticks] = std::uint64_t{0x88} << 56 | ticks;
    BlockIndex index(words.size(), 0, kGap);
    index.Fill(0, words);
    index.Finish();
    const auto read = [&](std::uint64_t first, std::span<std::uint64_t> to) {
        std::copy_n(words.begin() + static_cast<std::ptrdiff_t>(first), to.size(), to.begin());
        return to.size();
    };
    const StampTimeline timeline(index, 1, read);
    EXPECT_EQ(timeline.Find(timeline.Stretches()[0], 1, read), kBlock + 6);
}

TEST(StampTimeline, EndsWhereWordsAreMissing) {
    const std::size_t kBlock = BlockIndex::kBlock;
    for (const std::size_t back : {std::size_t{100}, std::size_t{0}}) {
        std::vector<std::uint64_t> words(3 * kBlock);
        for (std::size_t n = 0; n < words.size(); ++n) words[n] = std::uint64_t{0x88} << 56 | (n < 5000 ? n : n - back);
        BlockIndex index(words.size(), 0, kGap);
        index.Fill(0, words);
        index.Finish();
        for (const std::size_t available : {words.size(), std::size_t{5001}, std::size_t{5000}, std::size_t{20}}) {
            int reads = 0;
            const auto read = [&](std::uint64_t first, std::span<std::uint64_t> to) {
                // The step is found in the whole file, which becomes shorter after that.
                const std::size_t end = reads++ == 0 && back != 0 ? words.size() : available;
                const std::size_t size = std::min(to.size(), end - std::min<std::size_t>(first, end));
                std::copy_n(words.begin() + static_cast<std::ptrdiff_t>(first), size, to.begin());
                return size;
            };
            const StampTimeline timeline(index, 10, read);
            EXPECT_EQ(timeline.All().back.count, back != 0 ? 1U : 0U);
            EXPECT_EQ(timeline.Stretches().size(), back == 0 ? 1U : available > 5000 ? 2U : 0U) << available;
            if (back != 0) continue;
            // The rest of a block, a whole one, which is not read, and what there is of the last one.
            const std::size_t last = available == words.size() ? kBlock : 0;
            for (const std::size_t from : {std::size_t{1}, std::size_t{10}, kBlock}) {
                reads = 0;
                const auto columns = timeline.Columns(timeline.Stretches()[0], {from, words.size()}, read);
                const std::size_t size = std::min(available, kBlock) - std::min(from, available) + kBlock + last;
                EXPECT_TRUE(from == kBlock || columns[0].types[0x88] == size) << available << from;
                EXPECT_TRUE(available != words.size() || reads == (from < kBlock ? 3 : 2)) << from;
            }
        }
    }
}

// Steps within blocks and to the next one, and the blocks that are read to list them.
TEST(StampTimeline, ReadsOnlyBlocksWithStepsToList) {
    using Pairs = std::vector<std::pair<std::uint64_t, std::uint64_t>>;
    constexpr std::uint64_t kBlock = BlockIndex::kBlock, kSize = 3 * kBlock;
    struct Row {
        Pairs stamps, gaps, back;           // sample, ticks
        std::vector<std::uint64_t> blocks;  // a step back is looked at again, for its stretch
        std::size_t limit = 9;
        std::size_t moreGaps = 0, moreBack = 0;  // that are only counted
    };
    const Row rows[] = {
        {{}, {}, {}, {}},
        {{{5, 900000}}, {}, {}, {}},
        {{{5, 0}, {kBlock, kGap}}, {}, {}, {}},
        {{{5, 0}, {kBlock, kGap + 1}}, {{kBlock, kGap + 1}}, {}, {1}},
        {{{5, 7}, {kBlock, 7}}, {}, {}, {}},
        {{{5, kGap}, {kBlock, kGap}}, {}, {}, {}},
        {{{5, 7}, {9, 7 + kGap}, {12, 7}}, {}, {{12, kGap}}, {0, 0}},
        {{{5, 7}, {kBlock, 6}}, {}, {{kBlock, 1}}, {1, 1}},
        {{{5, 7}, {9, 7 + kGap}}, {}, {}, {}},
        {{{5, 7}, {9, 8 + kGap}}, {{9, kGap + 1}}, {}, {0}},
        {{{5, 7}, {9, 0}}, {}, {{9, 7}}, {0, 0}},
        {{{5, 7}, {2 * kBlock, 900000}}, {{2 * kBlock, 899993}}, {}, {2}},
        // The list of steps back is full, the one of gaps is not, and the other way round.
        {{{5, 7}, {9, 0}, {kBlock, 9}, {kBlock + 1, 8}, {2 * kBlock, 7}}, {}, {{9, 7}}, {0, 0}, 1, 0, 2},
        {{{5, 7}, {9, 0}, {kBlock, 9}, {kBlock + 1, 8}, {kBlock + 2, 9 + kGap}},
         {{kBlock + 2, kGap + 1}},
         {{9, 7}},
         {0, 1, 0},
         1,
         0,
         1},
        {{{0, 0}, {1, 9000}, {kBlock, 15000}, {kBlock + 1, 24000}, {kBlock + 2, 33000}, {2 * kBlock, 39000}},
         {{1, 9000}},
         {},
         {0},
         1,
         4},
        {{{0, 0}, {1, 9000}, {kBlock, 18000}, {kBlock + 1, 17999}}, {{1, 9000}}, {{kBlock + 1, 1}}, {0, 1, 1}, 1, 1},
        {{{0, 0}, {1, 9000}, {2, 1}}, {}, {}, {}, 0, 1, 1}};
    for (const auto& [stamps, gaps, back, blocks, limit, moreGaps, moreBack] : rows) {
        SCOPED_TRACE(testing::PrintToString(stamps));
        std::vector<std::uint64_t> words(kSize), read;
        for (const auto& [sample, ticks] : stamps) words[sample] = std::uint64_t{0x88} << 56 | ticks;
        BlockIndex index(kSize, 0, kGap);
        index.Fill(0, words);
        index.Finish();
        const StampTimeline timeline(index, limit, [&](std::uint64_t first, std::span<std::uint64_t> to) {
            std::copy_n(words.begin() + static_cast<std::ptrdiff_t>(first), to.size(), to.begin());
            read.push_back(first / kBlock);
            return to.size();
        });
        EXPECT_EQ(Listed(timeline.All().gaps), gaps);
        EXPECT_EQ(Listed(timeline.All().back), back);
        EXPECT_EQ(timeline.All().gaps.count, gaps.size() + moreGaps);
        EXPECT_EQ(timeline.All().back.count, back.size() + moreBack);
        EXPECT_EQ(read, blocks);
        EXPECT_EQ(timeline.Stretches().size(), std::min(limit, back.size() + 1));
    }
}

}  // namespace
