// The longest run of equal words, with vectors and without.
#include "analysis/Statistics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <vector>

namespace {

using namespace orm_trace;

TEST(StatisticsTest, FindsTheLongestRun) {
    constexpr std::size_t kBlock = 4096;
    std::vector<std::uint64_t> different(4 * kBlock);
    std::iota(different.begin(), different.end(), 0);
    // Where words are repeated: begin, size.
    // clang-format off
    const std::vector<std::pair<std::size_t, std::size_t>> repeats[] = {
        {}, {{0, 2}}, {{kBlock - 1, 2}}, {{kBlock - 2, 3}, {2 * kBlock, 2}},
        {{5, 2}, {kBlock + 5, 2}, {2 * kBlock + 5, 3}}, {{kBlock - 5, 2 * kBlock}}, {{4 * kBlock - 3, 3}},
        {{0, 4 * kBlock}}, {{kBlock, kBlock}}};
    // clang-format on
    for (const auto& each : repeats) {
        std::vector<std::uint64_t> words = different;
        std::pair<std::size_t, std::size_t> longest{0, 1};
        for (const auto& [begin, size] : each) {
            std::fill_n(words.begin() + static_cast<long>(begin), size, words[begin]);
            if (size > longest.second) longest = {begin, size};
        }
        for (const std::size_t part : {std::size_t{1}, std::size_t{7}, kBlock, kBlock + 1, words.size()}) {
            Statistics statistics(100, {});
            for (std::size_t at = 0; at < words.size(); at += part) {
                statistics.Add(Words(words).subspan(at, std::min(part, words.size() - at)));
            }
            const EqualRun& run = statistics.LongestRun();
            EXPECT_EQ(std::pair(run.first - 100, run.count), longest) << &each - repeats << ' ' << part;
            EXPECT_EQ(run.word, words[longest.first]) << &each - repeats << ' ' << part;
        }
    }
    EXPECT_EQ(Statistics(0, {}).LongestRun().count, 0U);
}

}  // namespace
