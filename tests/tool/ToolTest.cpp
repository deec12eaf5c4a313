// The command-line tool, as its users run it.
#include "support/ToolFixture.h"

namespace {

using ToolTest = test::ToolFixture;

TEST_F(ToolTest, PrintsSamples) {
    const std::string samples = test::Le(0x10, 8) + test::Le(-1UL, 8) + test::Le(7, 8), corva = ORM_CORVA_LIBRARY;
    m_folder.Write("p.bin", samples);
    m_folder.Write("t.tdf", "TDF2" + test::Section("a", 1, "x") + test::Trace(samples));
    m_folder.Write("cut.tdf", "TDF2" + test::Trace(samples).substr(0, 24 + 9));
    m_folder.Write("none.tdf", "TDF2");
    m_folder.Write("empty", "");
    std::filesystem::create_directory("dir");
    chmod(m_folder.Write("secret", "x").c_str(), 0);
    mkfifo("fifo", 0666);
    const std::string hex = "0x0000000000000010\n0xffffffffffffffff\n0x0000000000000007\n";
    // clang-format off
    const std::tuple<std::string, int, std::string, std::string> rows[] = {
        {"p.bin", 0, hex, ""}, {"t.tdf", 0, hex, ""}, {"empty", 0, "", ""},
        {"t.tdf --format dec", 0, "16\n18446744073709551615\n7\n", ""},
        {"t.tdf --format raw --from 1", 0, samples.substr(8), ""},
        {"p.bin --from 2 --count 1", 0, hex.substr(38), ""}, {"p.bin --count 0", 0, "", ""},
        {"p.bin --from 3", 0, "", ""}, {"p.bin --from 5", 3, "", "p.bin: has no sample 5: the trace ends before sample 3\n"},
        {"p.bin --from 5 --count 1", 3, "", "p.bin: 1 of 1 sample is missing: the trace ends before sample 3\n"},
        {"p.bin --from 2 --count 4", 3, hex.substr(38),
         "p.bin: 3 of 4 samples are missing: the trace ends before sample 3\n"},
        {"cut.tdf", 3, hex.substr(0, 19), "cut.tdf: 2 of 3 samples are missing: the trace ends before sample 1\n"},
        {"none.tdf", 4, "", "none.tdf: BinTraceData section cannot be located in the file.\n"},
        {"gone", 4, "", "gone: No such file or directory\n"},
        {"dir", 4, "", "dir: Is a directory\n"},
        {"secret", 4, "", "secret: Permission denied\n"},
        {"fifo", 4, "", "fifo: Talvora file channel driver: File I/O error reading trace file.\n"},
        {"p.bin --driver /gone.so", 5, "",
         "/gone.so: /gone.so: cannot open shared object file: No such file or directory\n"},
        {"p.bin --driver " + corva, 5, "", corva + ": is not a channel driver: it lacks CreateChannelDriver\n"}};
    // clang-format on
    for (const auto& [arguments, code, out, err] : rows) {
        // A second copy of a library in one process is what AddressSanitizer takes for an error.
        const bool isDriverGiven = arguments.find("--driver") != arguments.npos;
        const test::Result result = isDriverGiven ? Tool("samples " + arguments) : ToolAsNobody("samples " + arguments);
        EXPECT_EQ(result.code, code) << arguments;
        EXPECT_EQ(result.out, out) << arguments;
        EXPECT_EQ(result.err, err.empty() ? "" : "orm-trace: " + err) << arguments;
    }
    const std::string pages = std::string(8 * 40000, 'x') + "the last";
    m_folder.Write("long.bin", pages);
    EXPECT_TRUE(Tool("samples long.bin --format raw").out == pages);
}

TEST_F(ToolTest, KeepsStandardOutputForData) {
    m_folder.Write("p.bin", test::Le(1, 8));
    // The driver echoes its log lines to standard output at this setting.
    const test::Result result = Tool("samples p.bin --format dec", "ORM_TRACE_LOGGING=2 HOME=" + m_folder.Path() + " ");
    EXPECT_EQ(result.out, "1\n");
    EXPECT_NE(result.err.find("Driver: LoadFile"), std::string::npos);
    EXPECT_EQ(Tool("samples p.bin", "ORM_TRACE_DRIVER=/gone.so ").code, 5);
    // A full disk, and standard streams that the caller has closed.
    const std::string error = "orm-trace: standard output: ";
    EXPECT_EQ(Tool("samples p.bin >/dev/full").err, error + "No space left on device\n");
    EXPECT_EQ(Tool("samples p.bin >&-").err, error + "Bad file descriptor\n");
    EXPECT_EQ(Tool("samples p.bin --format dec <&- 2>&-").out, "1\n");
}

}  // namespace
