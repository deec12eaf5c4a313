// System calls that fail, and writers that are killed: strace does it to the tool, and so to the writer and the driver.
// With ORM_TEST_EXHAUSTIVE in the environment every fault is tried, otherwise a sample of them.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/Process.h"
#include "tdf/TDFHandler.h"

namespace {

using test::Section;
using test::Tdf;

const bool kExhaustive = std::getenv("ORM_TEST_EXHAUSTIVE") != nullptr;

class FaultTest : public testing::Test {
protected:
    test::Result Traced(const std::vector<std::string>& options, const std::vector<std::string>& arguments) {
        test::Run run;
        run.command = {"/usr/bin/strace", "-f", "-qq", "-o", m_folder / "trace"};
        if (options.empty()) run.command.clear();
        run.command.insert(run.command.end(), options.begin(), options.end());
        run.command.push_back(ORM_TOOL);
        run.command.insert(run.command.end(), arguments.begin(), arguments.end());
        run.environment = {"HOME=" + m_folder.Path()};
        run.directory = m_folder.Path();
        return run();
    }
    std::string Target() { return test::ReadAll(m_folder / "t.tdf"); }

    test::TemporaryFolder m_folder;
    std::string m_before = Tdf(Section("first", 1, "0123456789") + Section("second", 2, std::string(5000, 's')));
    std::string m_data = std::string(200000, 'd');
};

struct Operation {
    const char* label;
    std::vector<std::string> arguments;
    bool isNewFile;  // written beside the target, which is only replaced
    std::string result;
};

// Every call on the target fails, once or from then on: a failure is reported and the target is as it was, or there was
// none and the target is complete; trying again works.
TEST_F(FaultTest, LosesNothingWhenCallsFail) {
    m_folder.Write("data", m_data);
    const Operation operations[] = {
        {"create", {"create", "t.tdf", "--force", "--section", "new:1@data"}, true, Tdf(Section("new", 1, m_data))},
        {"append", {"append", "t.tdf", "--section", "new:1@data"}, false, m_before + Section("new", 1, m_data)},
        {"save", {"save", "data", "t.tdf"}, false, m_before + Section("BinTraceData", 1, m_data)}};
    int failures = 0;
    for (const Operation& operation : operations) {
        const std::vector<std::string> calls =
            operation.isNewFile ? std::vector<std::string>{"write", "fsync", "renameat2", "fchmod"}
                                : std::vector<std::string>{"openat", "read", "pread64", "lseek", "write", "close"};
        for (const std::string& call : calls) {
            for (const std::string fault : {"error=ENOSPC", "error=EIO", "error=EINTR", "retval=0"}) {
                if (fault == "retval=0" && call != "read") continue;
                if (!kExhaustive && fault == "error=EINTR") continue;
                for (const std::string mode : {"", "+"}) {
                    if (!kExhaustive && (fault == "error=ENOSPC") == mode.empty()) continue;
                    for (int n = 1;; ++n) {
                        m_folder.Write("t.tdf", m_before);
                        std::vector<std::string> options{
                            "-e", "trace=" + call, "-e",
                            "inject=" + call + ":" + fault + ":when=" + std::to_string(n) + mode};
                        if (!operation.isNewFile) options.insert(options.end(), {"-P", m_folder / "t.tdf"});
                        const int code = Traced(options, operation.arguments).code;
                        if (test::ReadAll(m_folder / "trace").find("(INJECTED)") == std::string::npos) break;
                        ++failures;
                        const std::string label =
                            std::string(operation.label) + ' ' + call + ' ' + fault + ' ' + std::to_string(n) + mode;
                        ASSERT_TRUE(Target() == (code == 0 ? operation.result : m_before))
                            << label << " ended with " << code;
                        ASSERT_LT(code, 5) << label;
                        if (code == 0) continue;
                        ASSERT_EQ(Traced({}, operation.arguments).code, 0) << label;
                        ASSERT_TRUE(Target() == operation.result) << label;
                    }
                }
            }
        }
    }
    EXPECT_GT(failures, 100);
}

// An append of 100 sections is killed at each of its writes: what was complete before is found, with its bytes.
TEST_F(FaultTest, KeepsCompleteSectionsOfAKilledWriter) {
    constexpr std::size_t kWrites = 4 + 1 + 2;  // fields, the header's size, data and length
    std::vector<std::string> arguments{"append", "t.tdf"};
    std::vector<std::string> contents{m_before};
    for (int n = 0; n < 100; ++n) {
        const std::string name = "s" + std::to_string(n);
        const std::string data = name + std::string(static_cast<std::size_t>(n), 'x');
        m_folder.Write(name, data);
        arguments.insert(arguments.end(), {"--section", name + ":1@" + name});
        contents.push_back(contents.back() + Section(name, 1, data));
    }
    for (std::size_t n = 1; n <= 100 * kWrites; n += kExhaustive ? 1 : 57) {
        m_folder.Write("t.tdf", m_before);
        const int code =
            Traced({"-e", "trace=write", "-e", "inject=write:signal=SIGKILL:when=" + std::to_string(n)}, arguments)
                .code;
        ASSERT_EQ(code, 128 + SIGKILL) << n;
        const std::size_t complete = (n - 1) / kWrites;
        const std::string target = Target();
        ASSERT_TRUE(target.substr(0, contents[complete].size()) == contents[complete]) << n;
        const std::string name = complete == 0 ? "first" : "s" + std::to_string(complete - 1);
        unsigned int position = 0;
        unsigned int length = 0;
        Orm::Lux::Trace::TDFHandler().GetSectionDataPosition((m_folder / "t.tdf").c_str(), name.c_str(), 1, position,
                                                             length);
        ASSERT_EQ(target.substr(position, length).substr(0, name.size()), complete == 0 ? "01234" : name) << n;
    }
    m_folder.Write("t.tdf", contents[5] + "bytes of an append that never finished");
    EXPECT_EQ(Traced({}, {"append", "t.tdf", "--section", "more:1@s1"}).code, 4) << "its end is no longer whole";
}

}  // namespace
