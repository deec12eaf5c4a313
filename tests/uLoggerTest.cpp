// The logger and the logging system.
#include "source_utilities/uLogger.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <map>
#include <sstream>
#include <thread>

#include "source_utilities/uEnvironment.h"
#include "source_utilities/uLogSystem.h"
#include "support/Files.h"

namespace {

using ORM_LUX::uLogger;
using ORM_LUX::uLogSystem;

class uLoggerTest : public testing::Test {
protected:
    // Returns: what logging by call adds to a new file.
    template <class Call> std::string Logged(Call call) {
        std::filesystem::remove(m_path);
        uLogger logger(m_path.c_str(), true);
        call(logger);
        return test::ReadAll(m_path);
    }

    test::TemporaryFolder m_folder;
    std::string m_path = m_folder / "log";
};

TEST_F(uLoggerTest, BeginsALineWithItsLevel) {
    const struct {
        unsigned level;
        const char* letters;
    } rows[] = {{1, "M     "},  {2, " W    "},  {4, "  F   "},  {8, "   A  "},
                {16, "    E "}, {31, "MWFAE "}, {17, "M   E "}, {32, "      "}};
    for (const auto& row : rows) {
        EXPECT_EQ(Logged([&](uLogger& l) { l.Log(row.level, uLogger::TD_NONE, "%s=%d", "x", 7); }),
                  row.letters + std::string(" x=7\n"));
    }
    EXPECT_EQ(Logged([](uLogger& l) { l.Log(0, uLogger::TD_NONE, "x"); }), "");
    EXPECT_FALSE(std::filesystem::exists(m_path)) << "not even created";
    EXPECT_EQ(Logged([](uLogger& l) { l.Log("%d", 5); }), "M      5\n");
}

TEST_F(uLoggerTest, StampsALine) {
    const struct {
        int style;
        const char* shape;
    } rows[] = {{0, " "}, {1, "00/00/00 | "}, {2, "00:00:00:000 | "}, {3, "00/00/00 00:00:00:000 | "},
                {4, " "}, {-1, " "}};
    for (const auto& row : rows) {
        std::string line = Logged([&](uLogger& l) { l.Log(1, static_cast<uLogger::TIME_DATE>(row.style), "x"); });
        for (char& c : line) c = std::isdigit(static_cast<unsigned char>(c)) != 0 ? '0' : c;
        EXPECT_EQ(line, std::string("M     ") + row.shape + "x\n") << row.style;
    }
    const std::string line = Logged([](uLogger& l) { l.LogTimeStamp(); });
    EXPECT_EQ(line.size(), 6U + 24 + 1);
    // The stamp is the clock's: within a second of it, and the text follows a new second.
    uLogger logger(m_path.c_str(), true);
    char stamp[64];
    for (int n = 0; n < 3; ++n, usleep(700000)) {
        const std::time_t now = std::time(nullptr);
        EXPECT_EQ(logger.SprintfCurrentTime(stamp, 64, uLogger::TD_DATE_TIME), 24);
        std::tm fields{};
        ASSERT_NE(strptime(stamp, "%m/%d/%y %H:%M:%S:", &fields), nullptr) << stamp;
        fields.tm_isdst = -1;
        EXPECT_LE(std::mktime(&fields) - now, 1);
        EXPECT_GE(std::mktime(&fields) - now, 0);
    }
    for (int size = 0; size < 30; ++size) {
        std::string buf(31, '#');
        EXPECT_EQ(logger.SprintfCurrentTime(buf.data(), size, uLogger::TD_DATE_TIME),
                  std::max(0, std::min(24, size - 1)));
        EXPECT_EQ(buf[static_cast<std::size_t>(size)], '#');
        EXPECT_EQ(logger.SprintfLevel(31, buf.data(), size), std::max(0, std::min(6, size - 1)));
    }
    std::tm fields{};
    fields.tm_mday = 2;
    EXPECT_EQ(logger.SprintfTime(stamp, 64, &fields), 17);
    EXPECT_STREQ(stamp, "01/02/00 00:00:00");
    EXPECT_EQ(logger.SprintfTime(stamp, 17, &fields), 0);
}

TEST_F(uLoggerTest, EndsALineOnce) {
    for (const std::string end : {"", "\n", "\r", "\r\n", "\n\r"}) {
        EXPECT_EQ(Logged([&](uLogger& l) { l.Log("a%s", end.c_str()); }), "M      a\n") << testing::PrintToString(end);
    }
    EXPECT_EQ(Logged([](uLogger& l) { l.Log("a\n\n"); }), "M      a\n\n");
    EXPECT_EQ(Logged([](uLogger& l) { l.Log("a%cb", 0); }), "M      a\n") << "a zero ends the message";
    // Longer than the buffer: cut, and the neighbours are whole.
    for (const std::size_t size : {4086UL, 4087UL, 4088UL, 4089UL, 5000UL, 100000UL}) {
        const std::string text = Logged([&](uLogger& l) {
            l.Log("before");
            l.Log("%s", std::string(size, 'x').c_str());
            l.Log("after");
        });
        EXPECT_EQ(text,
                  "M      before\nM      " + std::string(std::min<std::size_t>(size, 4087), 'x') + "\nM      after\n")
            << size;
    }
}

TEST_F(uLoggerTest, OpensLateAndSwitchesFiles) {
    const std::string other = m_folder / "other";
    m_folder.Write("log", "old\n");
    uLogger logger(m_path.c_str(), true);
    EXPECT_STREQ(logger.GetName(), m_path.c_str());
    logger.Clear();
    EXPECT_FALSE(logger.m_fileOpen);
    EXPECT_EQ(test::ReadAll(m_path), "old\n") << "a closed file is left alone";
    logger.Log("1");
    EXPECT_EQ(test::ReadAll(m_path), "old\nM      1\n");
    EXPECT_TRUE(logger.EnableOutput(false));
    logger.Log("lost");
    EXPECT_FALSE(logger.EnableOutput(true));
    logger.Log("2");
    EXPECT_EQ(test::ReadAll(m_path), "old\nM      1\nM      2\n");
    logger.Clear();
    logger.Log("3");
    EXPECT_EQ(test::ReadAll(m_path), "M      3\n");
    EXPECT_TRUE(logger.SetFileName(other.c_str(), false));
    logger.Log("4");
    EXPECT_EQ(test::ReadAll(other), "M      4\n");
    logger.EnableOutput(false);
    EXPECT_FALSE(logger.SetFileName(other.c_str(), false));
    logger.EnableOutput(true);
    logger.Log("5");
    EXPECT_EQ(test::ReadAll(other), "M      5\n") << "truncated by the reopening";
    const ORM_LUX::uEnvironment::ScopedDirectoryChanger here(m_folder.Path().c_str());
    uLogger unnamed;
    unnamed.Log("6");
    EXPECT_EQ(test::ReadAll(m_folder / "KVB_log.txt"), "M      6\n");
}

TEST_F(uLoggerTest, GoesOnWhenItCouldNotWrite) {
    const std::string path = m_folder / "late/log";
    uLogger logger(path.c_str(), true);
    logger.Log("lost");
    std::filesystem::create_directory(m_folder / "late");
    logger.Log("first");
    EXPECT_EQ(test::ReadAll(path), "M      first\n");

    // A full disk: the file may not grow beyond a limit, and has room for a part of a line or for none.
    signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    for (const rlim_t room : {0UL, 5UL}) {
        const std::string whole = test::ReadAll(path);
        const rlimit full{whole.size() + room, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &full);
        for (int n = 0; n < 3; ++n) logger.Log("does not fit");
        setrlimit(RLIMIT_FSIZE, &before);
        logger.Log("again");
        logger.Log("and again");
        EXPECT_EQ(test::ReadAll(path), whole + "M      again\nM      and again\n");
    }
}

// Every line of 8 threads arrives once and whole, through one logger and through two on one file.
TEST_F(uLoggerTest, KeepsTheLinesOfManyThreadsApart) {
    constexpr int kThreads = 8;
    constexpr int kLines = 20000;
    for (const int loggers : {1, 2}) {
        std::filesystem::remove(m_path);
        uLogger first(m_path.c_str(), true);
        uLogger second(m_path.c_str(), true);
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([&, t] {
                uLogger& logger = t % loggers == 0 ? first : second;
                for (int n = 0; n < kLines; ++n) logger.Log(1, uLogger::TD_TIME, "%d:%d", t, n);
            });
        }
        for (auto& thread : threads) thread.join();
        std::map<int, int> next;
        std::istringstream lines(test::ReadAll(m_path));
        std::string line;
        while (std::getline(lines, line)) {
            int t = -1;
            int n = -1;
            char end = 0;
            ASSERT_EQ(std::sscanf(line.c_str(), "M     %*2d:%*2d:%*2d:%*3d | %d:%d%c", &t, &n, &end), 2) << line;
            ASSERT_EQ(n, next[t]++) << line;
        }
        for (int t = 0; t < kThreads; ++t) EXPECT_EQ(next[t], kLines);
    }
}

TEST_F(uLoggerTest, HasLostNothingWhenTheProcessIsKilled) {
    const pid_t child = fork();
    if (child == 0) {
        uLogger logger(m_path.c_str(), true);
        for (int n = 0; n < 1000; ++n) logger.Log("%d", n);
        kill(getpid(), SIGKILL);
    }
    waitpid(child, nullptr, 0);
    const std::string text = test::ReadAll(m_path);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1000);
    EXPECT_EQ(text.substr(text.size() - 11), "M      999\n");
}

class uLogSystemTest : public uLoggerTest {
protected:
    bool Init(uLogSystem& system, const char* level, bool useLookup = true, const char* name = "log") {
        setenv("ORM_TEST_LEVEL", level, 1);
        setenv("ORM_TEST_DIR", m_folder.Path().c_str(), 1);
        return system.InitLog(name, "ORM_TEST_LEVEL", "ORM_TEST_DIR", useLookup);
    }
};

TEST_F(uLogSystemTest, AppliesTheSetting) {
    const struct {
        const char* value;
        int setting;
        bool output, echo, debug;
        int level;
        int levelBySet;  // by SetLoggingLevel, from level 3
    } rows[] = {{"", 0, false, false, false, 0, 3},         {"1", 1, true, false, false, 1, 1},
                {"2", 2, true, true, false, 1, 1},          {" 3x", 3, true, false, false, 2, 2},
                {"4", 4, true, true, false, 2, 2},          {"5", 5, true, true, true, 2, 2},
                {"6", 6, true, true, true, 3, 3},           {"7", 7, false, false, false, 7, 3},
                {"-1", -1, false, false, false, -1, 3},     {"abc", 0, false, false, false, 0, 3},
                {"4294967299", 3, true, false, false, 2, 2}};
    for (const auto& row : rows) {
        uLogSystem byVariable;
        uLogSystem byArgument;
        EXPECT_TRUE(Init(byVariable, row.value));
        EXPECT_TRUE(byArgument.InitLogEx("log", row.setting, m_folder.Path().c_str()));
        EXPECT_EQ(byVariable.m_refCount, 1);
        EXPECT_EQ(byArgument.m_refCount, 0);
        for (const uLogSystem* system : {&byVariable, &byArgument}) {
            EXPECT_EQ(system->m_loggingLevel, row.level) << row.value;
            EXPECT_EQ(system->m_pLogger->m_outputEnabled, row.output) << row.value;
            EXPECT_EQ(system->m_pLogger->m_logToStdio, row.echo) << row.value;
            EXPECT_EQ(system->m_pLogger->m_logDbgOutWindow, row.debug) << row.value;
            EXPECT_EQ(system->m_pLogger->GetName(), m_path);
        }
        byVariable.SetLoggingLevel(6);
        byVariable.SetLoggingLevel(row.setting);
        EXPECT_EQ(byVariable.m_loggingLevel, row.levelBySet) << row.value;
        EXPECT_EQ(byVariable.m_pLogger->m_outputEnabled, row.output) << row.value;
        EXPECT_TRUE(byVariable.m_pLogger->m_logToStdio) << "never switched off again";
    }
}

TEST_F(uLogSystemTest, StartsOnceForEachName) {
    uLogSystem system;
    EXPECT_FALSE(system.InitLog(nullptr, "X", nullptr, true) || system.InitLog("log", nullptr, nullptr, true) ||
                 system.InitLogEx(nullptr, 1, nullptr));
    EXPECT_EQ(system.m_pLogger, nullptr);
    system.SetLoggingLevel(1);
    EXPECT_TRUE(Init(system, "1"));
    uLogger* first = system.m_pLogger;
    const std::string lines = test::ReadAll(m_path);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 2);
    EXPECT_TRUE(Init(system, "6") && Init(system, "6", false, "elsewhere") &&
                system.InitLogEx("elsewhere", 6, nullptr));
    EXPECT_EQ(system.m_pLogger, first);
    EXPECT_EQ(system.m_loggingLevel, 1);
    EXPECT_FALSE(system.m_useLoggerLookup);
    EXPECT_EQ(test::ReadAll(m_path), lines) << "no further lines";
    EXPECT_TRUE(Init(system, "2", true, "other"));
    EXPECT_EQ(system.LookupLogger("other"), system.m_pLogger);
    EXPECT_EQ(system.LookupLogger("log"), first);
    EXPECT_EQ(system.LookupLogger(m_path.c_str()), nullptr);
    EXPECT_EQ(system.LookupLogger(nullptr), nullptr);
    uLogger* second = system.m_pLogger;
    EXPECT_TRUE(Init(system, "0"));
    EXPECT_EQ(system.m_pLogger, first);
    EXPECT_EQ(system.m_refCount, 2);
    delete second;  // the system deletes its default logger alone, and that at the last reference
    system.m_refCount = 1;
}

TEST_F(uLogSystemTest, LogsWithoutAHomeAndWithoutADirectory) {
    const std::string home = ORM_LUX::uEnvironment::GetVar("HOME");
    const ORM_LUX::uEnvironment::ScopedDirectoryChanger here(m_folder.Path().c_str());
    unsetenv("HOME");
    unsetenv("ORM_TEST_UNSET");
    setenv("ORM_TEST_LEVEL", "1", 1);
    uLogSystem system;
    EXPECT_TRUE(system.InitLog("bare", "ORM_TEST_LEVEL", "ORM_TEST_UNSET", false));
    setenv("HOME", home.c_str(), 1);
    const std::string text = test::ReadAll(m_folder / "bare");
    EXPECT_NE(text.find("| Logger : trace user settings directory is \n"), std::string::npos) << text;
    EXPECT_NE(text.find("| Logger : trace temporary data directory is \n"), std::string::npos) << text;
    EXPECT_TRUE(system.m_loggers.empty());
    uLogSystem rooted;
    rooted.InitLogEx("x", 0, "");
    EXPECT_STREQ(rooted.m_pLogger->GetName(), "/x");
}

TEST_F(uLogSystemTest, NamesItsModule) {
    uLogSystem& system = *uLogSystem::GetLogSystem();
    EXPECT_EQ(&system, uLogSystem::m_pSystem);
    uLogger::LogModuleInfo();
    ASSERT_TRUE(system.InitLogEx("log", 1, m_folder.Path().c_str()));
    uLogger::LogModuleInfo();
    EXPECT_EQ(test::ReadAll(m_path).substr(0, 51), "M      MODULE INFO - libTalvoraFileChannelDriver.so");
    system.m_pLogger->EnableOutput(false);
}

}  // namespace
