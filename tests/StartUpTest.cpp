// What happens in a process that loads the library: start-up, environment, log. Each scenario is a child process with a
// home and an environment of its own.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <ctime>

#include "support/Process.h"

namespace {

class StartUpTest : public testing::Test {
protected:
    // Runs a script in the scenario host; time zone and home are the test's own.
    test::Result Host(std::vector<std::string> script, std::vector<std::string> environment = {},
                      bool withHome = true) {
        test::Run run;
        run.command = {ORM_SCENARIO_HOST, ORM_DRIVER_LIBRARY};
        run.command.insert(run.command.end(), script.begin(), script.end());
        run.environment = std::move(environment);
        run.environment.push_back("TZ=UTC");
        if (withHome) run.environment.push_back("HOME=" + m_home.Path());
        run.directory = m_home.Path();
        const test::Result result = run();
        EXPECT_EQ(result.code, 0) << result.out << result.err;
        return result;
    }

    // Returns: the log file's text with each time of day replaced by "TIME", "" when there is no log.
    std::string Log(const std::string& id) {
        std::string text = test::ReadAll(LogPath(id));
        for (std::size_t at = text.find(" | "); at != std::string::npos; at = text.find(" | ", at + 1)) {
            const std::string_view pattern = "00:00:00:000";
            if (at < pattern.size()) continue;
            std::string time = text.substr(at - pattern.size(), pattern.size());
            for (char& c : time) c = std::isdigit(static_cast<unsigned char>(c)) != 0 ? '0' : c;
            if (time == pattern) text.replace(at -= pattern.size(), pattern.size(), "TIME");
        }
        return text;
    }
    std::string LogPath(const std::string& id) {
        const std::time_t now = std::time(nullptr);
        std::tm date{};
        gmtime_r(&now, &date);
        return m_home / (".ORM-trace/orm_trace_log_" + std::to_string(date.tm_mon + 1) + std::to_string(date.tm_mday) +
                         std::to_string(date.tm_year + 1900) + "_" + id + ".txt");
    }
    static std::string Value(const test::Result& result, const std::string& name) {
        const std::size_t at = result.out.rfind(name + "=");
        return at == std::string::npos
                   ? "(never asked)"
                   : result.out.substr(at + name.size() + 1, result.out.find('\n', at) - at - name.size() - 1);
    }

    test::TemporaryFolder m_home;
};

const std::vector<std::string> kAskPid{"create", "get", "ORM_TRACE_DEBUGCLIENT_PID"};

TEST_F(StartUpTest, PreparesTheProcess) {
    const test::Result result = Host({"create", "get", "ORM_TRACE_DEBUGCLIENT_PID", "get", "ORM_TRACE_LOGGING_DIR",
                                      "get", "ORM_TRACE_DATA_DIR", "get", "ORM_TRACE_SETTINGS_DIR"});
    EXPECT_EQ(Value(result, "ORM_TRACE_LOGGING_DIR"), m_home / ".ORM-trace");
    EXPECT_EQ(Value(result, "ORM_TRACE_DATA_DIR"), m_home / ".ORM-trace/data");
    EXPECT_EQ(Value(result, "ORM_TRACE_SETTINGS_DIR"), m_home / ".ORM-trace/settings");
    EXPECT_TRUE(std::filesystem::is_directory(m_home / ".ORM-trace/data"));
    EXPECT_TRUE(std::filesystem::is_directory(m_home / ".ORM-trace/settings"));
    EXPECT_FALSE(std::filesystem::exists(LogPath(Value(result, "ORM_TRACE_DEBUGCLIENT_PID")))) << "logging is off";
}

TEST_F(StartUpTest, SharesTheIdOfALivingDebugClientAlone) {
    const std::string own = std::to_string(getpid());
    EXPECT_EQ(
        Value(Host(kAskPid, {"ORM_TRACE_DEBUGCLIENT_PID=" + own, "ORM_TRACE_LOGGING=1"}), "ORM_TRACE_DEBUGCLIENT_PID"),
        own);
    EXPECT_TRUE(std::filesystem::exists(LogPath(own)));

    const pid_t ended = fork();
    if (ended == 0) _exit(0);
    waitpid(ended, nullptr, 0);
    for (const std::string& id : {std::to_string(ended), std::string("0"), std::string("junk")}) {
        const std::string settled = Value(Host(kAskPid, {"ORM_TRACE_DEBUGCLIENT_PID=" + id, "ORM_TRACE_LOGGING=1"}),
                                          "ORM_TRACE_DEBUGCLIENT_PID");
        EXPECT_NE(settled, id);
        EXPECT_TRUE(std::filesystem::exists(LogPath(settled))) << settled;
    }
}

TEST_F(StartUpTest, SurvivesWithoutAHomeAndTriesAgain) {
    for (const std::vector<std::string>& environment : {std::vector<std::string>{}, {"HOME="}}) {
        const std::string data = m_home.Write("x.bin", "12345678");
        const test::Result result = Host(
            {"create", "load", data, "0", "count", "get", "ORM_TRACE_DEBUGCLIENT_PID", "get", "ORM_TRACE_DATA_DIR",
             "set", "HOME", m_home / "late", "set", "ORM_TRACE_LOGGING", "1", "create", "get", "ORM_TRACE_LOGGING_DIR"},
            environment, false);
        EXPECT_NE(result.out.find("count 1\n"), std::string::npos) << result.out;
        EXPECT_NE(Value(result, "ORM_TRACE_DEBUGCLIENT_PID"), "(unset)");
        EXPECT_EQ(Value(result, "ORM_TRACE_DATA_DIR"), "(unset)");
        EXPECT_EQ(Value(result, "ORM_TRACE_LOGGING_DIR"), m_home / "late/.ORM-trace");
    }
}

TEST_F(StartUpTest, RunsOnceForTheWholeProcess) {
    // Neither a second driver nor a second dlopen starts anything again.
    const test::Result result = Host(
        {"create", "destroy", "set", "HOME", "/nowhere", "set", "ORM_TRACE_LOGGING", "0", "create", "destroy", "reopen",
         "create", "destroy", "destroy-null", "get", "ORM_TRACE_LOGGING_DIR", "get", "ORM_TRACE_DEBUGCLIENT_PID"},
        {"ORM_TRACE_LOGGING=1"});
    EXPECT_EQ(Value(result, "ORM_TRACE_LOGGING_DIR"), m_home / ".ORM-trace");
    EXPECT_EQ(Log(Value(result, "ORM_TRACE_DEBUGCLIENT_PID")),
              "M     TIME | Logger : trace user settings directory is " + (m_home / ".ORM-trace/settings") +
                  "\nM     TIME | Logger : trace temporary data directory is " + (m_home / ".ORM-trace/data") + "\n");
}

TEST_F(StartUpTest, LogsEveryOperationAndItsRefusal) {
    const std::string data = m_home.Write("x.bin", test::Sample(5) + test::Sample(6));
    const std::string empty = m_home.Write("none.tdf", "TDF2");
    const test::Result result = Host({"create", "operations", "load", data,   "0",
                                      "read",   "1",          "5",    "read", "3",
                                      "1",      "load",       empty,  "0",    "load",
                                      "gone",   "0",          "load", "",     "0",
                                      "read",   "0",          "1",    "get",  "ORM_TRACE_DEBUGCLIENT_PID"},
                                     {"ORM_TRACE_LOGGING=1"});
    std::string refusals = "GetAttribute: error 0: Talvora file channel driver doesn't support\n";
    std::string lines;
    for (const std::string name : {"GetUserConfiguration", "SetConfiguration", "StartRecording", "StopRecording",
                                   "ResumeRecording", "GetChannelStatus"}) {
        refusals += name + ": error 2: Talvora file channel driver: This capability is not supported.\n";
        lines += "M     TIME | Trace Talvora File Channel Driver: " + name + "\n";
    }
    EXPECT_EQ(result.out.substr(0, result.out.find("ORM_")),
              refusals +
                  "stamp '', cpu none, untouched 7 7 1 2 kept\n"
                  "load: done\nread: done\nread 1: 6\n"
                  "read: error 2: Talvora file channel driver: The requested sample is not valid.\nread 77: 0\n"
                  "load: error 2: BinTraceData section cannot be located in the file.\n"
                  "load: error 2: Failed to open gone for reading.\n"
                  "load: error 2: Talvora file channel driver: Empty file name.\n"
                  "read: error 2: Talvora file channel driver: File I/O error reading trace file.\nread 77: 0\n");
    const std::string m = "M     TIME | Trace Talvora File Channel Driver: ";
    const std::string e = "    E TIME | ";
    const std::string log = Log(Value(result, "ORM_TRACE_DEBUGCLIENT_PID"));
    EXPECT_EQ(log.substr(log.find(lines)),
              lines + m + "GetTODStamp\n" + m + "LoadFile\n" + m +
                  "SeekReadTraceData\nInput: StartSample #1, NumSamples #5, CurrentSampleCount #2\n" + m +
                  "SeekReadTraceData\n\tReturn: Samples read #1\n" + m +
                  "SeekReadTraceData\nInput: StartSample #3, NumSamples #1, CurrentSampleCount #2\n" + e +
                  "Trace Talvora File Channel Driver: StartSample exceeds CurrentSampleCount\n" + m + "LoadFile\n" + e +
                  "Trace Talvora File Channel Driver: caught error loading file.\n" + m + "LoadFile\n" + e +
                  "Failed to open gone for reading.\n" + m + "LoadFile\n" + m +
                  "SeekReadTraceData\nInput: StartSample #0, NumSamples #1, CurrentSampleCount #0\n" + e +
                  "Trace Talvora File Channel Driver: failed fseek\n");
}

struct SettingRow {
    const char* value;
    bool file;
    bool echo;
};

TEST_F(StartUpTest, FollowsTheLoggingSetting) {
    for (const SettingRow& row : {SettingRow{"", false, false},
                                  {"0", false, false},
                                  {"abc", false, false},
                                  {"9", false, false},
                                  {"-1", false, false},
                                  {"1", true, false},
                                  {"2", true, true},
                                  {" 3", true, false},
                                  {"3xyz", true, false},
                                  {"4", true, true},
                                  {"5", true, true},
                                  {"6", true, true}}) {
        const test::Result result = Host({"create", "load", "gone", "0", "get", "ORM_TRACE_DEBUGCLIENT_PID"},
                                         {std::string("ORM_TRACE_LOGGING=") + row.value});
        const std::string log = Log(Value(result, "ORM_TRACE_DEBUGCLIENT_PID"));
        EXPECT_EQ(log.find("LoadFile") != std::string::npos, row.file) << row.value;
        EXPECT_EQ(result.out.find("Driver: LoadFile") != std::string::npos, row.echo) << row.value;
    }
}

}  // namespace
