// What happens in a process that loads the library: start-up, environment, log. Each scenario is a child process with a
// home and an environment of its own.
#include <ctime>

#include "support/Process.h"

namespace {

class StartUpTest : public testing::Test {
protected:
    // Runs a script in the scenario host, with further settings. Returns: what it prints.
    std::string Host(const std::string& script, const std::string& settings = "ORM_TRACE_LOGGING=1") {
        m_start = std::time(nullptr);
        const auto [code, out, err] =
            test::Run(m_home.Path(), "TZ=UTC HOME=" + m_home.Path() + " " + settings,
                      ORM_SCENARIO_HOST " " ORM_DRIVER_LIBRARY " " + script + " get ORM_TRACE_DEBUGCLIENT_PID");
        EXPECT_EQ(code, 0) << out << err;
        m_id = out.substr(out.rfind('=') + 1, out.size() - out.rfind('=') - 2);
        return out.substr(0, out.rfind("ORM_TRACE_DEBUGCLIENT_PID"));
    }
    // The log of the last script, with each time of day replaced by "TIME"; "no log" without one.
    std::string Log() {
        for (const std::time_t time : {m_start, std::time(nullptr)}) {  // midnight may be between them
            const std::tm date = *std::gmtime(&time);
            const std::string day = std::to_string(date.tm_mon + 1) + std::to_string(date.tm_mday);
            const std::string path =
                m_trace + "/orm_trace_log_" + day + std::to_string(date.tm_year + 1900) + "_" + m_id;
            std::ifstream file(path + ".txt");
            if (!file) continue;
            std::string text;
            for (std::string line; std::getline(file, line); text += line + '\n') {
                if (line.find(" | ") == 6 + 12) line.replace(6, 12, "TIME");
            }
            return text;
        }
        return "no log";
    }

    test::WorkingFolder m_home;
    std::time_t m_start = 0;  // of the last script
    std::string m_trace = m_home / ".ORM-trace";
    std::string m_id;  // of the debug client, as the last script left it
};

TEST_F(StartUpTest, PreparesTheProcess) {
    EXPECT_EQ(Host("create get ORM_TRACE_LOGGING_DIR get ORM_TRACE_DATA_DIR get ORM_TRACE_SETTINGS_DIR", ""),
              "ORM_TRACE_LOGGING_DIR=" + m_trace + "\nORM_TRACE_DATA_DIR=" + m_trace +
                  "/data\nORM_TRACE_SETTINGS_DIR=" + m_trace + "/settings\n");
    EXPECT_TRUE(std::filesystem::is_directory(m_trace + "/data"));
    EXPECT_TRUE(std::filesystem::is_directory(m_trace + "/settings"));
    EXPECT_EQ(Log(), "no log");
}

TEST_F(StartUpTest, SharesTheIdOfALivingDebugClientAlone) {
    const std::string own = std::to_string(getpid());
    std::string ended = test::Run("/", "", "sh -c 'echo $$'").out;
    ended.pop_back();
    for (const std::string& id : {own, ended, std::string("0"), std::string("junk")}) {
        Host("create", "ORM_TRACE_LOGGING=1 ORM_TRACE_DEBUGCLIENT_PID=" + id);
        EXPECT_EQ(m_id == id, id == own) << id;
        EXPECT_NE(Log(), "no log") << id;
    }
}

TEST_F(StartUpTest, SurvivesWithoutAHomeAndTriesAgain) {
    m_home.Write("x.bin", "12345678");
    for (const char* settings : {"HOME=", "env -u HOME"}) {
        EXPECT_EQ(Host("create load x.bin count get ORM_TRACE_DATA_DIR "
                       "set HOME late set ORM_TRACE_LOGGING 1 create get ORM_TRACE_LOGGING_DIR",
                       settings),
                  "count 1\nORM_TRACE_DATA_DIR=(unset)\nORM_TRACE_LOGGING_DIR=late/.ORM-trace\n");
        EXPECT_NE(m_id, "(unset)");
    }
}

TEST_F(StartUpTest, HandlesTheSignalOfALimitOnceItLogs) {
    EXPECT_EQ(Host("signal create destroy signal reopen signal"), "by default\nhandled\nhandled\n");
    EXPECT_EQ(Host("create destroy signal", "ORM_TRACE_LOGGING=0"), "by default\n") << "no line was written";
}

TEST_F(StartUpTest, RunsOnceForTheWholeProcess) {
    // Neither a second driver nor a second dlopen starts anything again.
    EXPECT_EQ(Host("create destroy set HOME /nowhere set ORM_TRACE_LOGGING 0 create destroy reopen create destroy "
                   "get ORM_TRACE_LOGGING_DIR"),
              "ORM_TRACE_LOGGING_DIR=" + m_trace + "\n");
    EXPECT_EQ(Log(), "M     TIME | Logger : trace user settings directory is " + m_trace +
                         "/settings\nM     TIME | Logger : trace temporary data directory is " + m_trace + "/data\n");
}

TEST_F(StartUpTest, LeavesNothingBehindInAThousandCycles) {
    m_home.Write("x", "12345678");
    std::string cycles;
    for (int n = 0; n < 1000; ++n) cycles += "create load x destroy reopen ";
    std::string out = Host("create load x destroy reopen used used " + cycles + "used");
    out.erase(0, out.find('\n') + 1);  // printing for the first time takes memory
    EXPECT_EQ(out.substr(0, out.size() / 2), out.substr(out.size() / 2)) << "descriptors, threads, bytes";
    const std::string log = Log();
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 2 + 1001);
}

TEST_F(StartUpTest, HappensOnceForThreadsThatComeTogether) {
    for (int n = 0; n < 10; ++n)
        EXPECT_EQ(Host("create-many get ORM_TRACE_DATA_DIR"), "ORM_TRACE_DATA_DIR=" + m_trace + "/data\n");
    const std::string log = Log();
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 2) << log;
}

TEST_F(StartUpTest, FollowsTheLoggingSetting) {
    for (const auto& [value, isEchoed] : {std::pair("1", false), {"' 2x'", true}}) {
        const std::string out = Host("create load gone", std::string("ORM_TRACE_LOGGING=") + value);
        EXPECT_NE(Log().find("LoadFile"), std::string::npos) << value;
        EXPECT_EQ(out.find("Driver: LoadFile") != std::string::npos, isEchoed) << value;
    }
}

}  // namespace
