// Writing from the shell: create, append, save and stamp.
#include <gtest/gtest.h>

#include "support/Process.h"

namespace {

using test::Section;
using test::Tdf;

class ToolWriteTest : public testing::Test {
protected:
    test::Result Tool(std::vector<std::string> arguments, std::string in = "") {
        test::Run run;
        run.command = {ORM_TOOL};
        run.command.insert(run.command.end(), arguments.begin(), arguments.end());
        run.environment = {"HOME=" + m_folder.Path(), "TMPDIR=" + m_folder.Path()};
        run.directory = m_folder.Path();
        run.in = std::move(in);
        return run();
    }
    std::string Read(const char* name) { return test::ReadAll(m_folder / name); }
    std::size_t Files() {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(m_folder.Path()), {}));
    }

    test::TemporaryFolder m_folder;
};

TEST_F(ToolWriteTest, WritesWhatItReadsBack) {
    for (const std::size_t size : {0UL, 1UL, 7UL, 8UL, 9UL, 131071UL, 131072UL, 131073UL, 300000UL, 127UL << 20}) {
        std::string data(size, '\0');
        for (std::size_t n = 0; n < size; ++n) data[n] = static_cast<char>(n * 31 + n / 997);
        m_folder.Write("raw", data);
        ASSERT_EQ(
            Tool({"create", "out.tdf", "--force", "--section", "Notes:1@raw:n", "--section", "BinTraceData:1@raw"})
                .code,
            1)
            << "no such file";
        ASSERT_EQ(Tool({"create", "out.tdf", "--force", "--section", "BinTraceData:1@raw"}).code, 0) << size;
        EXPECT_TRUE(Read("out.tdf") == Tdf(Section("BinTraceData", 1, data))) << size;
        ASSERT_EQ(Tool({"create", "saved.tdf", "--force"}).code, 0);
        EXPECT_EQ(Tool({"save", "raw", "saved.tdf"}).code, 0) << size;
        EXPECT_TRUE(Read("saved.tdf") == Read("out.tdf")) << size;
        const test::Result samples = Tool({"samples", "out.tdf", "--format", "raw"});
        EXPECT_EQ(samples.code, size % 8 == 0 ? 0 : 3);
        EXPECT_TRUE(samples.out == data.substr(0, size / 8 * 8)) << size;
    }
}

TEST_F(ToolWriteTest, AppendsSections) {
    m_folder.Write("a", "AAA");
    ASSERT_EQ(Tool({"create", "t.tdf"}).code, 0);
    EXPECT_EQ(Read("t.tdf"), "TDF2");
    EXPECT_EQ(Tool({"append", "t.tdf", "--section", "x:y:7@a", "--section", ":0x10@-"}, "from stdin").code, 0);
    EXPECT_EQ(Read("t.tdf"), Tdf(Section("x:y", 7, "AAA") + Section("", 16, "from stdin")));
    EXPECT_EQ(Files(), 2U) << "no temporary file is left";
    EXPECT_EQ(std::filesystem::status(m_folder / "t.tdf").permissions(),
              std::filesystem::status(m_folder / "a").permissions());
}

TEST_F(ToolWriteTest, RefusesBeforeItWrites) {
    const std::string good = Tdf(Section("a", 1, "x") + Section("BinTraceData", 1, "12345678"));
    m_folder.Write("d", "data");
    m_folder.Write("t.tdf", good);
    m_folder.Write("tail.tdf", good + "tail");
    m_folder.Write("cut.tdf", good.substr(0, good.size() - 1));
    m_folder.Write("plain.tdf", "none");
    m_folder.Write("t.bin", good);
    m_folder.WriteSparse("big", "", 134217728);
    std::filesystem::create_directory(m_folder / "dir.tdf");
    std::filesystem::create_symlink("t.tdf", m_folder / "link.tdf");
    const std::string longName(4096, 'n');
    const struct {
        std::vector<std::string> arguments;
        int code;
        const char* reason;
    } rows[] = {{{"create", "t.tdf"}, 1, "t.tdf: exists (--force replaces it)"},
                {{"create", "dir.tdf", "--force"}, 1, "dir.tdf: exists and is no regular file"},
                {{"create", "link.tdf", "--force"}, 1, "link.tdf: exists and is no regular file"},
                {{"create", "t.bin"}, 2, "t.bin: TDF file extension must be .tdf."},
                {{"create", "no/t.tdf"}, 1, "no/t.tdf: No such file or directory"},
                {{"create", "n.tdf", "--section", "a1@d"}, 2, "a1@d: is not of the form NAME:VERSION@FILE"},
                {{"create", "n.tdf", "--section", "a:x@d"}, 2, "a:x@d: is not of"},
                {{"create", "n.tdf", "--section", "a:4294967296@d"}, 2, "is not of"},
                {{"create", "n.tdf", "--section", "a:1@"}, 2, "is not of"},
                {{"create", "n.tdf", "--section", "a:1@gone"}, 1, "gone: No such file or directory"},
                {{"create", "n.tdf", "--section", "a:1@dir.tdf"}, 1, "dir.tdf: Is a directory"},
                {{"create", "n.tdf", "--section", "a:1@d", "--section", "a:1@d"}, 1, "a:1@d: is named twice"},
                {{"create", "n.tdf", "--section", "a:1@big"},
                 1,
                 "big: makes a section of 134217741 bytes, readers find sections of up to 134217728"},
                {{"create", "n.tdf", "--section", longName + ":1@d"},
                 1,
                 "d: the section's name has 4096 bytes, readers find names of up to 4095"},
                {{"append", "t.tdf", "--section", "a:1@d"}, 1, "t.tdf: has a section \"a\":1 already"},
                {{"append", "t.tdf", "--section", "a:2@big"}, 1, "big: makes a section"},
                {{"append", "t.tdf"}, 2, "--section is required"},
                {{"append", "t.bin", "--section", "b:1@d"}, 4, "t.bin: is no TDF file"},
                {{"append", "gone.tdf", "--section", "b:1@d"}, 4, "gone.tdf: is no TDF file"},
                {{"append", "plain.tdf", "--section", "b:1@d"}, 4, "plain.tdf: is no TDF file"},
                {{"append", "tail.tdf", "--section", "b:1@d"}, 4, "tail.tdf: is damaged at offset"},
                {{"append", "cut.tdf", "--section", "b:1@d"}, 4, "cut.tdf: is damaged at offset 18"},
                {{"save", "d", "t.tdf"}, 1, "t.tdf: has a section \"BinTraceData\":1 already"},
                {{"save", "d", "tail.tdf"}, 4, "tail.tdf: is damaged"},
                {{"save", "d", "t.tdf", "--allow-duplicate", "--driver", "/gone"}, 5, "/gone"},
                {{"save", "gone", "t.tdf", "--allow-duplicate"}, 4, "gone: Failed to open gone for reading."},
                {{"save", "big", "t.tdf", "--allow-duplicate"},
                 1,
                 "t.tdf: Talvora file channel driver: The trace makes a section"},
                {{"stamp", "stm", "1"}, 2, "--frequency is required"},
                {{"stamp", "stm", "1", "--frequency", "0"}, 2, "--frequency"},
                {{"stamp", "stm", "--frequency", "1"}, 2, "WORD or --file is required"},
                {{"stamp", "stm", "0x", "--frequency", "1"}, 2, "not a 64-bit number: 0x"},
                {{"stamp", "rcv", "1", "--zero", "2026-02-29 00:00:00"}, 2, "--zero: no time"},
                {{"stamp", "rcv", "1", "--zero", "2026-02-28 00:00:00.1234567"}, 2, "--zero: no time"},
                {{"stamp", "rcv", "--only-stamps", "1", "--zero", "2026-02-28 00:00:00"}, 2, "--only-stamps"}};
    const std::size_t files = Files();
    for (const auto& row : rows) {
        const test::Result result = Tool(row.arguments);
        const std::string label = testing::PrintToString(row.arguments).substr(0, 200);
        EXPECT_EQ(result.code, row.code) << label << result.err;
        EXPECT_NE(result.err.find(row.reason), std::string::npos) << label << result.err;
        EXPECT_EQ(result.out, "") << label;
    }
    EXPECT_EQ(Files(), files + 1) << "but for the log directory nothing was made";
    EXPECT_EQ(Read("t.tdf"), good);
    EXPECT_EQ(Tool({"append", "t.tdf", "--allow-duplicate", "--section", "a:1@d"}).code, 0);
    EXPECT_EQ(Read("t.tdf"), good + Section("a", 1, "data"));
    m_folder.Write("cut.tdf", good.substr(0, good.size() - 8));
    EXPECT_EQ(Tool({"save", "cut.tdf", "t.tdf", "--allow-duplicate"}).code, 3)
        << "a sample is missing in what was saved";
}

TEST_F(ToolWriteTest, DecodesStamps) {
    m_folder.Write("t.bin",
                   test::Sample(0xB000000000000005) + test::Sample(170000000) + test::Sample(0x88000DECBE3B4BC0));
    const std::vector<std::string> rcv{"stamp", "rcv", "--zero", "2026-11-16 10:00:00"};
    const auto with = [](std::vector<std::string> list, std::vector<std::string> more) {
        list.insert(list.end(), more.begin(), more.end());
        return list;
    };
    EXPECT_EQ(Tool({"stamp", "stm", "170000000", "0xB000000000000005", "0", "--frequency", "1e6", "--base", "10",
                    "--index", "4"})
                  .out,
              "1000006\n\n6\n");
    EXPECT_EQ(Tool({"stamp", "stm", "--file", "t.bin", "--frequency", "1e6"}).out, "0 \n1 999999\n2 90061499998\n");
    EXPECT_EQ(Tool(with(rcv, {"0x88000DECBE3B4BC0", "--reference", "170000000"})).out,
              " 11/17/2026 11:01:02:500:000\n");
    EXPECT_EQ(Tool(with(rcv, {"--file", "t.bin", "--only-stamps"})).out,
              "0  11/16/2026 10:00:00:000:000\n2  11/17/2026 11:01:01:500:000\n");
    const test::Result lines = Tool(with(rcv, {"-"}), "9799832789158199296\r\n0\nx\n");
    EXPECT_EQ(lines.code, 4);
    EXPECT_EQ(lines.out, " 11/16/2026 10:00:00:000:000\n\n");
    EXPECT_EQ(lines.err, "orm-trace: standard input: line 3: not a 64-bit number\n");
    EXPECT_EQ(Tool({"stamp", "rcv", "12682136550675316736", "--zero", "1999-12-31 23:59:59.9999"}).out,
              " 12/31/1999 23:59:59:999:900\n");
    // The examples that the help shows.
    for (const char* kind : {"stm", "rcv"}) {
        const std::string help = Tool({"stamp", kind, "--help"}).out;
        const std::size_t at = help.find("  orm-trace stamp ") + 2;
        const std::string line = help.substr(at, help.find('\n', at) - at);
        std::vector<std::string> arguments;
        bool quoted = false;
        std::string word;
        for (const char c : line.substr(std::string("orm-trace ").size()) + " ") {
            if (c == '"') quoted = !quoted;
            if (c != '"' && (c != ' ' || quoted)) word += c;
            if (c == ' ' && !quoted) arguments.push_back(std::exchange(word, ""));
        }
        const std::string shown = help.substr(help.find('\n', at) + 3);
        EXPECT_EQ(Tool(arguments).out, shown.substr(0, shown.find('\n') + 1)) << line;
    }
}

}  // namespace
