// System calls that fail, and writers that are killed: strace does it to the tool, and so to the writer and the driver.
// With ORM_TEST_EXHAUSTIVE in the environment every fault is tried, otherwise a sample of them.
#include <signal.h>

#include <future>
#include <set>

#include "support/ToolFixture.h"

namespace {

using test::Section;

const bool kExhaustive = std::getenv("ORM_TEST_EXHAUSTIVE") != nullptr;

struct FaultTest : test::ToolFixture {
    test::Result Traced(const std::string& options, const std::string& arguments) const {
        return Tool(arguments, "strace -f -qq -o trace " + options + " ");
    }
    // Runs the tool while the nth of its calls fails; n can be that call and all after it, N+.
    // Returns: the exit code, nothing when it makes fewer calls.
    std::optional<int> Failing(const std::string& call, const std::string& fault, const std::string& n,
                               const std::string& arguments, const std::string& filter = "") const {
        m_folder.Write("trace", "");
        const std::string inject = " -e trace=" + call + " -e inject=" + call + ":" + fault + ":when=" + n;
        const int code = Traced(filter + inject, arguments).code;
        if (test::ReadAll("trace").find("(INJECTED)") == std::string::npos) return {};
        return code;
    }
    // Stops the tool when it has read the file for the fifth time, and goes on after act().
    template <class Call> test::Result WhileItReads(const std::string& file, const std::string& arguments, Call act) {
        std::filesystem::remove("trace");
        auto tool = std::async(std::launch::async, [&] {
            return Traced("-P " + file + " -e trace=pread64 -e inject=pread64:signal=SIGSTOP:when=5", arguments);
        });
        while (test::ReadAll("trace").find("stopped by SIGSTOP") == std::string::npos) {
            if (tool.wait_for(std::chrono::milliseconds(1)) == std::future_status::ready) return tool.get();
        }
        act();
        kill(static_cast<pid_t>(std::stol(test::ReadAll("trace"))), SIGCONT);
        return tool.get();
    }
    static std::string Target() { return test::ReadAll("t.tdf"); }

    std::string m_before = "TDF2" + Section("first", 1, "0123456789") + Section("second", 2, std::string(5000, 's'));
    std::string m_data = m_folder.Write("data", std::string(200000, 'd'));
};

// Every call on the target fails, once or from then on: a failure is reported and the target is as it was, or there was
// none and the target is complete; trying again works.
TEST_F(FaultTest, LosesNothingWhenCallsFail) {
    const std::string content = test::ReadAll(m_data);
    const std::vector<std::string> onTarget{"openat", "read", "pread64", "lseek", "pwrite64", "close", "newfstatat"};
    // What create writes is another file, which then takes the target's place.
    const std::tuple<std::string, std::vector<std::string>, std::string, std::string> operations[] = {
        {"create t.tdf --force --section new:1@data",
         {"write", "pwrite64", "fsync", "renameat", "fchmod"},
         "",
         "TDF2" + Section("new", 1, content)},
        {"append t.tdf --section new:1@data", onTarget, "-P t.tdf", m_before + Section("new", 1, content)},
        {"save data t.tdf", onTarget, "-P t.tdf", m_before + test::Trace(content)}};
    std::vector<std::pair<std::string, std::string>> faults{{"retval=0", ""}, {"error=EIO", ""}, {"error=ENOSPC", "+"}};
    if (kExhaustive) {  // an interrupted call is made again
        faults.insert(faults.end(), {{"retval=0", "+"}, {"error=EIO", "+"}, {"error=ENOSPC", ""}, {"error=EINTR", ""}});
    }
    int failures = 0;
    const auto failEach = [&](const auto& operation, const std::string& call, const std::string& fault,
                              const std::string& mode) {
        const auto& [arguments, calls, filter, complete] = operation;
        for (int n = 1;; ++n) {
            m_folder.Write("t.tdf", m_before);
            const auto code = Failing(call, fault, std::to_string(n) + mode, arguments, filter);
            if (!code) break;
            ++failures;
            const std::string row = test::Show(arguments, call, fault, n, mode, "ends with", *code);
            ASSERT_TRUE(Target() == (code == 0 ? complete : m_before)) << row;
            ASSERT_LT(code, 5) << row;
            if (code == 0) continue;
            ASSERT_EQ(Tool(arguments).code, 0) << row;
            ASSERT_TRUE(Target() == complete) << row;
        }
    };
    for (const auto& operation : operations) {
        for (const std::string& call : std::get<1>(operation)) {
            for (const auto& [fault, mode] : faults) {
                if (fault != "retval=0" || call == "read") failEach(operation, call, fault, mode);
            }
        }
    }
    EXPECT_GT(failures, 100);
}

// Systems that lack something, or have none of it left: each call fails once. What can go on without it does so; the others
// leave everything as it was.
TEST_F(FaultTest, NeedsLittleOfASystem) {
    const std::string create = "create t.tdf --force --section new:1@data", fresh = "create n.tdf --section new:1@data",
                      made = "TDF2" + Section("new", 1, test::ReadAll(m_data)), appended = m_before + made.substr(4);
    // The call and its fault, the command, what its target holds after it, and the codes, of whichever call failed.
    // clang-format off
    const std::tuple<const char*, const char*, std::string, std::string, const char*> rows[] = {
        {"flock", "error=EINTR", "append t.tdf --section new:1@data", appended, "0"},
        {"flock", "error=ENOLCK", "append t.tdf --section new:1@data", appended, "0"},
        {"fcntl", "error=EMFILE", "append t.tdf --section new:1@- <data", appended, "014"},
        {"access", "error=ENOENT", "append t.tdf --section new:1@data", appended, "0"},
        {"access", "error=ENOENT", fresh, made, "0"}, {"linkat", "error=EEXIST", fresh, made, "1"},
        {"renameat2", "error=EEXIST", fresh + " --force", made, "0"},
        {"renameat2", "error=EINVAL", fresh + " --force", made, "0"}, {"renameat", "error=EINVAL", create, made, "1"},
        {"fchown", "error=EPERM", create, made, "0"}, {"fcntl", "error=EMFILE", create, made, "014"},
        {"fcntl", "error=EMFILE", create + " <&-", made, "014"},
        {"openat", "error=EMFILE", "recover t.tdf -o n.tdf", m_before, "014"},
        {"close", "error=EIO", "recover t.tdf -o n.tdf", m_before, "01"},
        {"pread64", "retval=0", "recover t.tdf -o n.tdf", m_before, "04"},
        {"newfstatat", "error=EIO", "recover t.tdf -o n.tdf", m_before, "014"},
        {"read", "retval=0", fresh, made, "04"}};
    // clang-format on
    const auto files = [] { return std::distance(std::filesystem::directory_iterator("."), {}); };
    struct stat other {};
    stat("data", &other);
    for (const auto& [call, fault, arguments, complete, expected] : rows) {
        const std::string target = arguments.find("n.tdf") != arguments.npos ? "n.tdf" : "t.tdf";
        std::set<char> codes;
        for (int n = 1;; ++n) {
            std::filesystem::remove("n.tdf");
            chmod(m_folder.Write("t.tdf", m_before).c_str(), 04711);
            m_folder.Write("trace", "");
            const auto before = files();
            const auto code = Failing(call, fault, std::to_string(n), arguments);
            if (!code) break;
            if (code != 127) codes.insert(static_cast<char>('0' + *code));  // before it runs
            const std::string left = target == "n.tdf" ? "" : m_before, now = test::ReadAll(target);
            const std::string row = test::Show(arguments, call, fault, n, "ends with", *code);
            EXPECT_TRUE(now == complete || (code != 0 && now == left)) << row;
            // What runs as the owner does not do so for another one. A new file gets the permissions that others get,
            // also where the system does not say which.
            struct stat status {};
            if (stat(target.c_str(), &status) == 0 && arguments.find("create") == 0) {
                const mode_t kept = call == std::string("fchown") ? 0711 : 04711;
                EXPECT_EQ(status.st_mode & 07777, target == "n.tdf" ? other.st_mode & 07777 : kept) << row;
            }
            EXPECT_EQ(files(), before + (target == "n.tdf" && now == complete)) << row;
        }
        EXPECT_EQ(std::string(codes.begin(), codes.end()), expected) << arguments << ' ' << fault;
    }
}

// Neither can the section be written, nor what there is of it be removed.
TEST_F(FaultTest, SaysWhatAnAppendLeaves) {
    m_folder.Write("t.tdf", m_before);
    const test::Result result =
        Tool("append t.tdf --section new:1@data",
             "strace -f -qq -o trace -e trace=pwrite64,ftruncate -e inject=ftruncate:error=EIO:when=1 "
             "-e inject=pwrite64:error=ENOSPC:when=4+ ");
    EXPECT_EQ(result.code, 1);
    EXPECT_NE(result.err.find("keeps an incomplete section from offset"), std::string::npos) << result.err;
    EXPECT_EQ(Target().substr(0, m_before.size()), m_before);
    EXPECT_GT(Target().size(), m_before.size());
}

// Every call of a recovery and of a cut fails: what they make is complete, or not there, and they say the first only if it
// is so.
TEST_F(FaultTest, RecoversAllOrSaysSo) {
    const std::string big = Section("big", 1, test::ReadAll(m_data) + test::ReadAll(m_data)),
                      last = Section("last", 1, "");
    m_folder.Write("in.tdf", m_before + big + "stray bytes" + last);
    const std::string words(200000, 'w'), part = test::Trace(words.substr(80000));
    m_folder.Write("capture.tdf", m_before + test::Trace(words) + big);
    // What each makes, and the code that it ends with.
    const std::tuple<std::string, std::string, std::string, int> operations[] = {
        {"recover in.tdf -o out.tdf --lost lost", m_before + big + last, "stray bytes", 3},
        {"cut capture.tdf -o out.tdf --from 10000 --no-origin", m_before + part + big, "", 0}};
    for (const auto& [arguments, complete, left, whole] : operations) {
        int failures = 0;
        for (const std::string call : {"pread64", "lseek", "pwrite64", "ftruncate", "fsync", "linkat"}) {
            for (const std::string fault : {"error=EIO", "error=EINTR", "retval=0"}) {
                for (int n = 1;; n += kExhaustive ? 1 : 5) {
                    for (const char* name : {"out.tdf", "lost"}) std::filesystem::remove(name);
                    const auto code = Failing(call, fault, std::to_string(n), arguments);
                    if (!code) break;
                    ++failures;
                    const std::string out = test::ReadAll("out.tdf"), lost = test::ReadAll("lost"),
                                      row = test::Show(call, fault, n, "ends with", *code);
                    // A call that does nothing and says that it succeeded is believed, where nothing can be read back.
                    if (fault == "retval=0" && call != "pread64" && call != "pwrite64") continue;
                    ASSERT_TRUE(out == complete || (out.empty() && code != whole)) << row;
                    ASSERT_TRUE(lost == left || (lost.empty() && code != whole)) << row;
                }
            }
        }
        EXPECT_GT(failures, 10) << arguments;
    }
}

// A file becomes shorter or longer after it was read for the fifth time: the answer comes with a word about it, or not.
TEST_F(FaultTest, TellsThatAFileChangesMeanwhile) {
    const std::string samples(1 << 20, '5'), more = samples + "12345678";
    m_folder.Write("p.bin", samples);
    // Ends with a block, as what cut makes of it does.
    const std::string head = "TDF2" + Section("pad", 1, std::string(4096 - 4 - 15 - 24, 'p'));
    // The files, and what they are after a host has saved one more sample.
    const std::tuple<std::string, std::string, std::string> files[] = {
        {"t.bin", samples, more}, {"t.tdf", head + test::Trace(samples), head + test::Trace(more)}};
    const std::string shorter = "became shorter while it was being read\n", missing = " samples are missing: ",
                      grown = "became longer while it was being read: samples from 131072 on are missing\n";
    // clang-format off
    const std::tuple<std::string, int, std::string, int, std::string> rows[] = {
        {"find FILE --type 1", 3, missing, 3, grown}, {"find FILE --type 0x35 --only-count", 3, missing, 3, grown},
        {"find FILE --type 1 --count 131072", 3, missing, 6, ""}, {"stats FILE", 3, missing, 3, grown},
        {"stats FILE --zero '2026-01-01 00:00:00' --to-time '2026-01-01 00:00:00'", 4, shorter, 1, "has no stamp"},
        {"stats --json FILE p.bin", 3, missing, 3, grown}, {"samples FILE", 3, missing, 3, grown}, {"diff FILE p.bin", 4, shorter, 3, grown},
        {"diff p.bin FILE", 4, shorter, 3, grown}, {"cut FILE -o out.tdf --no-origin", 4, shorter, 3, grown}};
    // clang-format on
    for (const auto& [file, before, longer] : files) {
        for (const auto& [command, shortCode, shortReason, longCode, longReason] : rows) {
            for (const bool grows : {false, true}) {
                std::filesystem::remove("out.tdf");
                m_folder.Write(file, before);
                std::string arguments = command;
                arguments.replace(arguments.find("FILE"), 4, file);
                const test::Result result = WhileItReads(
                    file, arguments, [&, path = file, after = grows ? longer : before.substr(0, samples.size() / 2)] {
                        m_folder.Write(path, after);
                    });
                EXPECT_EQ(result.code, grows ? longCode : shortCode) << arguments << ' ' << grows;
                EXPECT_NE(result.err.find(grows ? longReason : shortReason), std::string::npos)
                    << arguments << ' ' << grows << result.err;
                const bool isMade = command.substr(0, 3) == "cut" && grows;
                EXPECT_EQ(test::ReadAll("out.tdf").substr(0, 4), isMade ? "TDF2" : "") << arguments;
            }
        }
    }
}

// An append of 100 sections is killed at each of its writes: what was complete before is there, with its bytes.
TEST_F(FaultTest, KeepsCompleteSectionsOfAKilledWriter) {
    constexpr std::size_t kWrites = 2 + 1 + 2;  // fields and name, the header's size, data and length
    std::string arguments = "append t.tdf";
    std::vector<std::string> contents{m_before};
    for (std::size_t n = 0; n < 100; ++n) {
        const std::string name = std::string("s").append(std::to_string(n)), data(n + 1, 'x');
        m_folder.Write(name, data);
        arguments += " --section " + name + ":1@" + name;
        contents.push_back(contents.back() + Section(name, 1, data));
    }
    for (std::size_t n = 1; n <= 100 * kWrites; n += kExhaustive ? 1 : 57) {
        m_folder.Write("t.tdf", m_before);
        const std::string inject = "-e inject=pwrite64:signal=SIGKILL:when=" + std::to_string(n);
        ASSERT_EQ(Traced("-e trace=pwrite64 " + inject, arguments).code, 128 + SIGKILL) << n;
        const std::string& complete = contents[(n - 1) / kWrites];
        ASSERT_TRUE(Target().substr(0, complete.size()) == complete) << n;
    }
    m_folder.Write("t.tdf", contents[5] + "bytes of an append that never finished");
    EXPECT_EQ(Tool("append t.tdf --section more:1@s1").code, 4) << "what is appended there could not be found";
}

}  // namespace
