// Questions to a capture of 1 GiB, which the system has cached: whole commands, and the building of an index, each in a
// process of its own, whose CPU time is measured.
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include <vector>

#include "analysis/BlockIndex.h"
#include "analysis/Word.h"
#include "bench/Common.h"

namespace {

using bench::Descriptor;
using benchmark::State;

constexpr std::uint64_t kSize = 1024 * bench::kMebibyte;
constexpr std::size_t kChunk = 128 * 1024;
constexpr std::size_t kChunkWords = kChunk / 8;
// The lower half of the words to be found, and its bytes in a file. A capture has one in each of its first chunks;
// other words and bytes that equal it are a matter of chance, less than one in a capture.
constexpr std::uint32_t kRareValue = 0x9C4E2D17;
constexpr const char* kRareBytes = R"(\x17\x2D\x4E\x9C)";
constexpr std::uint64_t kRareWords = 500;

// What the types of the words are: one stamp in eight, at random places; or any type at random.
enum class Mix { kEighth, kMixed };

std::uint64_t RandomWord(bench::Random& random, Mix mix) {
    std::uint64_t word = (std::uint64_t{random.Below(UINT32_MAX)} << 32) | random.Below(UINT32_MAX);
    if (mix == Mix::kMixed) return word;
    constexpr auto& kStampTypes = orm_trace::kRelativeStampTypes;
    const bool isStamp = random.Below(8) == 0;
    while (orm_trace::IsStamp(word) != isStamp) {
        const std::uint64_t type =
            isStamp ? kStampTypes[random.Below(kStampTypes.size())] : random.Below(orm_trace::kTypes);
        word = (word & orm_trace::kCountMask) | (type << orm_trace::kTypeShift);
    }
    return word;
}

std::string MakeCapture(Mix mix) {
    std::string path = bench::PathOf(mix == Mix::kEighth ? "eighth.bin" : "mixed.bin");
    const bench::FilePtr stream = bench::Open(path, "wb");
    bench::Random random(1);
    std::vector<std::uint64_t> chunk(kChunkWords);
    for (std::uint64_t n = 0; n < kSize / kChunk; ++n) {
        for (std::uint64_t& word : chunk) word = RandomWord(random, mix);
        if (n < kRareWords) {
            std::uint64_t& word = chunk[random.Below(kChunkWords)];
            word = (word & ~std::uint64_t{UINT32_MAX}) | kRareValue;
        }
        bench::Write(stream.get(), chunk.data(), kChunk);
    }
    return path;
}

const std::string& Capture(Mix mix) {
    static std::array<std::string, 2> paths;
    std::string& path = paths[static_cast<std::size_t>(mix)];
    if (path.empty()) path = MakeCapture(mix);
    return path;
}

// Runs work in a new process, with its output in this file. Returns: the CPU time in seconds, negative when it fails.
double TimeOfProcess(const std::string& output, const std::function<int()>& work) {
    const pid_t child = fork();
    bench::Require(child >= 0, "cannot start a process");
    if (child == 0) {
        int code = 1;
        try {
            const Descriptor file(output, O_WRONLY | O_CREAT | O_TRUNC);
            if (dup2(file, STDOUT_FILENO) == STDOUT_FILENO) code = work();
        } catch (const std::exception& error) {
            std::fprintf(stderr, "%s\n", error.what());
        }
        _exit(code);
    }
    int status = 0;
    rusage usage{};
    bench::Require(wait4(child, &status, 0, &usage) == child, "cannot wait for a process");
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
    };
    return status == 0 ? seconds(usage.ru_utime) + seconds(usage.ru_stime) : -1;
}

void Measure(State& state, const std::string& output, const std::function<int()>& work) {
    for (auto _ : state) {
        const double seconds = TimeOfProcess(output, work);
        if (seconds < 0) return state.SkipWithError("the process failed");
        state.SetIterationTime(seconds);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(kSize));
}

// The command takes the place of the process.
int Execute(std::vector<std::string> arguments) {
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    setenv("LC_ALL", "C", 1);
    execvp(pointers[0], pointers.data());
    return 1;
}

int BuildIndex(const std::string& path) {
    const Descriptor file(path, O_RDONLY);
    orm_trace::BlockIndex index(kSize / 8, 0);
    // The kernel copies fastest to where a line of the processor's cache begins.
    struct alignas(64) Chunk {
        std::array<std::uint64_t, kChunkWords> words;
    };
    const auto chunk = std::make_unique<Chunk>();
    for (std::uint64_t at = 0; at < kSize; at += kChunk) {
        if (pread(file, chunk->words.data(), kChunk, static_cast<off_t>(at)) != ssize_t{kChunk}) return 1;
        index.Fill(at / 8, chunk->words);
    }
    index.Finish();
    return index.SummarizeBlocks(0, kSize / 8).samples == kSize / 8 ? 0 : 1;
}

struct CommandRow {
    const char* name;  // WORK/PARTICIPANT
    Mix mix;
    // The first word is the program: "orm-trace" stands for the built one. "FILE" stands for the capture.
    std::vector<std::string> arguments;
    // Otherwise it goes to /dev/null, where grep would end after the first hit.
    bool hasOutputFile = false;
};

// Each ends with code 0 if it finds what it looks for.
const CommandRow kCommands[] = {
    {"find/library",
     Mix::kEighth,
     {"orm-trace", "find", "FILE", "--value", std::to_string(kRareValue), "--mask", "0xFFFFFFFF"},
     true},
    {"find/limit", Mix::kEighth, {"cat", "FILE"}},
    {"find/peer:grep", Mix::kEighth, {"grep", "-obUaP", kRareBytes, "FILE"}, true},
    {"stats/library", Mix::kEighth, {"orm-trace", "stats", "FILE"}},
    {"stats/limit", Mix::kEighth, {"cat", "FILE"}},
    {"index/limit", Mix::kEighth, {"cat", "FILE"}},
    {"index/mixed/limit", Mix::kMixed, {"cat", "FILE"}},
};

void RunCommand(State& state, const CommandRow& row) {
    std::vector<std::string> arguments = row.arguments;
    std::replace(arguments.begin(), arguments.end(), std::string("FILE"), Capture(row.mix));
    if (arguments[0] == "orm-trace")
        arguments[0] = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "orm-trace";
    Measure(state, row.hasOutputFile ? bench::PathOf("output") : "/dev/null", [&] { return Execute(arguments); });
}

}  // namespace

void bench::RegisterQuestion() {
    const auto add = [](const char* name, auto run) {
        benchmark::RegisterBenchmark((std::string("Question/") + name).c_str(), run)
            ->Iterations(1)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    };
    for (const CommandRow& row : kCommands) add(row.name, [&row](State& state) { RunCommand(state, row); });
    for (const auto& [name, mix] : {std::pair("index/library", Mix::kEighth), {"index/mixed/library", Mix::kMixed}}) {
        add(name, [mix = mix](State& state) {
            const std::string& capture = Capture(mix);
            Measure(state, "/dev/null", [&] { return BuildIndex(capture); });
        });
    }
}
