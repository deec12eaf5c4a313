// Questions to a capture of 1 GiB, which the system has cached: whole commands, and the building of an index, each in a
// process of its own, whose CPU time is measured; of several threads, the elapsed time.
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <functional>
#include <map>
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

// Writes the part of the capture with one stamp in eight that begins at this byte.
std::string MakePart(const std::string& name, std::uint64_t begin, std::uint64_t size) {
    const Descriptor file(Capture(Mix::kEighth), O_RDONLY);
    const bench::FilePtr stream = bench::Open(bench::PathOf(name), "wb");
    std::vector<char> chunk(bench::kMebibyte);
    for (const std::uint64_t end = begin + size; begin < end; begin += chunk.size()) {
        chunk.resize(std::min<std::uint64_t>(chunk.size(), end - begin));
        bench::Require(
            pread(file, chunk.data(), chunk.size(), static_cast<off_t>(begin)) == static_cast<ssize_t>(chunk.size()),
            "cannot read a capture");
        bench::Write(stream.get(), chunk.data(), chunk.size());
    }
    return bench::PathOf(name);
}

// As many samples as a section can have.
constexpr std::uint64_t kCutSamples = 16'777'213;

std::string MakeList() {
    std::string names;
    std::filesystem::create_directory(bench::PathOf("parts"));
    for (unsigned n = 0; n < 1000; ++n) {
        names += MakePart("parts/" + std::to_string(n), n * bench::kMebibyte, bench::kMebibyte) + '\n';
    }
    const std::string path = bench::PathOf("list");
    bench::Write(bench::Open(path, "wb").get(), names.data(), names.size());
    return path;
}

// Returns: the file that an argument of a command stands for, made when it is first asked for; else the argument.
std::string FileFor(const std::string& argument) {
    if (argument == "FILE") return Capture(Mix::kEighth);
    if (argument == "MIXED") return Capture(Mix::kMixed);
    if (argument == "OUT") return bench::PathOf("out.tdf");
    static const std::map<std::string, std::function<std::string()>> kMake{
        {"COPY", [] { return MakePart("copy.bin", 0, kSize); }},
        {"PART", [] { return MakePart("part.bin", 0, kCutSamples * 8); }},
        {"LIST", MakeList}};
    const auto make = kMake.find(argument);
    if (make == kMake.end()) return argument;
    static std::map<std::string, std::string> made;
    std::string& path = made[argument];
    if (path.empty()) path = make->second();
    return path;
}

enum class Time { kCpu, kElapsed };

// Runs work in a new process, with its output in this file. Returns: the time in seconds, negative when it fails.
double TimeOfProcess(const std::string& output, Time time, const std::function<int()>& work) {
    const auto begin = std::chrono::steady_clock::now();
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
    if (status != 0) return -1;
    if (time == Time::kElapsed) return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    const auto seconds = [](const timeval& part) {
        return static_cast<double>(part.tv_sec) + 1e-6 * static_cast<double>(part.tv_usec);
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void Measure(State& state, const std::string& output, Time time, const std::function<int()>& work) {
    for (auto _ : state) {
        std::filesystem::remove(FileFor("OUT"));
        const double seconds = TimeOfProcess(output, time, work);
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
    // The first word is the program: "orm-trace" stands for the built one. Words that FileFor knows stand for files.
    std::vector<std::string> arguments;
    // Otherwise it goes to /dev/null, where grep would end after the first hit.
    bool hasOutputFile = false;
    Time time = Time::kCpu;
};

// Each ends with code 0 if it finds what it looks for.
const CommandRow kCommands[] = {
    {"find/library",
     {"orm-trace", "find", "FILE", "--value", std::to_string(kRareValue), "--mask", "0xFFFFFFFF"},
     true},
    {"find/limit", {"cat", "FILE"}},
    {"find/peer:grep", {"grep", "-obUaP", kRareBytes, "FILE"}, true},
    {"stats/library", {"orm-trace", "stats", "FILE"}},
    {"stats/limit", {"cat", "FILE"}},
    {"diff/library", {"orm-trace", "diff", "FILE", "COPY"}},
    {"diff/peer:cmp", {"cmp", "FILE", "COPY"}},
    {"cut/library", {"orm-trace", "cut", "FILE", "-o", "OUT", "--count", std::to_string(kCutSamples)}},
    {"cut/peer:cp", {"cp", "PART", "OUT"}},
    {"stats -j 2/library/threads:2", {"orm-trace", "stats", "-j", "2", "--files-from", "LIST"}, false, Time::kElapsed},
    {"stats -j 2/peer:-j 1/threads:2",
     {"orm-trace", "stats", "-j", "1", "--files-from", "LIST"},
     false,
     Time::kElapsed},
    {"index/limit", {"cat", "FILE"}},
    {"index/mixed/limit", {"cat", "MIXED"}},
};

void RunCommand(State& state, const CommandRow& row) {
    std::vector<std::string> arguments;
    std::transform(row.arguments.begin(), row.arguments.end(), std::back_inserter(arguments), FileFor);
    if (arguments[0] == "orm-trace")
        arguments[0] = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "orm-trace";
    const std::string output = row.hasOutputFile ? bench::PathOf("output") : "/dev/null";
    Measure(state, output, row.time, [&] { return Execute(arguments); });
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
            Measure(state, "/dev/null", Time::kCpu, [&] { return BuildIndex(capture); });
        });
    }
}
