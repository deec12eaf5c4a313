// orm-trace cut, beside a plain cut of the file in memory. The source does not change.
// The first byte of the input chooses options; the others are the file.
#include <optional>

#include "fuzz/Fuzz.h"
#include "fuzz/ToolRun.h"

using namespace fuzz;
using orm_trace::ExitCode;

namespace {

constexpr char kOrigin[] = "orm-trace/origin";

// Options of the command line, and what they ask for.
struct Options {
    const char* text;
    std::uint64_t first = 0;  // sample
    std::optional<std::uint64_t> count = {};
    std::optional<std::uint64_t> from = {}, to = {};  // microseconds after the zero; the reference is 170000
    bool hasOrigin = true;
    bool isPlain = false;  // the name is not that of a TDF file
    const char* keep = nullptr;
    bool isOfVersion1 = false;  // what is kept
    const char* drop = nullptr;
};

#define ZERO " --zero \"2000-01-01 00:00:00\" --reference 170000"
#define AFTER_ZERO "\"2000-01-01 00:00:00."
const Options kOptions[] = {
    {.text = ""},
    {.text = " --from 1 --count 2", .first = 1, .count = 2},
    {.text = " --from 3 --no-origin", .first = 3, .hasOrigin = false},
    {.text = " --count 0 --json", .count = 0},
    {.text = " --from 5 --count 18446744073709551615", .first = 5, .count = UINT64_MAX},
    {.text = " --section Notes", .keep = "Notes"},
    {.text = " --section Notes:1 --no-origin --count 1",
     .count = 1,
     .hasOrigin = false,
     .keep = "Notes",
     .isOfVersion1 = true},
    {.text = " --drop Notes --from 1", .first = 1, .drop = "Notes"},
    {.text = ZERO " --from-time " AFTER_ZERO "001001\"", .from = 1001},
    {.text = ZERO " --to-time " AFTER_ZERO "002\" --json", .to = 2000},
    {.text = ZERO " --from-time " AFTER_ZERO "0015\" --to-time " AFTER_ZERO "300\" --no-origin",
     .from = 1500,
     .to = 300000,
     .hasOrigin = false},
    {.text = "", .isPlain = true},
    {.text = " --from 2 --count 3 --no-origin", .first = 2, .count = 3, .hasOrigin = false, .isPlain = true},
    {.text = ZERO " --from-time " AFTER_ZERO "001001\"", .from = 1001, .isPlain = true},
};

// Bytes of the file: those of the samples, as far as it has them.
struct Samples {
    std::size_t begin, end;
    std::uint64_t count, available;  // by the length that is claimed; those that can be read
};

Samples SamplesOf(std::string_view file, const Section* trace) {
    const std::size_t begin = trace ? trace->Data() : 0, length = trace ? trace->DataLength() : file.size();
    const std::uint64_t count = (length + 7) / 8, left = file.size() - std::min(file.size(), begin);
    return {begin, begin + length, count, std::min<std::uint64_t>(count, left / 8)};
}

struct Range {
    std::uint64_t first, count;
};

// Nothing when no stamp is in the range by time.
std::optional<Range> RangeOf(const Options& options, std::string_view file, const Samples& samples) {
    const std::uint64_t total = samples.count;
    if (!options.from && !options.to)
        return Range{options.first, options.count.value_or(total - std::min(total, options.first))};
    std::optional<std::uint64_t> first, end;
    bool hasStamps = false;
    for (std::uint64_t n = 0; n < samples.available && !end; ++n) {
        const std::size_t at = samples.begin + 8 * n;
        const std::uint64_t word = Le32(file, at) | Le32(file, at + 4) << 32;
        if (!IsStampType(word >> 56)) continue;
        const std::uint64_t ticks = (word & 0xFFFFFFFFFFFFFF) + (word >> 56 == 0xB0 ? 0 : 170000);
        if (!first && ticks / 170 >= options.from.value_or(0)) first = n;
        hasStamps = true;
        if (first && options.to && ticks / 170 > *options.to) end = n;
    }
    if (options.from ? !first : !hasStamps) return {};
    if (!options.from) first = 0;
    if (options.from && options.to && end == first) return {};
    return Range{*first, end.value_or(total) - *first};
}

void Append(std::string& out, std::string_view name, std::string_view data) {
    out += Le32(12 + name.size() + data.size()) + Le32(1) + Le32(name.size());
    out += name;
    out += data;
}

void Check(const Options& options, const std::string& file, ExitCode code, const char* name) {
    const bool hasOutput = access("out.tdf", F_OK) == 0;
    const bool isTDF = !options.isPlain && file.substr(0, 4) == "TDF2";
    const auto sections = isTDF ? Walk(file) : std::vector<Section>();
    const Section* const trace = Find(sections, "BinTraceData", 1);
    if (isTDF && trace == nullptr) return Require(code == ExitCode::kNotATrace && !hasOutput);
    const Samples samples = SamplesOf(file, trace);
    const auto range = RangeOf(options, file, samples);
    if (!range) return Require(code == ExitCode::kFailed && !hasOutput);
    const Section* const older = options.hasOrigin ? Find(sections, kOrigin, 1) : nullptr;
    if (older != nullptr && code == ExitCode::kNotATrace) return Require(!hasOutput);  // it does not say it
    const auto isNamed = [](const char* wanted, const Section& section) {
        return wanted != nullptr && section.name == wanted;
    };
    const auto isKept = [&](const Section& section) {
        return isNamed(options.keep, section) && (!options.isOfVersion1 || section.version == 1);
    };
    const auto isDropped = [&](const Section& section) { return isNamed(options.drop, section); };
    if ((options.keep != nullptr && std::none_of(sections.begin(), sections.end(), isKept)) ||
        (options.drop != nullptr && std::none_of(sections.begin(), sections.end(), isDropped)))
        return Require(code == ExitCode::kFailed && !hasOutput);

    const std::uint64_t first = std::min(range->first, samples.count);
    const std::uint64_t count = std::min(range->count, samples.count - first);
    const std::size_t fileEnd = std::min(samples.end, file.size());
    const std::size_t begin = std::min<std::size_t>(samples.begin + first * 8, fileEnd);
    const std::size_t end = std::min<std::size_t>(samples.begin + (first + count) * 8, fileEnd);
    const std::string_view bytes = std::string_view(file).substr(begin, end - begin);
    std::string expected = "TDF2";
    if (!isTDF) Append(expected, "BinTraceData", bytes);
    for (const Section& section : sections) {
        const bool isOlder = section.name == kOrigin && section.version == 1;
        const bool isCopied =
            !isOlder && section.End() <= file.size() && (options.keep ? isKept(section) : !isDropped(section));
        if (&section == trace) {
            Append(expected, "BinTraceData", bytes);
        } else if (isCopied) {
            expected += file.substr(section.offset, section.length);
        }
    }
    std::string out = ReadFile("out.tdf");
    const std::string number = std::to_string((bytes.size() + 7) / 8);
    if (older == nullptr && options.hasOrigin) {
        Append(expected, kOrigin,
               std::string("{\"file\":\"") + name + "\",\"first_sample\":\"" + std::to_string(first) +
                   "\",\"count\":\"" + number + "\",\"tool_version\":\"" + ORM_TRACE_VERSION + "\"}\n");
    } else if (older != nullptr) {
        const std::size_t size = out.size() - std::min(out.size(), expected.size());
        const auto made = Walk(out);
        Require(!made.empty() && made.back().offset == expected.size() && made.back().End() == out.size());
        Require(made.back().name == kOrigin && made.back().version == 1);
        Require(out.find("\"count\":\"" + number + "\",", out.size() - size) != out.npos);
        out.resize(expected.size());
    }
    Require(out == expected);
    const bool isWhole = !isTDF || (sections.empty() ? 4 : sections.back().End()) == file.size();
    const std::uint64_t available = samples.available - std::min(samples.available, first);
    const bool isComplete = range->count <= available && range->first <= samples.count;
    Require(code == (isWhole && isComplete ? ExitCode::kOk : ExitCode::kIncomplete));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Folder folder;
    static std::vector<ToolRun> cuts;
    for (std::size_t n = cuts.size(); n < std::size(kOptions); ++n) {
        const Options& options = kOptions[n];
        cuts.emplace_back(orm_trace::AddCutCommand,
                          std::string("cut -o out.tdf ") + (options.isPlain ? "f.bin" : "f.tdf") + options.text);
    }
    Input input(data, size);
    const std::size_t which = input.Number() % std::size(kOptions);
    const char* const name = kOptions[which].isPlain ? "f.bin" : "f.tdf";
    const std::string file(input.Rest());
    WriteFile(name, file);
    unlink("out.tdf");
    const ExitCode code = cuts[which].Run();
    Require(ReadFile(name) == file);
    Check(kOptions[which], file, code, name);
    return 0;
}
