// The logger and the logging system.
#include "source_utilities/uLogger.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <random>
#include <thread>
#include <unordered_map>

#include "driver/CChannelDriver.h"
#include "source_utilities/uLogSystem.h"
#include "support/LogCapture.h"
#include "support/Process.h"
#include "support/Tick.h"

namespace {

using ORM_LUX::uLogger;
using ORM_LUX::uLogSystem;
using test::ReadAll;

// Limits how far files may grow, for a scope.
class SizeLimit {
public:
    explicit SizeLimit(std::uintmax_t size) {
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit{size, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~SizeLimit() { setrlimit(RLIMIT_FSIZE, &m_before); }

private:
    rlimit m_before{};
};

class uLoggerTest : public testing::Test {
protected:
    // Returns: what logging adds to a new file.
    template <class... Arguments> std::string Logged(Arguments... arguments) {
        std::filesystem::remove("log");
        uLogger("log", true).Log(arguments...);
        return ReadAll("log");
    }

    test::WorkingFolder m_folder;
};

TEST_F(uLoggerTest, WritesLines) {
    // The fuzz target has a model of levels, stamps and ends of lines.
    EXPECT_EQ(Logged("a%cb", 0), "M      a\n") << "a zero ends the message";
    EXPECT_EQ(Logged(0U, uLogger::TD_NONE, "%s", "x"), "");
    EXPECT_FALSE(std::filesystem::exists("log")) << "not even created";
    uLogger logger("log", false);
    logger.LogTimeStamp();
    EXPECT_EQ(ReadAll("log").size(), 6U + 24 + 1);
    // Longer than the buffer: cut, and the neighbours are whole.
    for (const int size : {4086, 4087, 4088, 4089, 5000, 100000}) {
        logger.Clear();
        for (const int length : {1, size, 2}) logger.Log("%0*d", length, 0);
        const std::string text(static_cast<std::size_t>(std::min(size, 4087)), '0');
        EXPECT_EQ(ReadAll("log"), "M      0\nM      " + text + "\nM      00\n") << size;
    }
}

// Common conversions are formatted by the logger itself, as printf would.
TEST_F(uLoggerTest, FormatsAsPrintfDoes) {
    const auto expectSame = [&](const char* format, auto... arguments) {
        std::array<char, 5000> text{};
        std::snprintf(text.data(), text.size(), format, arguments...);
        const std::string line = std::string("M      ") + text.data();
        EXPECT_EQ(Logged(format, arguments...), line.substr(0, 4094) + "\n") << format;
    };
    expectSame("%d,%i|%u", INT_MIN, INT_MAX, UINT_MAX);
    expectSame("%d%s%u", 0, "", 0U);
    expectSame("<%s%%%s>", "a", "b");
    expectSame("%5d %-5d %+d %x %lu %c %p", 1, 2, 3, 0xABU, ULONG_MAX, 'c', nullptr);
    expectSame("%d %.2s %d", 1, "cut", 2);
    expectSame("%s", static_cast<const char*>(nullptr));
    errno = ENOENT;
    expectSame("%d %m", 1);
    // Texts and numbers that end at, before and after the end of the buffer.
    for (std::size_t length = 4070; length <= 4100; ++length) {
        const std::string text(length, 'x');
        expectSame("%s", text.c_str());
        expectSame("%s%d", text.c_str(), 1234567890);
        expectSame("%s%sy", text.c_str(), "");
        expectSame((text + "%u").c_str(), 5U);
    }
}

TEST_F(uLoggerTest, FormatsWithinASize) {
    // The stamp is the clock's to the millisecond, and follows a new second.
    uLogger logger("log", true);
    char stamp[64];
    for (int n = 0; n < 3; ++n, usleep(702345)) {
        const auto clock = [] {
            return std::chrono::system_clock::now().time_since_epoch() / std::chrono::milliseconds(1);
        };
        const long before = clock();
        logger.SprintfCurrentTime(stamp, 64, uLogger::TD_DATE_TIME);
        std::tm fields{};
        const char* millis = strptime(stamp, "%m/%d/%y %H:%M:%S:", &fields);
        ASSERT_NE(millis, nullptr) << stamp;
        fields.tm_isdst = -1;
        const long stamped = std::mktime(&fields) * 1000 + std::atoi(millis);
        EXPECT_TRUE(before <= stamped && stamped <= clock()) << stamp;
    }
    std::tm fields{};
    fields.tm_mday = 2;
    for (int size = 0; size < 30; ++size) {
        std::string buf(31, '#');
        EXPECT_EQ(logger.SprintfCurrentTime(buf.data(), size, uLogger::TD_DATE_TIME), std::clamp(size - 1, 0, 24));
        EXPECT_EQ(logger.SprintfLevel(31, buf.data(), size), std::clamp(size - 1, 0, 6));
        EXPECT_EQ(logger.SprintfTime(buf.data(), size, &fields), size > 17 ? 17 : 0);
        EXPECT_EQ(buf.substr(static_cast<std::size_t>(size)), std::string(static_cast<std::size_t>(31 - size), '#'));
        EXPECT_TRUE(size <= 17 || buf.c_str() == std::string("01/02/00 00:00:00")) << buf;
    }
}

TEST_F(uLoggerTest, OpensLateAndSwitchesFiles) {
    m_folder.Write("log", "old\n");
    uLogger logger("log", true);
    // Returns: what a file holds after one more line.
    const auto log = [&](const char* text, const char* file) {
        logger.Log("%s", text);
        return ReadAll(file);
    };
    logger.Clear();
    EXPECT_EQ(log("1", "log"), "old\nM      1\n") << "a closed file does not change";
    EXPECT_TRUE(logger.EnableOutput(false));
    EXPECT_EQ(log("lost", "log"), "old\nM      1\n");
    EXPECT_FALSE(logger.m_fileOpen || logger.EnableOutput(true));
    EXPECT_EQ(log("2", "log"), "old\nM      1\nM      2\n");
    logger.Clear();
    EXPECT_EQ(log("3", "log"), "M      3\n");
    EXPECT_TRUE(logger.SetFileName("other", false));
    EXPECT_EQ(log("4", "other"), "M      4\n");
    logger.EnableOutput(false);
    EXPECT_FALSE(logger.SetFileName("other", false) || logger.EnableOutput(true));
    EXPECT_EQ(log("5", "other"), "M      5\n") << "truncated by the reopening";
    uLogger().Log("6");
    EXPECT_EQ(ReadAll("KVB_log.txt"), "M      6\n");
}

// A host that writes to the file itself, or moves in it, loses no line, whichever the mode.
TEST_F(uLoggerTest, SharesItsFileWithTheHost) {
    for (const bool append : {false, true}) {
        uLogger logger("log", append);
        const long before = test::OpenDescriptors();
        EXPECT_TRUE(logger.OpenFile() && logger.OpenFile());
        EXPECT_EQ(test::OpenDescriptors(), before + 1) << "the first is closed";
        for (std::string expected : {"", "header\n"}) {
            std::filesystem::remove("log");
            expected.empty() ? logger.Clear() : static_cast<void>(logger.OpenFile());
            logger.m_file.WriteString(expected.c_str());
            for (int n = 0; n < 2000; ++n) {
                logger.Log("%d", n);
                logger.m_file.GetSize();
                expected += "M      " + std::to_string(n) + "\n";
            }
            EXPECT_TRUE(ReadAll("log") == expected) << append << std::filesystem::file_size("log");
        }
    }
}

// A full disk: the file may not grow beyond a limit, and has room for a part of a line or for none. The part stays, and
// the next line begins on its own, in the same file; another process may have written in between.
TEST_F(uLoggerTest, GoesOnWhenItCouldNotWrite) {
    uLogger logger("late/log", true);
    logger.Log("lost");
    std::filesystem::create_directory("late");
    logger.Log("first");
    EXPECT_EQ(ReadAll("late/log"), "M      first\n");
    using Step = std::function<void()>;
    const Step nothing = [] {}, reopen = [&] { logger.EnableOutput(logger.EnableOutput(false)); },
               rename = [&] { logger.SetFileName("late/log", true); }, clear = [&] { logger.Clear(); },
               empty = [&] { logger.SetFileName("late/log", false); },
               other = [] { std::ofstream("late/log", std::ios::app) << "other\n"; };
    // clang-format off
    const std::tuple<const char*, std::size_t, Step, const char*> rows[] = {
        {"no room", 0, nothing, ""}, {"a part", 5, nothing, "M    \n"},
        {"whole lines of a message", 9, nothing, "M      d\n"}, {"reopened", 5, reopen, "M    \n"},
        {"named again", 5, rename, "M    \n"}, {"another process", 5, other, "M    other\n\n"},
        {"emptied", 5, clear, nullptr}, {"opened to empty it", 5, empty, nullptr},
        {"a part in that mode", 5, nothing, "M    \n"}};
    // clang-format on
    for (const auto& [label, room, step, part] : rows) {
        const std::string before = ReadAll("late/log");
        {
            const SizeLimit limit(before.size() + room);
            for (int n = 0; n < 3; ++n) logger.Log("d\noes not fit");
            logger.m_file.WriteString("the host's");
            logger.Log("neither");
        }
        step();
        for (int n = 0; n < 2; ++n) logger.Log("again");
        EXPECT_EQ(ReadAll("late/log"), (part ? before + part : "") + "M      again\nM      again\n") << label;
        EXPECT_STREQ(logger.m_file.GetOpenMode(), logger.m_append ? "a+" : "w+") << label;
    }
}

// The signals of a full disk, and of a pipe without a reader, by which a process ends, are not seen. A host that holds
// them back finds none waiting, but one that waited before.
TEST_F(uLoggerTest, RaisesNoSignal) {
    m_folder.Write("log", "full");
    for (const int number : {SIGXFSZ, SIGPIPE}) {
        for (const std::string state : {"0 0", "1 0", "1 1"}) {  // whether the signal is blocked, and waits
            const bool isKept = test::HoldsInChild([&] {
                int ends[2] = {-1, -1};
                const int full = open("log", O_WRONLY | O_APPEND | O_CLOEXEC);
                if (pipe(ends) != 0 || dup2(number == SIGPIPE ? ends[1] : full, STDOUT_FILENO) < 0) return false;
                for (const int end : ends) close(end);
                std::optional<SizeLimit> limit;
                if (number == SIGXFSZ) limit.emplace(std::filesystem::file_size("log"));
                sigset_t signals, waiting;
                sigemptyset(&signals);
                sigaddset(&signals, number);
                signal(number, SIG_DFL);
                pthread_sigmask(state[0] == '1' ? SIG_BLOCK : SIG_UNBLOCK, &signals, nullptr);
                if (state[2] == '1') raise(number);
                uLogger logger("log", true);
                logger.EnableLogToStdio(true);
                for (int n = 0; n < 2; ++n) logger.Log("x");
                pthread_sigmask(SIG_SETMASK, nullptr, &signals);
                sigpending(&waiting);
                return test::Show(sigismember(&signals, number), sigismember(&waiting, number)) == state;
            });
            EXPECT_TRUE(isKept) << number << ": " << state;
        }
    }
}

// A limit that the host sets right after a line ends neither the host nor a later write of a signal that it holds back.
TEST_F(uLoggerTest, OutlivesALimitThatIsSetBetweenLines) {
    using Handler = void (*)(int);
    const std::pair<const char*, std::optional<Handler>> rows[] = {{"as the logger leaves it", {}},
                                                                   {"ignored", SIG_IGN},
                                                                   {"the host's", [](int) { _exit(7); }},
                                                                   {"set back to its default", SIG_DFL}};
    for (const auto& [label, handler] : rows) {
        for (const bool isBlocked : {false, true}) {
            const bool isAlive = test::HoldsInChild([&, handler = handler] {
                if (handler) signal(SIGXFSZ, *handler);
                sigset_t signals, before;
                sigemptyset(&signals);
                sigaddset(&signals, SIGXFSZ);
                if (isBlocked) pthread_sigmask(SIG_BLOCK, &signals, nullptr);
                uLogger logger("log", false);
                logger.Log("asks for the limit");
                test::AwaitTick();
                logger.Log("asks again");
                for (int n = 0; n < 3; ++n) {
                    const SizeLimit limit(ReadAll("log").size());
                    logger.Log("lost");
                }
                logger.Log("again");
                sigpending(&signals);
                const bool waits = sigismember(&signals, SIGXFSZ) == 1;
                pthread_sigmask(SIG_UNBLOCK, &signals, &before);
                return !waits && (sigismember(&before, SIGXFSZ) == 1) == isBlocked &&
                       ReadAll("log") == "M      asks for the limit\nM      asks again\nM      again\n";
            });
            EXPECT_TRUE(isAlive) << label << isBlocked;
        }
    }
}

// What the logger does about the signal is not seen outside of a line, also while another thread waits to write one.
TEST_F(uLoggerTest, LeavesTheSignalOfALimitToTheHost) {
    signal(SIGXFSZ, SIG_DFL);  // other tests of this process may have ignored it
    ASSERT_EQ(mkfifo("full", 0600), 0);
    uLogger logger("log", true);
    logger.Log("x");
    const pid_t child = fork();
    if (child == 0) {
        std::atomic<int> lines = 0;
        for (int n = 0; n < 70; ++n) {
            std::thread([&] {
                for (uLogger waiting("full", true);;) waiting.Log("%d", lines++);
            }).detach();
        }
        for (int before = -1; before != lines;) {
            before = lines;
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        logger.Log("y");
        const int own = open("own", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        const SizeLimit limit(0);
        _exit(write(own, "z", 1) == 0 ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGXFSZ) << status;
    EXPECT_EQ(ReadAll("log"), "M      x\nM      y\n");
}

// Signals interrupt prints to a full pipe: none is lost, and standard output has no error.
TEST_F(uLoggerTest, PrintsAllLinesWhileSignalsInterrupt) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        for (const int end : ends) close(end);
        struct sigaction action {};
        action.sa_handler = [](int) {};
        sigaction(SIGALRM, &action, nullptr);
        const itimerval often{{0, 1000}, {0, 1000}};
        setitimer(ITIMER_REAL, &often, nullptr);
        uLogger logger("log", true);
        logger.EnableLogToStdio(true);
        for (int n = 0; n < 3000; ++n) logger.Log("%0100d", n);
        _exit(std::ferror(stdout));
    }
    close(ends[1]);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    const std::string printed = ReadAll("/proc/self/fd/" + std::to_string(ends[0]));
    close(ends[0]);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(printed == ReadAll("log")) << printed.size();
}

// Processes write to one log whose room ends and comes back. What was reported as written is there: a line in one piece
// that ends in a newline, perhaps after another process's part. Room ends by limits of the processes, or, for
// scripts/check-log, on the small disk that the environment names, which this process fills and empties.
TEST_F(uLoggerTest, LosesNoLineThatItReported) {
    const char* const disk = std::getenv("ORM_TEST_SMALL_DISK");
    const char* const seconds = std::getenv("ORM_TEST_SECONDS");
    const std::string log = disk != nullptr ? disk + std::string("/log") : "log";
    const std::time_t end = std::time(nullptr) + (seconds != nullptr ? std::atoi(seconds) : 0);
    const auto goesOn = [&](int n) { return seconds != nullptr ? std::time(nullptr) < end : n < 3000; };
    const auto lineOf = [](int writer, int n) {
        const std::string text(static_cast<std::size_t>(n % 90), '.');
        return "<" + std::to_string(writer) + ":" + std::to_string(n) + ":" + text + "\n";
    };
    pid_t writers[3];
    for (int writer = 0; writer < 3; ++writer) {
        if ((writers[writer] = fork()) != 0) continue;
        uLogger logger(log.c_str(), true);
        std::ofstream reported(m_folder / std::to_string(writer));
        std::minstd_rand random(static_cast<unsigned>(writer));
        for (int n = 0; goesOn(n); ++n) {
            std::string line = lineOf(writer, n);
            std::optional<SizeLimit> limit;
            std::error_code none;
            if (disk == nullptr) limit.emplace(std::filesystem::file_size(log, none) + random() % 150);
            const int written = logger.AddToLog(line.data(), static_cast<int>(line.size()));
            limit.reset();
            if (written != 0) reported << n << ' ';
        }
        reported.close();
        _exit(0);
    }
    if (disk != nullptr) {
        std::filesystem::current_path(disk);
        const int ballast = open("ballast", O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        const std::string page(4096, '-');
        off_t size = 0;
        for (std::minstd_rand random; goesOn(0) && size >= 0 && ftruncate(ballast, size) == 0; usleep(2000)) {
            usleep(2000);
            while (write(ballast, page.data(), page.size()) > 0) continue;
            size = lseek(ballast, 0, SEEK_END) - static_cast<off_t>(random() % 8 * page.size());
        }
        close(ballast);
    }
    for (const pid_t writer : writers) waitpid(writer, nullptr, 0);
    std::unordered_map<std::string, int> found;
    long lines = 0, parts = 0;
    std::ifstream file(log);
    for (std::string line; std::getline(file, line); ++parts) {
        const std::size_t at = std::min(line.rfind('<'), line.size());
        const std::string writer = line.substr(at, 3);
        EXPECT_TRUE(writer.size() < 3 || line.find(writer) == at) << "a part of its own goes on in " << line;
        ++found[line.substr(at) + '\n'];
    }
    for (int writer = 0; writer < 3; ++writer) {
        std::ifstream reported(m_folder / std::to_string(writer));
        for (int n = 0; reported >> n; ++lines, --parts) ASSERT_EQ(found[lineOf(writer, n)], 1) << writer << ' ' << n;
    }
    std::printf("%ld lines, and %ld that were cut\n", lines, parts);
    EXPECT_TRUE(lines > 100 && parts > 10);
}

// Every line of 8 threads that use two loggers arrives once, whole and in its thread's order, with a file of its own for
// each logger and with one for both.
TEST_F(uLoggerTest, KeepsTheLinesOfManyThreadsApart) {
    constexpr int kLines = ORM_IS_SANITIZED ? 3000 : 31250;  // of a thread through a logger: a million in all
    for (const std::vector<std::string>& files : {std::vector<std::string>{"one", "two"}, {"both"}}) {
        uLogger first(files.front().c_str(), true), second(files.back().c_str(), true);
        std::vector<std::thread> threads;
        for (int t = 0; t < 8; ++t) {
            threads.emplace_back([&, t] {
                for (int n = 0; n < 2 * kLines; ++n) {
                    (n % 2 == 0 ? first : second).Log(1, uLogger::TD_TIME, "%d:%d", 2 * t + n % 2, n / 2);
                }
            });
        }
        for (auto& thread : threads) thread.join();
        std::vector<int> next(16);
        for (const std::string& file : files) {
            std::ifstream lines(file);
            for (std::string line; std::getline(lines, line);) {
                unsigned t = 99;
                int n = -1;
                char end = 0;
                ASSERT_EQ(std::sscanf(line.c_str(), "M     %*2d:%*2d:%*2d:%*3d | %u:%d%c", &t, &n, &end), 2) << line;
                ASSERT_EQ(n, next.at(t)++) << line;
            }
        }
        EXPECT_EQ(next, std::vector<int>(16, kLines));
    }
}

// A child process that a host starts with fork goes on with an open log, and ends in one way or the other.
TEST_F(uLoggerTest, NeitherLosesNorDoublesLinesWhenAProcessEnds) {
    for (const bool isKilled : {false, true}) {
        std::filesystem::remove("log");
        uLogger logger("log", true);
        std::string expected = "M      before\n";
        logger.Log("before");
        const pid_t child = fork();
        for (int n = 0; n < 1000; ++n) {
            if (child == 0) logger.Log("%d", n);
            expected += "M      " + std::to_string(n) + "\n";
        }
        if (child == 0) isKilled ? static_cast<void>(kill(getpid(), SIGKILL)) : std::exit(0);
        waitpid(child, nullptr, 0);
        logger.Log("after");
        EXPECT_EQ(ReadAll("log"), expected + "M      after\n") << isKilled;
    }
}

class uLogSystemTest : public uLoggerTest {
protected:
    bool Init(uLogSystem& system, const char* setting, const char* name = "log", bool useLookup = true) {
        setenv("ORM_TEST_LEVEL", setting, 1);
        return system.InitLog(name, "ORM_TEST_LEVEL", "ORM_TEST_DIR", useLookup);
    }
    uLogSystemTest() { setenv("ORM_TEST_DIR", m_folder.Path().c_str(), 1); }
};

// The fuzz target has a model of the setting as the environment's text.
TEST_F(uLogSystemTest, AppliesTheSetting) {
    // clang-format off
    const std::tuple<int, std::string, int> rows[] = {
        // setting, then level, output, echo and debug flag, and the level by SetLoggingLevel from level 3
        {0, "0 0 0 0", 3}, {1, "1 1 0 0", 1}, {2, "1 1 1 0", 1}, {3, "2 1 0 0", 2}, {4, "2 1 1 0", 2},
        {5, "2 1 1 1", 2}, {6, "3 1 1 1", 3}, {7, "7 0 0 0", 3}, {-1, "-1 0 0 0", 3}};
    // clang-format on
    for (const auto& [setting, state, levelBySet] : rows) {
        uLogSystem started, changed;
        EXPECT_TRUE(started.InitLogEx("log", setting, m_folder.Path().c_str()) && Init(changed, "6"));
        EXPECT_EQ(test::Show(started.m_refCount, changed.m_refCount), "0 1");
        const uLogger &logger = *started.m_pLogger, &other = *changed.m_pLogger;
        EXPECT_EQ(
            test::Show(started.m_loggingLevel, logger.m_outputEnabled, logger.m_logToStdio, logger.m_logDbgOutWindow),
            state);
        EXPECT_EQ(logger.GetName(), m_folder / "log");
        changed.SetLoggingLevel(setting);
        EXPECT_EQ(changed.m_loggingLevel, levelBySet) << setting;
        EXPECT_EQ(other.m_outputEnabled, logger.m_outputEnabled) << setting;
        EXPECT_TRUE(other.m_logToStdio && other.m_logDbgOutWindow) << "never switched off again";
    }
}

TEST_F(uLogSystemTest, StartsOnceForEachName) {
    uLogSystem system;
    EXPECT_FALSE(system.InitLog(nullptr, "X", nullptr, true) || system.InitLog("log", nullptr, nullptr, true) ||
                 system.InitLogEx(nullptr, 1, nullptr) || system.m_pLogger != nullptr);
    system.SetLoggingLevel(1);
    EXPECT_TRUE(Init(system, "1") && system.m_useLoggerLookup);
    uLogger* const first = system.m_pLogger;
    const std::string lines = ReadAll("log");
    EXPECT_TRUE(Init(system, "6") && Init(system, "6", "elsewhere", false) && system.InitLogEx("x", 6, nullptr));
    EXPECT_TRUE(system.m_pLogger == first && system.m_loggingLevel == 1 && !system.m_useLoggerLookup);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 2);
    EXPECT_EQ(ReadAll("log"), lines) << "no further lines";
    EXPECT_TRUE(Init(system, "2", "other"));
    const std::unique_ptr<uLogger> second(system.m_pLogger);  // the system deletes only its default logger
    EXPECT_EQ(system.LookupLogger("other"), second.get());
    EXPECT_EQ(system.LookupLogger("log"), first);
    EXPECT_TRUE(system.LookupLogger((m_folder / "log").c_str()) == nullptr && system.LookupLogger(nullptr) == nullptr);
    EXPECT_TRUE(Init(system, "0"));
    EXPECT_EQ(system.m_pLogger, first);
    EXPECT_EQ(std::exchange(system.m_refCount, 1), 2);
}

// Threads start logs of their own while others make drivers, which starts the process's log.
TEST_F(uLogSystemTest, StartsFromManyThreads) {
    uLogSystem& system = *uLogSystem::GetLogSystem();
    DestroyChannelDriver(CreateChannelDriver());
    setenv("ORM_TEST_LEVEL", "3", 1);  // as in all tests
    const int before = system.m_refCount;
    for (int round = 0; round < 20; ++round) {
        std::vector<std::thread> threads;
        const auto nameOf = [round](int t) { return "log" + std::to_string(8 * round + t); };
        for (int t = 0; t < 8; ++t) {
            threads.emplace_back([&, t] {
                EXPECT_TRUE(system.InitLog(nameOf(t).c_str(), "ORM_TEST_LEVEL", "ORM_TEST_DIR", true));
                DestroyChannelDriver(CreateChannelDriver());
                system.SetLoggingLevel(3);
            });
        }
        for (auto& thread : threads) thread.join();
        for (int t = 0; t < 8; ++t) {
            const uLogger* const logger = system.LookupLogger(nameOf(t).c_str());
            ASSERT_TRUE(logger != nullptr && logger->GetName() == m_folder / nameOf(t)) << nameOf(t);
            const std::string lines = ReadAll(nameOf(t));
            EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 2);
        }
    }
    EXPECT_EQ(system.m_refCount, before + 20 * 8);
}

TEST_F(uLogSystemTest, LogsWithoutAHomeAndWithoutADirectory) {
    const std::string home = std::getenv("HOME");
    unsetenv("HOME");
    unsetenv("ORM_TEST_DIR");
    uLogSystem system, rooted;
    EXPECT_TRUE(Init(system, "1", "bare", false));
    setenv("HOME", home.c_str(), 1);
    const std::string text = ReadAll("bare");
    EXPECT_NE(text.find("| Logger : trace user settings directory is \n"), std::string::npos) << text;
    EXPECT_NE(text.find("| Logger : trace temporary data directory is \n"), std::string::npos) << text;
    EXPECT_TRUE(system.m_loggers.empty());
    rooted.InitLogEx("x", 0, "");
    EXPECT_STREQ(rooted.m_pLogger->GetName(), "/x");
}

TEST_F(uLogSystemTest, NamesItsModule) {
    const test::LogCapture log(1);
    uLogger::LogModuleInfo();
    EXPECT_EQ(log.Text().substr(0, 51), "M      MODULE INFO - libTalvoraFileChannelDriver.so");
}

}  // namespace
