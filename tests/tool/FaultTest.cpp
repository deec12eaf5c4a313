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
    // Returns: the exit code of the tool under strace with these options; without options, by itself.
    int Traced(const std::string& options, const std::string& arguments) {
        const std::string strace = options.empty() ? "" : "strace -f -qq -o trace " + options + " ";
        return Tool(arguments, strace).code;
    }
    // Stops the tool when it has read the file for the fifth time, and goes on after act().
    template <class Call> test::Result WhileItReads(const std::string& file, const std::string& arguments, Call act) {
        std::filesystem::remove("trace");
        auto tool = std::async(std::launch::async, [&] {
            return Tool(arguments, "strace -f -qq -o trace -P " + file + " -e trace=pread64 " +
                                       "-e inject=pread64:signal=SIGSTOP:when=5 ");
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
    int failures = 0;
    const auto failEach = [&](const auto& operation, const std::string& call, const std::string& fault) {
        const auto& [arguments, calls, filter, complete] = operation;
        for (const std::string mode : {"", "+"}) {
            if (!kExhaustive && (fault == "error=ENOSPC") == mode.empty()) continue;
            if (fault == "error=EINTR" && !mode.empty()) continue;  // an interrupted call is made again
            for (int n = 1;; ++n) {
                m_folder.Write("t.tdf", m_before);
                const std::string inject = call + ":" + fault + ":when=" + std::to_string(n) + mode;
                const int code = Traced(filter + " -e trace=" + call + " -e inject=" + inject, arguments);
                if (test::ReadAll("trace").find("(INJECTED)") == std::string::npos) break;
                ++failures;
                ASSERT_TRUE(Target() == (code == 0 ? complete : m_before)) << arguments << ' ' << inject << ' ' << code;
                ASSERT_LT(code, 5) << arguments << ' ' << inject;
                if (code == 0) continue;
                ASSERT_EQ(Traced("", arguments), 0) << arguments << ' ' << inject;
                ASSERT_TRUE(Target() == complete) << arguments << ' ' << inject;
            }
        }
    };
    for (const auto& operation : operations) {
        for (const std::string& call : std::get<1>(operation)) {
            for (const std::string fault : {"error=ENOSPC", "error=EIO", "error=EINTR", "retval=0"}) {
                if (fault == "retval=0" ? call != "read" : fault == "error=EINTR" && !kExhaustive) continue;
                failEach(operation, call, fault);
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
    // The call and the error, the command, what its target holds after it, and the codes, of whichever call failed.
    // clang-format off
    const std::tuple<std::string, std::string, std::string, std::string> rows[] = {
        {"flock:error=EINTR", "append t.tdf --section new:1@data", appended, "0"},
        {"flock:error=ENOLCK", "append t.tdf --section new:1@data", appended, "0"},
        {"fcntl:error=EMFILE", "append t.tdf --section new:1@- <data", appended, "014"},
        {"access:error=ENOENT", "append t.tdf --section new:1@data", appended, "0"},
        {"access:error=ENOENT", fresh, made, "0"}, {"linkat:error=EEXIST", fresh, made, "1"},
        {"renameat2:error=EEXIST", fresh + " --force", made, "0"},
        {"renameat2:error=EINVAL", fresh + " --force", made, "0"}, {"renameat:error=EINVAL", create, made, "1"},
        {"fchown:error=EPERM", create, made, "0"}, {"fcntl:error=EMFILE", create, made, "014"},
        {"fcntl:error=EMFILE", create + " <&-", made, "014"},
        {"openat:error=EMFILE", "recover t.tdf -o n.tdf", m_before, "014"},
        {"close:error=EIO", "recover t.tdf -o n.tdf", m_before, "01"},
        {"pread64:retval=0", "recover t.tdf -o n.tdf", m_before, "04"},
        {"newfstatat:error=EIO", "recover t.tdf -o n.tdf", m_before, "014"}};
    // clang-format on
    const auto files = [] { return std::distance(std::filesystem::directory_iterator("."), {}); };
    for (const auto& [fault, arguments, complete, expected] : rows) {
        const std::string target = arguments.find("n.tdf") != arguments.npos ? "n.tdf" : "t.tdf";
        std::set<char> codes;
        for (int n = 1;; ++n) {
            std::filesystem::remove("n.tdf");
            chmod(m_folder.Write("t.tdf", m_before).c_str(), 04711);
            m_folder.Write("trace", "");
            const auto before = files();
            const int code = Traced(
                "-e trace=" + fault.substr(0, fault.find(':')) + " -e inject=" + fault + ":when=" + std::to_string(n),
                arguments);
            if (test::ReadAll("trace").find("(INJECTED)") == std::string::npos) break;
            if (code != 127) codes.insert(static_cast<char>('0' + code));  // before it runs
            const std::string left = target == "n.tdf" ? "" : m_before, now = test::ReadAll(target);
            EXPECT_TRUE(now == complete || (code != 0 && now == left)) << arguments << ' ' << fault << ' ' << n;
            // What runs as the owner does not do so for another one.
            struct stat status {};
            stat("t.tdf", &status);
            if (arguments.find("create") == 0) {
                EXPECT_EQ(status.st_mode & 07777, fault == "fchown:error=EPERM" ? 0711U : 04711U) << fault << ' ' << n;
            }
            EXPECT_EQ(files(), before + (target == "n.tdf" && now == complete))
                << arguments << ' ' << fault << ' ' << n;
        }
        EXPECT_EQ(std::string(codes.begin(), codes.end()), expected) << arguments << ' ' << fault;
    }
    // A new file gets the permissions that others get, also where the system does not say which.
    struct stat other {};
    stat("data", &other);
    for (int n = 1;; ++n) {
        std::filesystem::remove("n.tdf");
        m_folder.Write("trace", "");
        const int code = Traced("-e trace=read -e inject=read:retval=0:when=" + std::to_string(n), fresh);
        if (test::ReadAll("trace").find("(INJECTED)") == std::string::npos) break;
        struct stat status {};
        EXPECT_EQ(stat("n.tdf", &status), code == 0 ? 0 : -1) << n;
        EXPECT_TRUE(code != 0 || status.st_mode == other.st_mode) << n;
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
                    const std::string inject = call + ":" + fault + ":when=" + std::to_string(n);
                    const int code = Traced("-e trace=" + call + " -e inject=" + inject, arguments);
                    if (test::ReadAll("trace").find("(INJECTED)") == std::string::npos) break;
                    ++failures;
                    const std::string out = test::ReadAll("out.tdf"), lost = test::ReadAll("lost");
                    // A call that does nothing and says that it succeeded is believed, where nothing can be read back.
                    if (fault == "retval=0" && call != "pread64" && call != "pwrite64") continue;
                    ASSERT_TRUE(out == complete || (out.empty() && code != whole)) << inject << ' ' << code;
                    ASSERT_TRUE(lost == left || (lost.empty() && code != whole)) << inject << ' ' << code;
                }
            }
        }
        EXPECT_GT(failures, 10) << arguments;
    }
}

// A file becomes shorter or longer after it was read for the fifth time: the answer comes with a word about it, or not.
TEST_F(FaultTest, TellsThatAFileChangesMeanwhile) {
    const std::string samples(1 << 20, '5'), plain = m_folder.Write("p.bin", samples);
    // Ends with a block, as what cut makes of it does.
    const std::string head = "TDF2" + Section("pad", 1, std::string(4096 - 4 - 15 - 24, 'p'));
    const std::string container = head + test::Trace(samples);
    const std::string shorter = "became shorter while it was being read\n", missing = " samples are missing: ",
                      longer = "became longer while it was being read: samples from 131072 on are missing\n";
    // clang-format off
    const std::tuple<std::string, int, std::string, int, std::string> rows[] = {
        {"find FILE --type 1", 3, missing, 3, longer}, {"find FILE --type 0x35 --only-count", 3, missing, 3, longer},
        {"find FILE --type 1 --count 131072", 3, missing, 6, ""}, {"stats FILE", 3, missing, 3, longer},
        {"stats FILE --zero '2026-01-01 00:00:00' --to-time '2026-01-01 00:00:00'", 4, shorter, 1, "has no stamp"},
        {"stats --json FILE p.bin", 3, missing, 3, longer}, {"samples FILE", 3, missing, 3, longer}, {"diff FILE p.bin", 4, shorter, 3, longer},
        {"diff p.bin FILE", 4, shorter, 3, longer}, {"cut FILE -o out.tdf --no-origin", 4, shorter, 3, longer}};
    // clang-format on
    for (const std::string file : {"t.bin", "t.tdf"}) {
        for (const auto& [command, shortCode, shortReason, longCode, longReason] : rows) {
            for (const bool grows : {false, true}) {
                std::filesystem::remove("out.tdf");
                std::string arguments = command;
                for (auto at = arguments.find("FILE"); at != arguments.npos; at = arguments.find("FILE")) {
                    arguments.replace(at, 4, file);
                }
                const bool isTdf = file == "t.tdf";
                m_folder.Write(file, isTdf ? container : samples);
                // What a host does that saves one more sample.
                const auto change = [&, path = file] {
                    if (!grows) return std::filesystem::resize_file(path, samples.size() / 2);
                    std::ofstream(path, std::ios::app) << "12345678";
                    if (!isTdf) return;
                    const auto length = static_cast<std::uint32_t>(12 + 12 + samples.size() + 8);
                    std::fstream(path).seekp(static_cast<std::streamoff>(head.size())) << test::Le(length, 4);
                };
                const test::Result result = WhileItReads(file, arguments, change);
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
        const std::string inject = "inject=pwrite64:signal=SIGKILL:when=" + std::to_string(n);
        ASSERT_EQ(Traced("-e trace=pwrite64 -e " + inject, arguments), 128 + SIGKILL) << n;
        const std::string& complete = contents[(n - 1) / kWrites];
        ASSERT_TRUE(Target().substr(0, complete.size()) == complete) << n;
    }
    m_folder.Write("t.tdf", contents[5] + "bytes of an append that never finished");
    EXPECT_EQ(Traced("", "append t.tdf --section more:1@s1"), 4) << "what is appended there could not be found";
}

}  // namespace
