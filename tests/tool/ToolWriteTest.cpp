// Writing from the shell: create, append, save and stamp.
#include "support/ToolFixture.h"

namespace {

using test::ReadAll;
using test::Section;
using test::Trace;
using namespace std::string_literals;

struct ToolWriteTest : test::ToolFixture {
    // A command line, its code, and a part of the message.
    using Refusal = std::tuple<std::string, int, std::string>;

    // Each of the command lines is refused, without any output.
    void ExpectRefusals(const std::vector<Refusal>& rows) const {
        for (const auto& [arguments, code, reason] : rows) {
            const test::Result result = Tool(arguments);
            const std::string row = arguments.substr(0, 99) + ": " + result.err;
            EXPECT_EQ(result.code, code) << row;
            EXPECT_EQ(result.out, "") << row;
            EXPECT_NE(result.err.find(reason), std::string::npos) << row;
        }
    }
    static long Files() { return std::distance(std::filesystem::directory_iterator("."), {}); }
};

TEST_F(ToolWriteTest, WritesWhatItReadsBack) {
    for (const std::size_t size : {0UL, 1UL, 7UL, 8UL, 9UL, 131071UL, 131072UL, 131073UL, 300000UL, 127UL << 20}) {
        std::string data(size, '\0');
        for (std::size_t n = 0; n < size; ++n) data[n] = static_cast<char>(n * 31 + n / 997);
        m_folder.Write("raw", data);
        EXPECT_EQ(Tool("create out.tdf --force --section BinTraceData:1@raw").code, 0) << size;
        EXPECT_EQ(Tool("create saved.tdf --force").code, 0) << size;
        EXPECT_EQ(Tool("save raw saved.tdf").code, 0) << size;
        EXPECT_TRUE(ReadAll("out.tdf") == "TDF2" + Trace(data) && ReadAll("saved.tdf") == ReadAll("out.tdf")) << size;
        const test::Result samples = Tool("samples out.tdf --format raw");
        EXPECT_EQ(samples.code, size % 8 == 0 ? 0 : 3) << size;
        EXPECT_TRUE(samples.out == data.substr(0, size / 8 * 8)) << size;
    }
    EXPECT_EQ(Files(), 3) << "no temporary file is left";
    const std::string longest(251, 'n');
    EXPECT_EQ(Tool("create " + longest + ".tdf --force").code, 0);
    EXPECT_EQ(Tool("create " + longest + "n.tdf --force").code, 1) << "a name has at most 255 bytes";
    EXPECT_EQ(Tool("create " + longest + ".tdf --force").code, 0) << "the hidden name is shorter";
    std::filesystem::resize_file(m_folder.Write("big", ""), (1UL << 32) + 8);
    const test::Result big = Tool("samples big");
    EXPECT_EQ(test::Show(big.code, big.out), "3 0x0000000000000000\n") << big.err;
}

TEST_F(ToolWriteTest, KnowsWhatFourGiBHold) {
    m_folder.Write("d", "8 bytes.");
    for (const std::uint64_t size : test::kLargeSizes) {
        const std::string last = " --from " + std::to_string((size - test::WriteLarge("t.tdf", size) - 24) / 8 - 1);
        std::filesystem::resize_file(m_folder.Write("p.bin", ""), size);
        std::string codes;
        for (const std::string& command :
             {"info p.bin"s, "save p.bin t.tdf --allow-duplicate"s, "info t.tdf"s, "list t.tdf"s, "verify t.tdf"s,
              "samples t.tdf --count 1" + last, "append t.tdf --section a:1@d"s}) {
            const test::Result result = Tool(command);
            codes += std::to_string(result.code) + (result.err.find("4 GiB") != result.err.npos ? "!" : "");
        }
        EXPECT_EQ(codes, size < 0xFFFFFFFF ? "0100000" : size == 0xFFFFFFFF ? "0100001!" : "0!4!4!4!4!44!") << size;
    }
}

TEST_F(ToolWriteTest, AppendsSections) {
    m_folder.Write("a", "AAA");
    EXPECT_EQ(Tool("create t.tdf").code, 0);
    EXPECT_EQ(Tool("append t.tdf --section x:y:7@a --section :0x10@- < a").code, 0);
    EXPECT_EQ(ReadAll("t.tdf"), "TDF2" + Section("x:y", 7, "AAA") + Section("", 16, "AAA"));
    EXPECT_EQ(std::filesystem::status("t.tdf").permissions(), std::filesystem::status("a").permissions());
}

TEST_F(ToolWriteTest, RefusesBeforeItWrites) {
    const std::string good = "TDF2" + Section("a", 1, "x") + Trace("12345678"), longName(4096, 'n');
    m_folder.Write("d", "data");
    m_folder.Write("t.tdf", good);
    m_folder.Write("cut.tdf", good.substr(0, good.size() - 8));
    m_folder.Write("plain.tdf", "none");
    m_folder.Write("t.bin", good);
    std::filesystem::resize_file(m_folder.Write("big", ""), 134217728);
    std::filesystem::create_directory("dir.tdf");
    std::filesystem::create_symlink("t.tdf", "link.tdf");
    const long files = Files();
    // clang-format off
    ExpectRefusals({
        {"create t.tdf", 1, "t.tdf: exists (--force replaces it)"},
        {"create dir.tdf --force", 1, "dir.tdf: exists and is not a regular file"},
        {"create link.tdf --force", 1, "link.tdf: exists and is not a regular file"},
        {"create t.bin", 2, "t.bin: TDF file extension must be .tdf."},
        {"create no/t.tdf", 1, "no/t.tdf: No such file or directory"},
        {"create n.tdf --section a1@d", 2, "a1@d: is not of the form NAME:VERSION@FILE"},
        {"create n.tdf --section a:x@d", 2, "is not of"}, {"create n.tdf --section a:1@", 2, "is not of"},
        {"create n.tdf --section a:4294967296@d", 2, "is not of"},
        {"create n.tdf --section a:1@gone", 4, "gone: No such file or directory"},
        {"create n.tdf --section a:1@dir.tdf", 4, "dir.tdf: Is a directory"},
        {"create n.tdf --section a:1@d --section a:1@d", 1, "a:1@d: is named twice"},
        {"create n.tdf --section a:1@big", 1, "big: makes a section of 134217741 bytes, readers find sections of up to 134217728"},
        {"create n.tdf --section " + longName + ":1@d", 1, "d: the section's name has 4096 bytes, readers find names of up to 4095"},
        {"append t.tdf --section a:1@d", 1, "t.tdf: has a section \"a\":1 already"},
        {"append t.tdf --section a:2@big", 1, "big: makes a section"}, {"append t.tdf", 2, "--section is required"},
        {"append t.bin --section b:1@d", 4, "t.bin: is not named .tdf: hosts would not read it as a TDF file"},
        {"append plain.tdf --section b:1@d", 4, "plain.tdf: is not a TDF file"},
        {"save d t.tdf", 1, "t.tdf: has a section \"BinTraceData\":1 already"},
        {"save d t.tdf --allow-duplicate --driver /gone", 5, "/gone"},
        {"save big t.tdf --allow-duplicate", 1, "t.tdf: Talvora file channel driver: The trace makes a section"}});
    // clang-format on
    EXPECT_EQ(Files(), files) << "nothing was made";
    EXPECT_EQ(ReadAll("t.tdf"), good);
    EXPECT_EQ(Tool("append t.tdf --allow-duplicate --section a:1@d").code, 0);
    EXPECT_EQ(ReadAll("t.tdf"), good + Section("a", 1, "data"));
    EXPECT_EQ(Tool("save cut.tdf t.tdf --allow-duplicate").code, 3) << "a sample is missing in what was saved";
}

TEST_F(ToolWriteTest, RefusesCommandLinesAndWhatIsNotInAFile) {
    m_folder.Write("t.tdf", "TDF2" + Trace("12345678"));
    std::filesystem::create_directory("empty");
    // clang-format off
    std::vector<Refusal> rows{
        {"find t.tdf", 2, "--value or --type is required"}, {"find --value 1", 2, "FILE: is required"},
        {"find t.tdf --value 1 --type 2", 2, "--type"}, {"find t.tdf --mask 1", 2, "--value"},
        {"find t.tdf --type 256", 2, "not a type from 0 to 0xFF: 256"}, {"find t.tdf --type 1 --limit 0", 2, "--limit"},
        {"find t.tdf --type 1 --context 10001", 2, "--context"}, {"find empty --type 1", 1, "empty: has no .tdf files"},
        {"find --type 1 --files-from gone", 4, "gone: No such file or directory"},
        {"find --type 1 --files-from ''", 4, "No such file or directory"},
        {"find t.tdf --type 1 --zero '2026-02-28 00:00:00' --to-time ''", 2, "--to-time"},
        {"stats t.tdf --table --json", 2, "--table"}, {"stats t.tdf --zero ''", 2, "--zero"},
        {"stats t.tdf --limit 1", 2, "--limit"}, {"stats t.tdf --limit 1000001", 2, "--limit"},
        {"stamp stm 1", 2, "--frequency is required"}, {"stamp stm 1 --frequency 0", 2, "--frequency"},
        {"stamp stm 1 --frequency inf", 2, "not a finite number"}, {"stamp stm 1 --frequency nan", 2, "not a finite number"},
        {"stamp stm --frequency 1", 2, "WORD or --file is required"},
        {"stamp stm 0x --frequency 1", 2, "not a 64-bit number: 0x"},
        {"stamp rcv --only-stamps 1 --zero '2026-02-28 00:00:00'", 2, "--only-stamps"},
        {"", 2, ""}, {"nosuch", 2, "nosuch: is not a subcommand"},
        {"dump t.tdf --index 08", 4, "has no section 8"}, {"dump t.tdf --index -1", 2, "--index"},
        {"samples t.tdf --from 010", 3, "has no sample 10: the trace ends before sample 1"},
        {"samples t.tdf --from 4294967296", 3, "has no sample 4294967296"}, {"samples t.tdf --format 1", 2, "--format"}};
    // clang-format on
    for (const std::string gap : {"-1", "1s", "0.1234567891", ".5", "''"})
        rows.push_back({"stats t.tdf --gap " + gap, 2, "--gap: not a number of seconds"});
    for (const std::string zero : {"now", "2026- 2-28 00:00:00", "2026-02-29 00:00:00", "2026-02-28 00:00:00.1234567"})
        rows.push_back({"stamp rcv 1 --zero '" + zero + "'", 2, "--zero: not a time"});
    ExpectRefusals(rows);
}

TEST_F(ToolWriteTest, SaysWhatAStrangeDriverDoes) {
    m_folder.Write("d", "data");
    m_folder.Write("t.tdf", "TDF2");
    const std::pair<std::string, std::string> rows[] = {
        {"null", "5 orm-trace: " ORM_STRANGE_DRIVER ": CreateChannelDriver returned null\n"},
        {"throw", "1 orm-trace: error: unknown\n"},
        {"idle", "1 orm-trace: t.tdf: the driver wrote nothing to it\n"}};
    for (const auto& [what, expected] : rows) {
        const test::Result result = Tool("save d t.tdf --driver " ORM_STRANGE_DRIVER, "STRANGE=" + what + " ");
        EXPECT_EQ((std::to_string(result.code) + " " + result.err).substr(0, expected.size()), expected) << what;
        EXPECT_EQ(ReadAll("t.tdf"), "TDF2") << what;
    }
}

TEST_F(ToolWriteTest, DecodesStamps) {
    m_folder.Write("t.bin", test::Le(0xB000000000000005, 8) + test::Le(170000000, 8) + test::Le(0x88000DECBE3B4BC0, 8));
    m_folder.Write("words", "9799832789158199296\r\n0\nx\n");
    const std::string stm = "stamp stm --frequency 1e6 ", rcv = "stamp rcv --zero '2026-11-16 10:00:00' ";
    const std::tuple<std::string, const char*> rows[] = {
        {stm + "--base 10 --index 4 170000000 0xB000000000000005 0", "1000006\n\n6\n"},
        {stm + "--file t.bin", "0 \n1 999999\n2 90061499998\n"},
        {rcv + "0x88000DECBE3B4BC0 --reference 170000000", " 11/17/2026 11:01:02:500:000\n"},
        {rcv + "--file t.bin --only-stamps", "0  11/16/2026 10:00:00:000:000\n2  11/17/2026 11:01:01:500:000\n"},
        {rcv + "--exact 0x88000DECBE3B4BC0 1", "2026-11-17T11:01:01.500000\n\n"},
        {"stamp rcv --ticks --reference 7 0xB000000000000005 0x8800000000000005 1", "5\n12\n\n"},
        {rcv + "- < words", " 11/16/2026 10:00:00:000:000\n\n"},
        {"stamp rcv 12682136550675316736 --zero '1999-12-31 23:59:59.9999'", " 12/31/1999 23:59:59:999:900\n"}};
    for (const auto& [arguments, out] : rows) EXPECT_EQ(Tool(arguments).out, out) << arguments;
    const test::Result lines = Tool(rcv + "- < words");
    EXPECT_EQ(test::Show(lines.code, lines.err), "4 orm-trace: standard input: line 3: not a 64-bit number\n");
    for (const std::string kind : {"stm", "rcv"}) {  // the examples that the help shows
        const std::string help = Tool("stamp " + kind + " --help").out;
        const std::size_t at = help.find("  orm-trace stamp ") + 12, end = help.find('\n', at);
        EXPECT_EQ("  " + Tool(help.substr(at, end - at)).out, help.substr(end + 1, help.find('\n', end + 1) - end))
            << kind;
    }
}

}  // namespace
