// Steps and times from an index: at its edges, and in files that become shorter. The fuzz target has a model of the rest.
#include "analysis/StampTimeline.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using orm_trace::BlockIndex;
using orm_trace::StampSteps;
using orm_trace::StampTimeline;

constexpr std::uint64_t kBlock = BlockIndex::kBlock, kGap = 5000;
using Pairs = std::vector<std::pair<std::uint64_t, std::uint64_t>>;  // sample, ticks

// Words of which some are stamps, their index, and the file that they are read from.
struct Recording {
    Recording(std::size_t size, const Pairs& stamps) : words(size * kBlock), index(words.size(), 0, kGap) {
        for (const auto& [sample, ticks] : stamps) words[sample] = std::uint64_t{0x88} << 56 | ticks;
        index.Fill(0, words);
        index.Finish();
    }

    std::vector<std::uint64_t> words;
    BlockIndex index;
    std::size_t available = words.size();  // of the words, in the file
    std::vector<std::uint64_t> blocks;     // that were read
    const BlockIndex::ReadWords read = [this](std::uint64_t first, std::span<std::uint64_t> to) {
        blocks.push_back(first / kBlock);
        const std::size_t size = std::min(to.size(), available - std::min<std::size_t>(first, available));
        std::copy_n(words.begin() + static_cast<std::ptrdiff_t>(first), size, to.begin());
        return size;
    };
};

Pairs Listed(const StampSteps& steps) {
    Pairs list;
    for (const auto& step : steps.first) list.emplace_back(step.sample, step.ticks);
    return list;
}

// The file becomes shorter: what was there before is found.
TEST(StampTimeline, FindsWhatIsLeftOfTheFile) {
    for (const std::uint64_t second : {200U, 100U}) {
        Recording run(2, {{1, 100}, {kBlock + 1, second}});
        const StampTimeline timeline(run.index, 1, run.read);
        const auto& stretch = timeline.Stretches()[0];
        EXPECT_EQ(timeline.Find(stretch, 100, run.read), stretch.begin);
        EXPECT_EQ(timeline.Find(stretch, second, run.read), second == 100 ? 0 : kBlock + 1);
        run.available = kBlock + 1;
        EXPECT_EQ(timeline.Find(stretch, second, run.read), second == 100 ? 0 : run.available);
        const auto columns = timeline.Columns(stretch, {100, second + 1}, run.read);
        EXPECT_EQ(columns[0].types[0], kBlock) << second;
    }
}

// A block before all stamps is not at the first of them.
TEST(StampTimeline, FindsTheFirstTicks) {
    const Recording run(2, {{kBlock + 5, 0}, {kBlock + 6, 1}});
    const StampTimeline timeline(run.index, 1, run.read);
    EXPECT_EQ(timeline.Find(timeline.Stretches()[0], 1, run.read), kBlock + 6);
}

// A part that begins or ends within a block has not all of the block's steps.
TEST(StampTimeline, FindsTheStepsOfAPart) {
    const Recording run(2, {{5, 0}, {9, 9000}, {kBlock + 3, 8000}});
    const StampTimeline timeline(run.index, 9, run.read);
    // begin, end, and the steps between them
    const std::tuple<std::uint64_t, std::uint64_t, Pairs, Pairs> rows[] = {
        {0, 9, {}, {}},
        {0, 10, {{9, 9000}}, {}},
        {6, kBlock + 3, {}, {}},
        {6, kBlock + 4, {}, {{kBlock + 3, 1000}}},
        {0, 2 * kBlock, {{9, 9000}}, {{kBlock + 3, 1000}}}};
    for (const auto& [begin, end, gaps, back] : rows) {
        const auto listed = timeline.StepsOf(begin, end, 9, run.read),
                   counted = timeline.StepsOf(begin, end, 0, run.read);
        EXPECT_EQ(Listed(listed.gaps), gaps) << begin << ' ' << end;
        EXPECT_EQ(Listed(listed.back), back) << begin << ' ' << end;
        EXPECT_EQ(counted.gaps.count, gaps.size()) << begin << ' ' << end;
        EXPECT_EQ(counted.back.count, back.size()) << begin << ' ' << end;
    }
}

TEST(StampTimeline, EndsWhereWordsAreMissing) {
    constexpr std::size_t kSize = 3 * kBlock;
    for (const std::size_t back : {100U, 0U}) {
        Pairs stamps;
        for (std::size_t n = 0; n < kSize; ++n) stamps.emplace_back(n, n < 5000 ? n : n - back);
        Recording run(3, stamps);
        for (const std::size_t available : {kSize, std::size_t{5001}, std::size_t{5000}, std::size_t{20}}) {
            run.blocks.clear();
            const auto read = [&](std::uint64_t first, std::span<std::uint64_t> to) {
                // The step is found in the whole file, which becomes shorter after that.
                run.available = run.blocks.empty() && back != 0 ? kSize : available;
                return run.read(first, to);
            };
            const StampTimeline timeline(run.index, 10, read);
            EXPECT_EQ(timeline.All().back.count, back != 0 ? 1U : 0U);
            EXPECT_EQ(timeline.Stretches().size(), back == 0 ? 1U : available > 5000 ? 2U : 0U) << available;
            if (back != 0) continue;
            // The rest of a block, a whole one, which is not read, and what there is of the last one.
            const std::size_t last = available == kSize ? kBlock : 0;
            for (const std::size_t from : {std::size_t{1}, std::size_t{10}, std::size_t{kBlock}}) {
                run.blocks.clear();
                const auto columns = timeline.Columns(timeline.Stretches()[0], {from, kSize}, read);
                const std::size_t size = std::min(available, kBlock) - std::min(from, available) + kBlock + last;
                EXPECT_TRUE(from == kBlock || columns[0].types[0x88] == size) << available << from;
                EXPECT_TRUE(available != kSize || run.blocks.size() == (from < kBlock ? 3 : 2)) << from;
            }
        }
    }
}

// Steps within blocks and to the next one, and the blocks that are read to list them.
TEST(StampTimeline, ReadsOnlyBlocksWithStepsToList) {
    struct Row {
        Pairs stamps, gaps, back;
        std::vector<std::uint64_t> blocks;  // a step back is looked at again, for its stretch
        std::size_t limit = 9;
        std::size_t moreGaps = 0, moreBack = 0;  // that are only counted
    };
    // clang-format off
    const Row rows[] = {
        {{}, {}, {}, {}}, {{{5, 900000}}, {}, {}, {}}, {{{5, 0}, {kBlock, kGap}}, {}, {}, {}},
        {{{5, 0}, {kBlock, kGap + 1}}, {{kBlock, kGap + 1}}, {}, {1}},
        {{{5, 7}, {kBlock, 7}}, {}, {}, {}}, {{{5, kGap}, {kBlock, kGap}}, {}, {}, {}},
        {{{5, 7}, {9, 7 + kGap}, {12, 7}}, {}, {{12, kGap}}, {0, 0}},
        {{{5, 7}, {kBlock, 6}}, {}, {{kBlock, 1}}, {1, 1}}, {{{5, 7}, {9, 7 + kGap}}, {}, {}, {}},
        {{{5, 7}, {9, 8 + kGap}}, {{9, kGap + 1}}, {}, {0}}, {{{5, 7}, {9, 0}}, {}, {{9, 7}}, {0, 0}},
        {{{5, 7}, {2 * kBlock, 900000}}, {{2 * kBlock, 899993}}, {}, {2}},
        // The list of steps back is full, the one of gaps is not, and the other way round.
        {{{5, 7}, {9, 0}, {kBlock, 9}, {kBlock + 1, 8}, {2 * kBlock, 7}}, {}, {{9, 7}}, {0, 0}, 1, 0, 2},
        {{{5, 7}, {9, 0}, {kBlock, 9}, {kBlock + 1, 8}, {kBlock + 2, 9 + kGap}},
         {{kBlock + 2, kGap + 1}}, {{9, 7}}, {0, 1, 0}, 1, 0, 1},
        {{{0, 0}, {1, 9000}, {kBlock, 15000}, {kBlock + 1, 24000}, {kBlock + 2, 33000}, {2 * kBlock, 39000}},
         {{1, 9000}}, {}, {0}, 1, 4},
        {{{0, 0}, {1, 9000}, {kBlock, 18000}, {kBlock + 1, 17999}}, {{1, 9000}}, {{kBlock + 1, 1}}, {0, 1, 1}, 1, 1},
        {{{0, 0}, {1, 9000}, {2, 1}}, {}, {}, {}, 0, 1, 1}};
    // clang-format on
    for (const auto& [stamps, gaps, back, blocks, limit, moreGaps, moreBack] : rows) {
        SCOPED_TRACE(testing::PrintToString(stamps));
        const Recording run(3, stamps);
        const StampTimeline timeline(run.index, limit, run.read);
        EXPECT_EQ(Listed(timeline.All().gaps), gaps);
        EXPECT_EQ(Listed(timeline.All().back), back);
        EXPECT_EQ(timeline.All().gaps.count, gaps.size() + moreGaps);
        EXPECT_EQ(timeline.All().back.count, back.size() + moreBack);
        EXPECT_EQ(run.blocks, blocks);
        EXPECT_EQ(timeline.Stretches().size(), std::min(limit, back.size() + 1));
    }
}

}  // namespace
