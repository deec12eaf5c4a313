// Writers that are ended by signals, that write at once, or that cannot write: what their targets keep, and what is said.
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>

#include <random>

#include "support/ToolFixture.h"

namespace {

using test::ReadAll;
using test::Section;

struct ToolWriterTest : test::ToolFixture {
    // What stands before the tool is for the shell. The tool gets no ignored signal from a job in the background.
    pid_t Start(const std::string& arguments, const std::string& before = "") const {
        const std::string command =
            "ulimit -c 0; " + before + "exec env HOME=" + m_home.Path() + " " ORM_TOOL " " + arguments + " 2>>err";
        const pid_t child = fork();
        if (child != 0) return child;
        for (int number = 1; number < _NSIG; ++number) signal(number, SIG_DFL);
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
        _exit(127);
    }
    static bool HasEnded(pid_t child) {
        siginfo_t info{};
        return waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT) != 0 || info.si_pid != 0;
    }
    // Returns: the exit code, or 128 + the signal.
    static int End(pid_t child) {
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    static std::vector<std::string> Files() {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(".")) names.push_back(entry.path().filename());
        return names;
    }

    const std::string m_before = "TDF2" + Section("a", 1, "first") + Section("b", 2, std::string(5000, 's'));
};

TEST_F(ToolWriterTest, LeavesATargetWholeAtASignal) {
    const std::string data(16 << 20, 'd');
    m_folder.Write("data", data);
    const std::pair<std::string, std::string> operations[] = {
        {"append t.tdf --section new:1@data", m_before + Section("new", 1, data)},
        {"save data t.tdf", m_before + test::Trace(data)}};
    std::mt19937 random(std::random_device{}());
    int takenBack = 0;
    const auto run = [&](int signal, bool isIgnored) {
        for (const auto& [arguments, complete] : operations) {
            m_folder.Write("t.tdf", m_before);
            const std::size_t when = m_before.size() + random() % data.size();
            const pid_t tool = Start(arguments, isIgnored ? "trap '' " + std::to_string(signal) + "; " : "");
            while (!HasEnded(tool) && std::filesystem::file_size("t.tdf") <= when) continue;
            kill(tool, signal);
            const int code = End(tool);
            const std::string row = test::Show(arguments, "signal", signal, "at", when), now = ReadAll("t.tdf");
            EXPECT_TRUE(code == 0 || (code == 128 + signal && !isIgnored)) << row << " code " << code;
            if (signal == SIGKILL) {
                EXPECT_TRUE(now.substr(0, m_before.size()) == m_before) << row;
                EXPECT_EQ(Tool("dump t.tdf --section b:2 --format raw").out, std::string(5000, 's')) << row;
                continue;
            }
            EXPECT_TRUE(now == complete || (code != 0 && now == m_before)) << row << " leaves " << now.size();
            takenBack += now == m_before;
        }
    };
    for (int round = 0; round < 3; ++round) {
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGKILL}) run(signal, false);
    }
    EXPECT_GT(takenBack, 0) << "no signal came in time";
    for (const int signal : {SIGINT, SIGHUP}) run(signal, true);
    if (!ORM_IS_EMULATED) {  // an emulator reports what SIGQUIT ends
        EXPECT_EQ(ReadAll("err"), "");
    }
}

TEST_F(ToolWriterTest, WritersWaitForEachOther) {
    for (int round = 0; round < 3; ++round) {
        m_folder.Write("t.tdf", m_before);
        std::vector<pid_t> tools;
        std::vector<std::string> sections;
        for (const char name : {'n', 'o', 'p', 'q', 'r', 's', 'u', 'v'}) {
            const std::string text(1, name), data(8000000, name);
            sections.push_back(Section(text, 1, data));
            tools.push_back(Start("append t.tdf --section " + text + ":1@" + m_folder.Write(text, data)));
        }
        for (const pid_t tool : tools) EXPECT_EQ(End(tool), 0) << ReadAll("err");
        const std::string now = ReadAll("t.tdf");
        EXPECT_EQ(now.size(), m_before.size() + 8 * sections[0].size());
        EXPECT_EQ(now.substr(0, m_before.size()), m_before);
        for (const std::string& section : sections) EXPECT_NE(now.find(section), now.npos) << section.substr(0, 13);
    }
    // A file that takes the name while the lock of another is waited for, and is the one to be written to then.
    const std::string other = "TDF2" + Section("other", 1, ""), section = Section("new", 1, "data");
    m_folder.Write("data", "data");
    const std::pair<std::string, std::string> rows[] = {
        {"append t.tdf --section new:1@data", other + section},
        {"save data t.tdf", other + test::Trace("data")},
        {"create t.tdf --force --section new:1@data", "TDF2" + section}};
    for (const auto& [arguments, expected] : rows) {
        m_folder.Write("t.tdf", m_before);
        std::filesystem::create_hard_link("t.tdf", "old.tdf");
        const int held = open("t.tdf", O_RDONLY | O_CLOEXEC);
        EXPECT_EQ(flock(held, LOCK_EX), 0);
        const pid_t tool = Start(arguments);
        usleep(300000);
        EXPECT_FALSE(HasEnded(tool)) << arguments;
        EXPECT_EQ(ReadAll("t.tdf"), m_before) << arguments;
        std::filesystem::rename(m_folder.Write("other.tdf", other), "t.tdf");
        close(held);
        EXPECT_EQ(End(tool), 0) << arguments;
        EXPECT_EQ(ReadAll("t.tdf"), expected) << arguments;
        EXPECT_EQ(ReadAll("old.tdf"), m_before) << arguments;
        std::filesystem::remove("old.tdf");
    }
    EXPECT_EQ(ReadAll("err"), "");
}

TEST_F(ToolWriterTest, SaysWhyItCannotWriteAndLeavesNothing) {
    m_folder.Write("mid", std::string(100000, 'm'));
    m_folder.Write("t.tdf", m_before);
    m_folder.Write("big.tdf", "TDF2" + Section("big", 1, std::string(20000, 'b')) + "cut");
    chmod(m_folder.Write("locked.tdf", m_before).c_str(), 0444);
    chmod("t.tdf", 0644);
    const auto files = Files();
    const std::string limit = "LLVM_PROFILE_FILE=/dev/null prlimit --fsize=9999 ", section = " --section m:1@mid",
                      full = ": File too large", stdin = "standard input: ";
    // clang-format off
    const std::tuple<std::string, std::string, std::string> rows[] = {
        {limit, "create n.tdf" + section, "1 n.tdf" + full + " (writing 100000 bytes of mid)"},
        {limit, "create t.tdf --force" + section, "1 t.tdf" + full + " (writing 100000 bytes of mid)"},
        {limit, "append t.tdf" + section, "1 t.tdf" + full + " (writing 100000 bytes of mid)"},
        {limit, "save mid t.tdf", "1 t.tdf" + full + " (saving mid)"},
        {limit, "recover big.tdf -o n.tdf", "1 n.tdf" + full},
        {"nobody", "append locked.tdf" + section, "4 locked.tdf: Permission denied"},
        {"nobody", "save mid locked.tdf", "4 locked.tdf: Permission denied"},
        {"nobody", "create n.tdf", "1 n.tdf: Permission denied"},
        {"", "append t.tdf --section x:1@- --section y:1@/dev/stdin", "2 " + stdin + "cannot be the data of two sections"},
        {"", "append t.tdf --section x:1@- <&-", "4 " + stdin + "Bad file descriptor"},
        {"", "save gone t.tdf", "4 gone: No such file or directory"}};
    // clang-format on
    for (const auto& [before, arguments, expected] : rows) {
        chmod(".", before == "nobody" ? 0555 : 0755);
        const test::Result result = before == "nobody" ? ToolAsNobody(arguments) : Tool(arguments, before);
        const std::string err = "orm-trace: " + result.err, last = err.substr(err.rfind("orm-trace: ") + 11);
        EXPECT_EQ(test::Show(result.code, last), expected + '\n') << arguments << result.err;
        EXPECT_EQ(Files(), files) << arguments;
        EXPECT_TRUE(ReadAll("t.tdf") == m_before && ReadAll("locked.tdf") == m_before) << arguments;
    }
    // What the system makes while it is read has no size before.
    EXPECT_EQ(Tool("append t.tdf --section v:1@/proc/version").code, 0);
    EXPECT_EQ(ReadAll("t.tdf"), m_before + Section("v", 1, ReadAll("/proc/version")));
    // The hidden file of an OUT that is to be replaced, while standard input has not ended.
    m_folder.Write("err", "");
    mkfifo("fifo", 0600);
    for (const int signal : {SIGTERM, SIGQUIT, SIGUSR1, SIGALRM}) {
        const auto before = Files();
        const pid_t tool = Start("create t.tdf --force --section m:1@- <>fifo");
        while (!HasEnded(tool) && Files().size() <= before.size()) continue;
        kill(tool, signal);
        EXPECT_EQ(End(tool), 128 + signal);
        EXPECT_EQ(Files().size(), before.size()) << signal;
    }
}

}  // namespace
