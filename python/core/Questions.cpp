#include "python/core/Questions.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>
#include <span>
#include <utility>

#include "analysis/BlockIndex.h"
#include "analysis/ExactTime.h"
#include "analysis/StampTimeline.h"
#include "analysis/Statistics.h"
#include "analysis/WordFilter.h"

namespace py = pybind11;

namespace orm_trace {
namespace {

// Numbers of which nobody knows beforehand how many there are.
class GrowingArray {
public:
    GrowingArray() = default;
    ~GrowingArray() { std::free(m_numbers); }
    GrowingArray(const GrowingArray&) = delete;
    GrowingArray& operator=(const GrowingArray&) = delete;

    // Returns: where the next numbers go, with room for so many. expected: of how many there will be in all, as far as that
    //          can be told by now. Errors: std::bad_alloc.
    std::uint64_t* Room(std::size_t count, std::size_t expected) {
        constexpr std::size_t kFew = (1 << 20) / sizeof(std::uint64_t);  // are not enough to tell
        const std::size_t least = m_size + count;
        const std::size_t more = std::max(least, 2 * m_capacity);
        if (m_capacity < least && (m_size < kFew || !Resize(std::max(more, expected))) && !Resize(more)) {
            throw std::bad_alloc();
        }
        return m_numbers + m_size;
    }
    void Add(std::size_t count) noexcept { m_size += count; }
    std::size_t Size() const noexcept { return m_size; }

    // Returns: the numbers, which std::free frees, and never null. The array is empty afterwards. Errors: std::bad_alloc.
    std::uint64_t* Release() {
        if ((m_numbers == nullptr || m_size < m_capacity) && !Resize(std::max<std::size_t>(m_size, 1)))
            throw std::bad_alloc();
        m_size = m_capacity = 0;
        return std::exchange(m_numbers, nullptr);
    }

private:
    // Memory of the C library's allocator is in place still when it is asked for again soon.
    bool Resize(std::size_t capacity) noexcept {
        auto* const numbers = static_cast<std::uint64_t*>(std::realloc(m_numbers, capacity * sizeof(std::uint64_t)));
        if (numbers == nullptr) return false;
        m_numbers = numbers;
        m_capacity = capacity;
        AskForLargePages();
        return true;
    }

    // They save most of the page faults, as in arrays of numpy.
    void AskForLargePages() noexcept {
        constexpr std::size_t kMany = 4 << 20;  // bytes
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        const std::size_t size = m_capacity * sizeof(std::uint64_t);
        if (size < kMany) return;
        const std::size_t before = -reinterpret_cast<std::uintptr_t>(m_numbers) % page;
        madvise(reinterpret_cast<char*>(m_numbers) + before, (size - before) / page * page, MADV_HUGEPAGE);
    }

    std::uint64_t* m_numbers = nullptr;
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;
};

// Returns: an array of Python that takes over the numbers.
py::array_t<std::uint64_t> AsArray(GrowingArray& array) {
    const auto count = static_cast<py::ssize_t>(array.Size());
    const py::capsule owner(array.Release(), [](void* numbers) { std::free(numbers); });
    return py::array_t<std::uint64_t>(count, static_cast<const std::uint64_t*>(owner), owner);
}

// Returns: an array with an answer for each word.
template <class Answer, class Ask> py::array_t<Answer> Map(const WordSource& words, Ask ask) {
    py::array_t<Answer> answers(static_cast<py::ssize_t>(words.Count()));
    Answer* next = answers.mutable_data();
    Unlocked unlocked;
    words.ForEachPart(unlocked, [&](Words part, std::uint64_t) {
        for (const std::uint64_t word : part) *next++ = ask(word);
    });
    return answers;
}

py::dict TypeCounts(const std::array<std::uint64_t, kTypes>& counts) {
    py::dict types;
    for (std::size_t type = 0; type < kTypes; ++type) {
        std::array<char, 8> name;
        std::snprintf(name.data(), name.size(), "0x%02X", static_cast<unsigned>(type));
        if (counts[type] != 0) types[name.data()] = counts[type];
    }
    return types;
}

py::list StepList(const StampSteps& steps) {
    using namespace py::literals;
    py::list list;
    for (const StampStep& step : steps.first) list.append(py::dict("sample"_a = step.sample, "ticks"_a = step.ticks));
    return list;
}

void AddSteps(py::dict& answer, const StampSteps& gaps, const StampSteps& back) {
    answer["steps_back"] = StepList(back);
    answer["steps_back_count"] = back.count;
    answer["gaps"] = StepList(gaps);
    answer["gaps_count"] = gaps.count;
}

}  // namespace

py::array_t<std::uint64_t> Find(const WordSource& words, std::uint64_t value, std::uint64_t mask) {
    GrowingArray hits;
    {
        Unlocked unlocked;
        const WordFilter filter = WordFilter::Masked(value, mask);
        words.ForEachPart(unlocked, [&](Words part, std::uint64_t first) {
            // As many as so far in every word, and an eighth more.
            const double density = first == 0 ? 0 : static_cast<double>(hits.Size()) / static_cast<double>(first);
            const auto expected = static_cast<std::size_t>(1.125 * density * static_cast<double>(words.Count()));
            hits.Add(filter.Collect(part, first, hits.Room(part.size(), expected)));
        });
    }
    return AsArray(hits);
}

py::array_t<bool> IsStampOf(const WordSource& words) {
    return Map<bool>(words, [](std::uint64_t word) { return IsStamp(word); });
}

py::array_t<std::uint64_t> Ticks(const WordSource& words, std::uint64_t reference, std::uint64_t other) {
    return Map<std::uint64_t>(words,
                              [=](std::uint64_t word) { return IsStamp(word) ? TicksOf(word, reference) : other; });
}

py::array_t<std::int64_t> Times(const WordSource& words, std::int64_t zero, std::uint64_t reference) {
    constexpr std::int64_t kNone = std::numeric_limits<std::int64_t>::min();  // NaT
    constexpr std::int64_t kGreatest = std::numeric_limits<std::int64_t>::max();
    if (zero > kGreatest - static_cast<std::int64_t>(UINT64_MAX / kTicksPerMicrosecond)) {
        throw std::overflow_error("zero is so late that times after it cannot be represented");
    }
    return Map<std::int64_t>(words, [=](std::uint64_t word) {
        return IsStamp(word) ? TimeAt(Microseconds{zero}, TicksOf(word, reference)).count : kNone;
    });
}

py::dict Stats(const WordSource& words, std::uint64_t reference, std::uint64_t gap, std::size_t limit) {
    using namespace py::literals;
    Statistics statistics(0, {reference, gap, limit});
    {
        Unlocked unlocked;
        words.ForEachPart(unlocked, [&](Words part, std::uint64_t) { statistics.Add(part); });
    }
    py::dict answer("samples"_a = statistics.Samples(), "types"_a = TypeCounts(statistics.Types()));
    const StampTotals& stamps = statistics.Stamps();
    const auto ticks = [&](std::uint64_t number) {
        return stamps.count != 0 ? py::object(py::int_(number)) : py::none();
    };
    answer["stamps"] =
        py::dict("count"_a = stamps.count, "first"_a = ticks(stamps.first), "last"_a = ticks(stamps.last),
                 "least"_a = ticks(stamps.least), "greatest"_a = ticks(stamps.greatest));
    AddSteps(answer, statistics.Gaps(), statistics.StepsBack());
    const EqualRun& run = statistics.LongestRun();
    answer["longest_run"] =
        run.count != 0 ? py::object(py::dict("word"_a = run.word, "first"_a = run.first, "count"_a = run.count))
                       : py::none();
    return answer;
}

py::dict Columns(const WordSource& words, std::uint64_t columns, std::uint64_t reference, std::uint64_t gap,
                 std::size_t limit) {
    using namespace py::literals;
    const auto size = static_cast<py::ssize_t>(columns);
    py::array_t<std::uint64_t> edges(size + 1), stamps(size), least(size), greatest(size);
    py::array_t<std::uint64_t> types({size, static_cast<py::ssize_t>(kTypes)});
    std::uint64_t *edge = edges.mutable_data(), *count = stamps.mutable_data(), *low = least.mutable_data(),
                  *high = greatest.mutable_data(), *type = types.mutable_data();
    Steps steps;
    {
        Unlocked unlocked;
        BlockIndex index(words.Count(), reference, gap);
        words.ForEachPart(unlocked, [&](Words part, std::uint64_t first) { index.Fill(first, part); });
        index.Finish();
        const auto read = [&](std::uint64_t first, std::span<std::uint64_t> part) {
            words.Read(first, part);
            return part.size();
        };
        edge[0] = 0;
        for (std::uint64_t n = 0; n < columns; ++n) {
            // Words and columns are fewer than 2^61 and 2^32, but their product may be more than 2^64.
            edge[n + 1] = words.Count() / columns * (n + 1) + words.Count() % columns * (n + 1) / columns;
            const RangeSummary summary = index.Summarize(edge[n], edge[n + 1], read);
            std::copy(summary.types.begin(), summary.types.end(), type + n * kTypes);
            count[n] = summary.stamps.count;
            low[n] = summary.stamps.least;
            high[n] = summary.stamps.greatest;
        }
        steps = StampTimeline(index, limit, read).All();
    }
    py::dict answer("edges"_a = edges, "types"_a = types, "stamps"_a = stamps, "least"_a = least,
                    "greatest"_a = greatest);
    AddSteps(answer, steps.gaps, steps.back);
    return answer;
}

}  // namespace orm_trace
