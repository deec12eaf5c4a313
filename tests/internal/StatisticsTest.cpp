// The longest run of equal words, with vectors and without, against one word at a time.
#include "analysis/Statistics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <utility>
#include <vector>

namespace {

using namespace orm_trace;

EqualRun LongestOf(Words words, std::uint64_t first) {
    EqualRun longest;
    for (std::size_t begin = 0, end = 0; begin < words.size(); begin = end) {
        while (end < words.size() && words[end] == words[begin]) ++end;
        if (end - begin > longest.count) longest = {words[begin], first + begin, end - begin};
    }
    return longest;
}

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
        for (const auto& [begin, size] : each)
            std::fill_n(words.begin() + static_cast<long>(begin), size, words[begin]);
        for (const std::size_t part : {std::size_t{1}, std::size_t{7}, kBlock, kBlock + 1, words.size()}) {
            Statistics statistics(100, {});
            for (std::size_t at = 0; at < words.size(); at += part) {
                statistics.Add(Words(words).subspan(at, std::min(part, words.size() - at)));
            }
            const EqualRun expected = LongestOf(words, 100), &run = statistics.LongestRun();
            EXPECT_EQ(std::tuple(run.word, run.first, run.count),
                      std::tuple(expected.word, expected.first, expected.count))
                << &each - repeats << ' ' << part;
        }
    }
    EXPECT_EQ(Statistics(0, {}).LongestRun().count, 0U);
}

}  // namespace
