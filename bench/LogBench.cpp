// A log line that has reached the kernel when the call returns, from one thread and from two.
#include <glog/logging.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <array>

#include "bench/Common.h"
#include "source_utilities/uLogger.h"

namespace {

using benchmark::State;
using ORM_LUX::uLogger;

// Numbers in the lines have eight digits, so that all lines are equally long and the file's size gives their number.
constexpr int kFirstNumber = 10'000'000;
constexpr int kNumbers = 80'000'000;
constexpr const char* kFormat = "SeekReadTraceData StartSample #%i, NumSamples #%i, CurrentSampleCount #%i";
constexpr const char* kFmtFormat = "SeekReadTraceData StartSample #{}, NumSamples #{}, CurrentSampleCount #{}";
constexpr const char* kPattern = "%L     %H:%M:%S:%e | %v";  // as with uLogger::TD_TIME

std::string SampleLine() {
    const std::string prefix = "M     15:52:03:047 | ";
    std::array<char, 256> message{};
    std::snprintf(message.data(), message.size(), kFormat, kFirstNumber, 512, kFirstNumber);
    return prefix + message.data() + "\n";
}

// Every participant appends to a new file, through one sink that the threads share. make creates the sink for a path,
// line writes a line with a number to it.
template <class Maker, class Liner> void LogLines(State& state, Maker&& make, Liner&& line) {
    static decltype(make(std::string())) sink;  // one for each participant, because each instantiates this template
    const std::string path = bench::PathOf("lines.txt");
    const bool isFirst = state.thread_index() == 0;
    if (isFirst) {
        std::filesystem::remove(path);
        sink = make(path);
    }
    int number = 0;
    for (auto _ : state) {
        line(*sink, kFirstNumber + number);
        if (++number == kNumbers) number = 0;
    }
    if (!isFirst) return;
    sink.reset();
    const auto lines = static_cast<std::uint64_t>(state.iterations()) * static_cast<std::uint64_t>(state.threads());
    if (std::filesystem::file_size(path) != lines * SampleLine().size()) state.SkipWithError("lines are missing");
    std::filesystem::remove(path);
}

void LogByLibrary(State& state) {
    LogLines(
        state, [](const std::string& path) { return std::make_unique<uLogger>(path.c_str(), true); },
        [](uLogger& logger, int number) {
            logger.Log(uLogger::LOG_M, uLogger::TD_TIME, kFormat, number, 512, number);
        });
}

// Only the system call, without time stamp and formatting.
void LogByWrite(State& state) {
    const std::string text = SampleLine();
    LogLines(
        state,
        [](const std::string& path) {
            return std::make_unique<bench::Descriptor>(path, O_WRONLY | O_CREAT | O_APPEND);
        },
        [&](int file, int) { benchmark::DoNotOptimize(write(file, text.data(), text.size())); });
}

// Unequal: fmt's format in place of printf's. The single-threaded sink takes no lock, the library always does.
template <class Sink> void LogBySpdlog(State& state) {
    LogLines(
        state,
        [](const std::string& path) {
            auto logger = std::make_shared<spdlog::logger>("bench", std::make_shared<Sink>(path));
            logger->set_pattern(kPattern);
            logger->flush_on(spdlog::level::trace);
            return logger;
        },
        [](spdlog::logger& logger, int number) { logger.info(kFmtFormat, number, 512, number); });
}

// Unequal: streams instead of a format string, and glog's own prefix; there is one file for the process.
void LogByGlog(State& state) {
    static const bool isSet = [] {
        FLAGS_logbuflevel = -1;  // no buffering
        FLAGS_timestamp_in_logfile_name = false;
        FLAGS_stderrthreshold = google::NUM_SEVERITIES;
        google::InitGoogleLogging("bench");
        return true;
    }();
    bench::Require(isSet, "glog is not set up");
    static int runs = 0;
    const std::string path = bench::PathOf("glog" + std::to_string(++runs));  // a new name, or the old file stays open
    google::SetLogDestination(google::INFO, path.c_str());
    int number = kFirstNumber;
    for (auto _ : state) {
        LOG(INFO) << "SeekReadTraceData StartSample #" << number << ", NumSamples #" << 512 << ", CurrentSampleCount #"
                  << number;
        ++number;
    }
    const auto lines = static_cast<std::uint64_t>(state.iterations());
    if (std::filesystem::file_size(path) < lines * SampleLine().size()) state.SkipWithError("lines are missing");
    std::filesystem::remove(path);
}

}  // namespace

void bench::RegisterLog() {
    const auto add = [](const char* participant, int threads, void (*run)(State&)) {
        auto* made = benchmark::RegisterBenchmark((std::string("LogLine/") + participant).c_str(), run);
        if (threads > 1) made->Threads(threads)->UseRealTime();
    };
    for (const int threads : {1, 2}) {
        add("library", threads, LogByLibrary);
        add("limit", threads, LogByWrite);
        add("peer:spdlog", threads, LogBySpdlog<spdlog::sinks::basic_file_sink_mt>);
    }
    add("peer:spdlog-st", 1, LogBySpdlog<spdlog::sinks::basic_file_sink_st>);
    add("peer:glog", 1, LogByGlog);
}
