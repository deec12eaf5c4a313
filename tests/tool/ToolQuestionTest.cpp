// Questions to captures from the shell: what the comparison with a reference in Python does not look at.
#include "support/ToolFixture.h"

namespace {

using test::Le;
using test::Section;
using test::Trace;

struct ToolQuestionTest : test::ToolFixture {
    // The rows: arguments, exit code, standard output, and standard error without "orm-trace: ".
    void Expect(const std::vector<std::tuple<std::string, int, std::string, std::string>>& rows) {
        for (const auto& [arguments, code, out, err] : rows) {
            const test::Result result = Tool(arguments);
            EXPECT_EQ(result.code, code) << arguments;
            EXPECT_EQ(result.out, out) << arguments;
            EXPECT_EQ(result.err, err.empty() ? "" : "orm-trace: " + err) << arguments;
        }
    }

    // Two captures that differ in everything that can differ.
    void WritePair() {
        m_folder.Write("a.tdf", "TDF2" + Section("n", 1, "hello") + Section("gone", 2, "x") + Section("o", 1, "abc") +
                                    Trace(Le(1, 8) + Le(0x8800000000000002, 8) + Le(3, 8)));
        m_folder.Write("b.tdf", "TDF2" + Section("o", 1, "abd") + Section("n", 1, "hello!") +
                                    Trace(Le(1, 8) + Le(0xB000000000000005, 8) + Le(4, 8) + Le(9, 8)) +
                                    Section("n", 1, ""));
    }
};

TEST_F(ToolQuestionTest, PrintsSamples) {
    const std::string samples = Le(0x10, 8) + Le(-1UL, 8) + Le(7, 8), corva = ORM_CORVA_LIBRARY;
    m_folder.Write("p.bin", samples);
    m_folder.Write("t.tdf", "TDF2" + Section("a", 1, "x") + Trace(samples));
    m_folder.Write("cut.tdf", "TDF2" + Trace(samples).substr(0, 24 + 9));
    m_folder.Write("none.tdf", "TDF2");
    m_folder.Write("empty", "");
    std::filesystem::create_directory("dir");
    mkfifo("fifo", 0666);
    const std::string hex = "0x0000000000000010\n0xffffffffffffffff\n0x0000000000000007\n";
    // clang-format off
    Expect({
        {"samples p.bin", 0, hex, ""}, {"samples t.tdf", 0, hex, ""}, {"samples empty", 0, "", ""},
        {"samples t.tdf --format raw --from 1", 0, samples.substr(8), ""},
        {"samples p.bin --from 5", 3, "", "p.bin: has no sample 5: the trace ends before sample 3\n"},
        {"samples p.bin --from 5 --count 1", 3, "", "p.bin: 1 of 1 sample is missing: the trace ends before sample 3\n"},
        {"samples cut.tdf", 3, hex.substr(0, 19), "cut.tdf: 2 of 3 samples are missing: the trace ends before sample 1\n"},
        {"samples none.tdf", 4, "", "none.tdf: BinTraceData section cannot be located in the file.\n"},
        {"samples gone", 4, "", "gone: No such file or directory\n"},
        {"samples dir", 4, "", "dir: Is a directory\n"},
        {"samples fifo", 4, "", "fifo: Talvora file channel driver: File I/O error reading trace file.\n"},
        {"samples p.bin --driver /gone.so", 5, "",
         "/gone.so: /gone.so: cannot open shared object file: No such file or directory\n"},
        {"samples p.bin --driver " + corva, 5, "", corva + ": is not a channel driver: it lacks CreateChannelDriver\n"}});
    // clang-format on
}

TEST_F(ToolQuestionTest, ShowsWhatDiffers) {
    WritePair();
    m_folder.Write("plain.bin", "12345678");
    m_folder.Write("odd.tdf", "TDF2" + Trace("1234567812vT") + Section("xxxxx", 1, ""));
    m_folder.Write("odder.tdf", "TDF2" + Trace("1234567812vT") + Section("x", 1, "1"));
    const std::string same =  // of both questions
        "different: section \"n\":1, 5 and 6 bytes\n"
        "only in a.tdf: section \"gone\":2, 1 byte\n"
        "different: section \"o\":1, 3 bytes\n"
        "different: section \"BinTraceData\":1, 24 and 32 bytes\n"
        "only in b.tdf: section \"n\":1, 0 bytes\n"
        "only in b.tdf: 1 sample from 3\n";
    Expect({{"diff a.tdf b.tdf --limit 1 --ignore-type 0xB0 --ignore-type 0x88", 6,
             same + "different: 1 of 3 samples, from 2\n2 0x0000000000000003 0x0000000000000004\n", ""},
            {"diff a.tdf b.tdf --limit 0 --mask 0xFFFFFFFFFFFFFFF8 --ignore-type 0x88", 6,
             same + "different: 1 of 3 samples, from 1\n", ""},
            {"diff a.tdf b.tdf --section o:2", 1, "", "a.tdf, b.tdf: have no section \"o\":2\n"},
            {"diff plain.bin a.tdf --section n", 4, "", "plain.bin: is not a TDF file\n"},
            {"diff a.tdf b.tdf --section ''", 1, "", "a.tdf, b.tdf: have no section \"\"\n"},
            {"diff a.tdf b.tdf --section 'a\\'", 2, "", "a\\: has a backslash that begins neither \\xHH nor \\\\\n"},
            // The last sample is cut short, and completed by the section that follows.
            {"diff odd.tdf odder.tdf", 6,
             "only in odd.tdf: section \"xxxxx\":1, 0 bytes\n"
             "only in odder.tdf: section \"x\":1, 1 byte\n"
             "different: 1 of 2 samples, from 1\n1 0x0000001154763231 0x0000000e54763231\n",
             ""}});
}

// Where samples are from: parts of parts count from the first capture, and stamp continues its indexes.
TEST_F(ToolQuestionTest, CutsPartsThatKnowWhereTheyAreFrom) {
    WritePair();
    std::filesystem::create_directory("d");
    std::filesystem::rename("b.tdf", "d/b\xFF.tdf");
    const std::string stm = "stamp stm --frequency 170e6 --file ";
    Expect({{"cut 'd/b\xFF.tdf' -o p.tdf --from 1 --drop n", 0, "p.tdf: 3 samples from sample 1, 3 sections\n", ""},
            {"cut p.tdf --from 1 -o q.tdf --section o", 0, "q.tdf: 2 samples from sample 1, 3 sections\n", ""},
            {stm + "q.tdf", 0, "0 2\n1 6\n", ""},
            {stm + "q.tdf --no-origin", 0, "0 4\n1 8\n", ""},
            {stm + "q.tdf --index 1 --base 1", 0, "0 4\n1 9\n", ""},
            {"cut q.tdf -o r.tdf --count 1 --no-origin", 0, "r.tdf: 1 sample from sample 0, 2 sections\n", ""},
            {"cut q.tdf -o s.tdf --drop o --drop gone:1", 1, "", "q.tdf: has no section \"gone\":1\n"},
            {"cut q.tdf -o s.tdf --drop BinTraceData", 2, "", "--drop: the trace is what is cut: BinTraceData\n"},
            {"cut q.tdf -o s.bin", 2, "", "s.bin: TDF file extension must be .tdf.\n"}});
    EXPECT_EQ(Tool("dump q.tdf --section orm-trace/origin:1 --format raw").out,
              "{\"file\":\"b\\\\xFF.tdf\",\"file_hex\":\"62ff2e746466\",\"first_sample\":\"2\",\"count\":\"2\","
              "\"tool_version\":\"" ORM_TRACE_VERSION "\"}\n");
    EXPECT_NE(Tool("info q.tdf").out.find("\n  origin    2 samples from sample 2 of b\xFF.tdf\n"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists("s.tdf"));

    // A section that does not say it: what needs it refuses it, the rest goes on.
    const std::string capture = test::ReadAll("r.tdf"), start = R"({"file":"f","first_sample":)",
                      end = R"("count":"1","tool_version":"1"})";
    std::vector<std::string> bad{"", "[]", "{}", std::string(50000, '[')};
    for (const char* members : {"1,", R"("1x",)", R"("18446744073709551616",)", R"("1","file_hex":"6",)",
                                R"("1152921504606846976",)", R"("1","deep":[[]],)"}) {
        bad.push_back(start + members + end);
    }
    for (const std::string& origin : bad) {
        m_folder.Write("bad.tdf", capture + Section("orm-trace/origin", 1, origin));
        const std::pair<std::string, int> rows[] = {{"info bad.tdf", 4},  {"cut bad.tdf -o s.tdf", 4},
                                                    {stm + "bad.tdf", 4}, {stm + "bad.tdf --no-origin", 0},
                                                    {"stats bad.tdf", 0}, {"cut bad.tdf -o t.tdf --no-origin", 0}};
        for (const auto& [arguments, code] : rows) EXPECT_EQ(Tool(arguments).code, code) << arguments << origin;
        EXPECT_TRUE(test::ReadAll("t.tdf") == capture && !std::filesystem::exists("s.tdf")) << origin;
        std::filesystem::remove("t.tdf");
    }
}

TEST_F(ToolQuestionTest, CutsWhatReadersFollow) {
    constexpr std::uint64_t kMost = 16'777'213;
    std::ofstream("big.bin");
    std::filesystem::resize_file("big.bin", (std::uint64_t{5} << 30) + 3);
    const std::string whole = "do not fit in a section that readers follow; at most 16777213 do\n";
    Expect({{"cut big.bin -o o.tdf --from 1 --count 16777214", 1, "", "big.bin: 16777214 samples " + whole},
            {"cut big.bin -o o.tdf", 1, "", "big.bin: 671088641 samples " + whole},
            {"cut big.bin -o o.tdf --from 600000000 --count 16777213", 0,
             "o.tdf: 16777213 samples from sample 600000000, 2 sections\n", ""},
            {"find o.tdf --value 0 --only-count", 0, std::to_string(kMost) + "\n", ""},
            {"cut big.bin -o p.tdf --from 671088639", 3, "p.tdf: 2 samples from sample 671088639, 2 sections\n",
             "big.bin: the last sample is cut short: copied 3 bytes of it\n"
             "orm-trace: big.bin: 1 of 2 samples is missing: the trace ends before sample 671088640\n"}});
}

// Several files at once: the output of one after the other, also where it is long, where files have errors, and where
// nobody reads it.
TEST_F(ToolQuestionTest, WorksOnManyFilesAtOnce) {
    std::filesystem::create_directory("d");
    std::string words;
    for (unsigned n = 0; n < 10000; ++n) words += Le(0x0102030405060708, 8);
    for (unsigned n = 0; n < 25; ++n) {
        const std::string name = "d/" + std::to_string(n) + ".tdf";
        m_folder.Write(name, n % 5 == 4 ? "TDF2" : "TDF2" + Trace(words.substr(0, n % 3 == 0 ? words.size() : 8 * n)));
    }
    std::filesystem::create_symlink("nowhere", "d/7.5.tdf");
    for (const std::string command :
         {"find --type 1 d gone --zero '2026-11-16T10:00:00'", "find --type 1 --only-count d", "find d --type 1 --json",
          "find d --type 1 --json-lines", "stats d --table", "stats d --json gone d", "verify d", "verify d --json",
          "info gone d d"}) {
        const test::Result one = Tool(command + " -j 1");
        for (const char* jobs : {" -j 2", " -j 256"}) {
            const test::Result several = Tool(command + jobs);
            EXPECT_EQ(several.code, one.code) << command << jobs;
            EXPECT_TRUE(several.out == one.out && several.err == one.err) << command << jobs;
        }
        EXPECT_EQ(Tool(command + " -j 3 >/dev/full").code, 1) << command;
        EXPECT_EQ(Tool(command + " -j 3 2>&- | true").err, "") << command;
    }
    // No more than there are descriptors for.
    EXPECT_EQ(Tool("find d --type 1 -j 256", "prlimit --nofile=12 ").err, Tool("find d --type 1").err);
    for (const char* jobs : {"0", "257"}) EXPECT_EQ(Tool(std::string("verify d -j ") + jobs).code, 2);
}

// script(1) gives the tool a terminal.
TEST_F(ToolQuestionTest, ColorsTerminalsOnly) {
    m_folder.Write("s.tdf", "TDF2" + Trace(Le(0x8800000000000000, 8) + Le(1, 8)) + "tail");
    const std::string color = "0 \033[36m0x8800000000000000\033[0m\r\n";
    const auto onTerminal = [&](const std::string& setting, const std::string& arguments) {
        test::Run(m_folder.Path(), "HOME=" + m_home.Path() + ' ' + setting,
                  "script -qec '" ORM_TOOL " " + arguments + "' typescript");
        return test::ReadAll("typescript");
    };
    EXPECT_EQ(Tool("find s.tdf --type 0x88").out, "0 0x8800000000000000\n");
    EXPECT_NE(onTerminal("", "find s.tdf --type 0x88").find(color), std::string::npos);
    EXPECT_NE(onTerminal("NO_COLOR=", "find s.tdf --type 0x88").find(color), std::string::npos);
    EXPECT_EQ(onTerminal("NO_COLOR=1", "find s.tdf --type 0x88").find('\033'), std::string::npos);
    EXPECT_NE(onTerminal("", "samples s.tdf --number").find(color + "1 0x0000000000000001\r\n"), std::string::npos);
    EXPECT_NE(onTerminal("", "verify s.tdf").find("\033[31m"), std::string::npos);
}

}  // namespace
