// Whole commands: questions to a capture of 1 GiB, and printing and salvage; and the building of an index. The system has
// cached the files. Each runs in a process of its own, whose CPU time is measured; of several threads, the elapsed time.
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

constexpr std::uint64_t kPrinted = 16 * bench::kMebibyte;

// The samples of a plain file, as a section.
std::string MakeSection() {
    const std::string samples = MakePart("small.bin", 0, kPrinted), path = bench::PathOf("small.tdf");
    const bench::FilePtr stream = bench::Open(path, "wb");
    bench::WriteTDFIdentifier(stream.get());
    bench::WriteSectionHeader(stream.get(), "BinTraceData", 1, kPrinted);
    std::vector<char> bytes(kPrinted);
    const Descriptor file(samples, O_RDONLY);
    bench::Require(pread(file, bytes.data(), bytes.size(), 0) == ssize_t{kPrinted}, "cannot read a file");
    bench::Write(stream.get(), bytes.data(), bytes.size());
    return path;
}

constexpr std::uint32_t kSections = 1'000'000;

std::string MakeSections(const std::string& name, std::uint32_t claimed) {
    const bench::FilePtr stream = bench::Open(bench::PathOf(name), "wb");
    bench::WriteTDFIdentifier(stream.get());
    for (std::uint32_t n = 0; n < kSections; ++n) {
        bench::WriteSectionHeader(stream.get(), "Section" + std::to_string(n), 1, n == 0 ? claimed : 8);
        bench::Write(stream.get(), &kPrinted, 8);
    }
    return bench::PathOf(name);
}

// A capture in sections as long as can be, after a section whose header is damaged.
std::string MakeDamaged() {
    const std::string path = bench::PathOf("damaged.tdf");
    const bench::FilePtr stream = bench::Open(path, "wb");
    bench::WriteTDFIdentifier(stream.get());
    bench::WriteSectionHeader(stream.get(), "Notes", 1, UINT32_MAX / 2);
    const Descriptor file(Capture(Mix::kEighth), O_RDONLY);
    std::vector<char> samples(kCutSamples * 8);
    for (std::uint64_t at = 0; at + samples.size() <= kSize; at += samples.size()) {
        bench::Require(
            pread(file, samples.data(), samples.size(), static_cast<off_t>(at)) == static_cast<ssize_t>(samples.size()),
            "cannot read a capture");
        if (at > 0) {
            bench::WriteSectionHeader(stream.get(), "BinTraceData", 1, static_cast<std::uint32_t>(samples.size()));
        }
        bench::Write(stream.get(), samples.data(), samples.size());
    }
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
        {"LIST", MakeList},
        {"SMALL", [] { return MakePart("small.bin", 0, kPrinted); }},
        {"SECTION", MakeSection},
        {"MILLION", [] { return MakeSections("million.tdf", 8); }},
        {"BROKEN", [] { return MakeSections("broken.tdf", UINT32_MAX / 2); }},
        {"DAMAGED", MakeDamaged}};
    const auto make = kMake.find(argument);
    if (make == kMake.end()) return argument;
    static std::map<std::string, std::string> made;
    std::string& path = made[argument];
    if (path.empty()) path = make->second();
    return path;
}

enum class Time { kCpu, kElapsed };

// Runs work in a new process, with its output in this file. Returns: the time in seconds, negative when it fails.
double TimeOfProcess(const std::string& output, Time time, int expected, const std::function<int()>& work) {
    const auto begin = std::chrono::steady_clock::now();
    const pid_t child = fork();
    bench::Require(child >= 0, "cannot start a process");
    if (child == 0) {
        int code = -1;
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
    if (!WIFEXITED(status) || WEXITSTATUS(status) != expected) return -1;
    if (time == Time::kElapsed) return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    const auto seconds = [](const timeval& part) {
        return static_cast<double>(part.tv_sec) + 1e-6 * static_cast<double>(part.tv_usec);
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void Measure(State& state, const std::string& output, Time time, int expected, const std::function<int()>& work) {
    for (auto _ : state) {
        std::filesystem::remove(FileFor("OUT"));
        const double seconds = TimeOfProcess(output, time, expected, work);
        if (seconds < 0) return state.SkipWithError("the process failed");
        state.SetIterationTime(seconds);
    }
}

// The command takes the place of the process.
int Execute(std::vector<std::string> arguments) {
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    setenv("LC_ALL", "C", 1);
    execvp(pointers[0], pointers.data());
    return -1;
}

// Prints what list --json prints of the sections of a file, without any checks.
int WalkAndPrint(const std::string& path) {
    const bench::FilePtr stream = bench::Open(path, "rb");
    std::array<char, 4096> name;
    std::array<std::uint32_t, 3> header;
    std::uint32_t at = 4;
    for (std::uint32_t n = 0; std::fseek(stream.get(), at, SEEK_SET) == 0; ++n, at += header[0]) {
        if (std::fread(header.data(), sizeof header, 1, stream.get()) != 1) break;
        if (std::fread(name.data(), header[2], 1, stream.get()) != 1) return -1;
        const std::uint32_t headerSize = 12 + header[2], dataLength = header[0] - headerSize;
        std::printf(
            "{\"index\":\"%u\",\"offset\":\"%u\",\"length\":%u,\"version\":%u,\"name\":\"%.*s\","
            "\"data_position\":%u,\"data_length\":%u,\"data_available\":%u},\n",
            n, at, header[0], header[1], static_cast<int>(header[2]), name.data(), at + headerSize, dataLength,
            dataLength);
    }
    return std::fflush(stdout) == 0 ? 0 : -1;
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
    const char* name;  // WORK/PARTICIPANT, without the first part
    // The first word is the program: "orm-trace" stands for the built one. Words that FileFor knows stand for files.
    std::vector<std::string> arguments;
    // Otherwise it goes to /dev/null, where grep would end after the first hit.
    bool hasOutputFile = false;
    Time time = Time::kCpu;
    int code = 0;  // with which it ends if it finds what it looks for
};

const CommandRow kToolCommands[] = {
    {"list --json, a million sections/library", {"orm-trace", "list", "--json", "MILLION"}},
    {"recover, a million sections/library", {"orm-trace", "recover", "BROKEN", "-o", "OUT"}, false, Time::kCpu, 3},
    {"recover, a million sections/peer:cp", {"cp", "BROKEN", "OUT"}},
    {"recover, damaged/library", {"orm-trace", "recover", "DAMAGED", "--dry-run"}, false, Time::kCpu, 3},
    {"recover, damaged/limit", {"cat", "DAMAGED"}},
    {"samples --format hex/library", {"orm-trace", "samples", "SMALL", "--format", "hex"}},
    {"samples --format hex/peer:od", {"od", "-An", "-v", "-tx8", "-w8", "SMALL"}},
    {"samples --format dec/library", {"orm-trace", "samples", "SMALL", "--format", "dec"}},
    {"samples --format dec/peer:od", {"od", "-An", "-v", "-tu8", "-w8", "SMALL"}},
    {"samples --number/library", {"orm-trace", "samples", "SMALL", "--number"}},
    {"samples --number/peer:od", {"od", "-Ad", "-v", "-tx8", "-w8", "SMALL"}},
    {"dump --format hex/library", {"orm-trace", "dump", "SECTION", "--section", "BinTraceData", "--format", "hex"}},
    {"dump --format hex/peer:xxd", {"xxd", "-g1", "SMALL"}},
    {"dump --format hex/peer:od", {"od", "-Ax", "-v", "-tx1z", "SMALL"}},
    {"dump --format csv/library", {"orm-trace", "dump", "SECTION", "--section", "BinTraceData", "--format", "csv"}},
    {"dump --format csv/peer:od", {"od", "-Ad", "-v", "-tx8", "-w8", "SMALL"}},
};

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
    Measure(state, output, row.time, row.code, [&] { return Execute(arguments); });
}

}  // namespace

void bench::RegisterCommands() {
    const auto add = [](const std::string& name, auto run) {
        benchmark::RegisterBenchmark(name.c_str(), run)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);
    };
    for (const CommandRow& row : kCommands) {
        add(std::string("Question/") + row.name, [&row](State& state) { RunCommand(state, row); });
    }
    for (const CommandRow& row : kToolCommands) {
        add(std::string("Tool/") + row.name, [&row](State& state) { RunCommand(state, row); });
    }
    add("Tool/list --json, a million sections/peer:walk", [](State& state) {
        const std::string path = FileFor("MILLION");
        Measure(state, "/dev/null", Time::kCpu, 0, [&] { return WalkAndPrint(path); });
    });
    for (const auto& [name, mix] :
         {std::pair("Question/index/library", Mix::kEighth), {"Question/index/mixed/library", Mix::kMixed}}) {
        add(name, [mix = mix](State& state) {
            const std::string& capture = Capture(mix);
            Measure(state, "/dev/null", Time::kCpu, 0, [&] { return BuildIndex(capture); });
        });
    }
}
