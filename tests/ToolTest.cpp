// The command-line tool, as its users run it.
#include <gtest/gtest.h>

#include "support/Process.h"

namespace {

using test::Sample;
using test::Section;
using test::Tdf;

class ToolTest : public testing::Test {
protected:
    test::Result Tool(std::vector<std::string> arguments, std::vector<std::string> environment = {}) {
        test::Run run;
        run.command = {ORM_TOOL};
        run.command.insert(run.command.end(), arguments.begin(), arguments.end());
        run.environment = std::move(environment);
        run.environment.push_back("HOME=" + m_folder.Path());
        run.directory = m_folder.Path();
        run.unprivileged = true;
        run.out = m_out;
        return run();
    }

    test::TemporaryFolder m_folder;
    std::string m_out;  // where standard output goes, when it is not captured
};

struct SamplesRow {
    std::vector<std::string> arguments;
    int code;
    std::string out;
    std::string err;
};

TEST_F(ToolTest, PrintsSamples) {
    const std::string samples = Sample(0x10) + Sample(0xFFFFFFFFFFFFFFFF) + Sample(7);
    m_folder.Write("p.bin", samples);
    m_folder.Write("t.tdf", Tdf(Section("a", 1, "x") + Section("BinTraceData", 1, samples)));
    m_folder.Write("cut.tdf", Tdf(Section("BinTraceData", 1, samples)).substr(0, 28 + 9));
    m_folder.Write("none.tdf", "TDF2");
    m_folder.Write("empty", "");
    std::filesystem::create_directory(m_folder / "dir");
    chmod(m_folder.Write("secret", "x").c_str(), 0);
    mkfifo((m_folder / "fifo").c_str(), 0666);
    const std::string hex = "0x0000000000000010\n0xffffffffffffffff\n0x0000000000000007\n";
    const SamplesRow rows[] = {
        {{"p.bin"}, 0, hex, ""},
        {{"t.tdf"}, 0, hex, ""},
        {{"empty"}, 0, "", ""},
        {{"t.tdf", "--format", "dec"}, 0, "16\n18446744073709551615\n7\n", ""},
        {{"t.tdf", "--format", "raw", "--from", "1"}, 0, samples.substr(8), ""},
        {{"p.bin", "--from", "2", "--count", "1"}, 0, hex.substr(38), ""},
        {{"p.bin", "--count", "0"}, 0, "", ""},
        {{"p.bin", "--from", "3"}, 0, "", ""},
        {{"p.bin", "--from", "2", "--count", "4"},
         3,
         hex.substr(38),
         "orm-trace: p.bin: 3 of 4 samples are missing: the trace ends before sample 3\n"},
        {{"p.bin", "--from", "5"}, 3, "", "orm-trace: p.bin: begins 2 samples beyond the last of 3\n"},
        {{"cut.tdf"},
         3,
         hex.substr(0, 19),
         "orm-trace: cut.tdf: 2 of 3 samples are missing: the trace ends before sample 1\n"},
        {{"none.tdf"}, 4, "", "orm-trace: none.tdf: BinTraceData section cannot be located in the file.\n"},
        {{"gone"}, 4, "", "orm-trace: gone: Failed to open gone for reading.\n"},
        {{"dir"}, 4, "", "orm-trace: dir: Failed to open dir for reading.\n"},
        {{"secret"}, 4, "", "orm-trace: secret: Failed to open secret for reading.\n"},
        {{"fifo"}, 4, "", "orm-trace: fifo: Talvora file channel driver: File I/O error reading trace file.\n"},
        {{"p.bin", "--driver", "/gone.so"},
         5,
         "",
         "orm-trace: /gone.so: /gone.so: cannot open shared object file: No such file or directory\n"},
        {{"p.bin", "--driver", ORM_CORVA_LIBRARY},
         5,
         "",
         std::string("orm-trace: ") + ORM_CORVA_LIBRARY + ": is no channel driver: no CreateChannelDriver\n"},
    };
    for (const SamplesRow& row : rows) {
        std::vector<std::string> arguments{"samples"};
        arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
        const test::Result result = Tool(arguments);
        const std::string label = testing::PrintToString(row.arguments);
        EXPECT_EQ(result.code, row.code) << label;
        EXPECT_EQ(result.out, row.out) << label;
        EXPECT_EQ(result.err, row.err) << label;
    }
}

TEST_F(ToolTest, RefusesABadCommandLine) {
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{},
                                                      {"nonsense"},
                                                      {"samples"},
                                                      {"samples", "a", "--from", "-1"},
                                                      {"samples", "a", "--count"},
                                                      {"samples", "a", "--from", "4294967296"},
                                                      {"samples", "a", "--format", "xml"},
                                                      {"samples", "a", "b"}}) {
        const test::Result result = Tool(arguments);
        EXPECT_EQ(result.code, 2) << testing::PrintToString(arguments);
        EXPECT_EQ(result.out, "");
    }
    EXPECT_EQ(Tool({"samples", "--help"}).code, 0);
    EXPECT_EQ(Tool({"--version"}).code, 0);
}

TEST_F(ToolTest, KeepsStandardOutputForData) {
    m_folder.Write("p.bin", Sample(1));
    // The driver echoes its log lines to standard output at this setting.
    const test::Result result = Tool({"samples", "p.bin", "--format", "dec"}, {"ORM_TRACE_LOGGING=2"});
    EXPECT_EQ(result.out, "1\n");
    EXPECT_NE(result.err.find("Driver: LoadFile"), std::string::npos);
    EXPECT_EQ(Tool({"samples", "p.bin"}, {"ORM_TRACE_DRIVER=/gone.so"}).code, 5);
    m_out = "/dev/full";
    EXPECT_EQ(Tool({"samples", "p.bin"}).code, 1);
}

}  // namespace
