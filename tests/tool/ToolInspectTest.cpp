// Looking into, checking and repairing files from the shell.
#include <sys/stat.h>

#include <nlohmann/json.hpp>
#include <thread>

#include "support/ToolFixture.h"

namespace {

using test::ReadAll;
using test::Section;

struct ToolInspectTest : test::ToolFixture {
    // Runs each command over every kind of file and fault: the exit code, and a message exactly when there is something
    // wrong. The rows have the codes for: good cut tail zero long empty junk id plain dir fifo secret gone.
    void ExpectCodes(const std::vector<std::pair<std::string, std::string>>& rows) {
        const std::string good = "TDF2" + Section("n", 1, "x") + test::Trace("12345678");
        // clang-format off
        const std::vector<std::pair<std::string, std::string>> files{
            {"good.tdf", good}, {"cut.tdf", good.substr(0, good.size() - 8)}, {"tail.tdf", good + "tail"},
            {"zero.tdf", good + Section("z", 1, "", 0)}, {"long.tdf", good + Section("z", 1, "", 1U << 28)},
            {"empty.tdf", ""}, {"junk.tdf", "junk and more junk"}, {"id.tdf", "TDF2"}, {"plain.bin", "12345678"}};
        // clang-format on
        std::filesystem::create_directory("dir.tdf");
        mkfifo("fifo.tdf", 0666);
        chmod(m_folder.Write("secret.tdf", good).c_str(), 0);
        std::filesystem::permissions(".", std::filesystem::perms::all);
        for (const auto& [command, codes] : rows) {
            std::istringstream expected(codes);
            for (const char* file : {"good.tdf", "cut.tdf", "tail.tdf", "zero.tdf", "long.tdf", "empty.tdf", "junk.tdf",
                                     "id.tdf", "plain.bin", "dir.tdf", "fifo.tdf", "secret.tdf", "gone.tdf"}) {
                for (const auto& [name, bytes] : files) chmod(m_folder.Write(name, bytes).c_str(), 0666);
                std::filesystem::remove("new.tdf");
                int code = -1;
                expected >> code;
                const test::Result result = ToolAsNobody(command + " " + file);
                EXPECT_EQ(result.code, code) << command << ' ' << file << '\n' << result.err;
                EXPECT_EQ(code != 0 && code != 6, result.err.rfind("orm-trace: ", 0) == 0) << command << ' ' << file;
            }
            EXPECT_EQ(Tool(command + " --no-such-option good.tdf").code, 2) << command;
            if (codes[0] != '0') continue;
            const bool isQuiet = command.find("diff") == 0 || command.find("append") == 0 || command.find("save") == 0;
            for (const std::string out : {" >/dev/full", " >&-", " | true"}) {
                std::filesystem::remove("new.tdf");
                m_folder.Write("good.tdf", good);
                const test::Result result = Tool(command + " good.tdf" + out);
                if (out == " | true") {
                    EXPECT_EQ(result.err, "") << command << ": a broken pipe ends quietly";
                } else if (!isQuiet) {
                    EXPECT_EQ(result.code, 1) << command << out;
                }
            }
        }
    }
};

TEST_F(ToolInspectTest, EndsAsItShouldForEveryFault) {
    ExpectCodes({{"info", "0 4 4 4 4 4 4 0 0 1 4 4 4"},
                 {"info good.tdf", "0 4 4 4 4 4 4 0 0 1 4 4 4"},
                 {"list", "0 4 4 4 4 4 4 0 4 4 4 4 4"},
                 {"verify", "0 4 4 4 4 4 4 0 4 1 4 4 4"},
                 {"dump --section n", "0 0 0 0 0 4 4 4 4 4 4 4 4"},
                 {"dump --index 1", "0 3 0 0 0 4 4 4 4 4 4 4 4"},
                 {"dump --index 0 --range 0:9", "3 3 3 3 3 4 4 4 4 4 4 4 4"},
                 {"samples", "0 3 0 0 0 0 3 4 0 4 4 4 4"},
                 {"samples --count 9", "3 3 3 3 3 3 3 4 3 4 4 4 4"},
                 {"recover --dry-run", "0 3 3 3 3 4 4 0 4 4 4 4 4"},
                 {"stamp stm --frequency 1 --file", "0 3 0 0 0 0 3 4 0 4 4 4 4"},
                 {"append --section m:1@good.tdf", "0 4 4 4 4 4 4 0 4 4 4 4 4"},
                 {"save good.tdf", "1 4 4 4 4 4 4 0 4 4 4 4 4"}});
}

TEST_F(ToolInspectTest, AnswersAsItShouldForEveryFault) {
    for (const char* out : {" >/dev/full", " >&-"}) EXPECT_EQ(Tool(std::string("--version") + out).code, 1) << out;
    ExpectCodes({{"find --type 0x38", "0 3 0 0 0 6 3 4 0 1 4 4 4"},
                 {"find -j 2 good.tdf --type 1", "6 3 6 6 6 6 3 4 6 1 4 4 4"},
                 {"stats", "0 3 0 0 0 0 3 4 0 1 4 4 4"},
                 {"stats good.tdf -j 2 --json", "0 3 0 0 0 0 3 4 0 1 4 4 4"},
                 {"diff good.tdf", "0 4 4 4 4 6 3 4 0 4 4 4 4"},
                 {"diff --section n good.tdf", "0 4 4 4 4 4 4 6 4 4 4 4 4"},
                 {"diff plain.bin", "0 3 0 0 0 6 3 4 0 4 4 4 4"},
                 {"cut -o new.tdf", "0 3 3 3 3 0 3 4 0 4 4 4 4"},
                 {"cut -o new.tdf --section n", "0 3 3 3 3 1 1 4 1 4 4 4 4"},
                 {"cut -o new.tdf --from 2", "3 3 3 3 3 3 3 4 3 4 4 4 4"},
                 {"cut -o good.tdf", "1 1 1 1 1 1 1 4 1 4 4 4 4"}});
}

TEST_F(ToolInspectTest, SaysWhatIsWrongAndWhere) {
    const std::string name = "a\x01\xFF";
    m_folder.Write("t.tdf",
                   "TDF2" + Section(name, 1, "0123456789ABCDEF!") + Section(name, 1, "") + Section("b", 2, "x", 4096));
    const std::string err = Tool("verify t.tdf").err;
    EXPECT_NE(err.find("orm-trace: t.tdf: section 2 \"b\" at offset 0x33: length 4096 exceeds the 14 bytes left\n"),
              err.npos)
        << err;
    EXPECT_NE(err.find("a\\x01\\xFF"), err.npos) << "the duplicate, escaped" << err;
    EXPECT_EQ(Tool("dump t.tdf --index 0 --format raw --range 2:5").out, "234");
    EXPECT_EQ(Tool("dump t.tdf --index 0 --format csv").out.substr(0, 22), "0,0x3736353433323130\n1");
    EXPECT_NE(Tool("dump t.tdf --index 0").out.find("|0123456789ABCDEF|"), std::string::npos);
    m_folder.Write("no.tdf", "none");
    EXPECT_NE(Tool("info no.tdf").err.find("named .tdf, no TDF identifier: read as plain"), std::string::npos);
}

TEST_F(ToolInspectTest, WritesDistinctNames) {
    m_folder.Write("d", "data");
    // The name as it is written, on the command line and in lists; the bytes that it has.
    const std::pair<std::string, std::string> rows[] = {
        {"a\\x0Ab", "a\nb"}, {"a\\\\x0Ab", "a\\x0Ab"}, {"\\x40\\x3A1", "@:1"}};
    std::string create = "create t.tdf", bytes = "TDF2";
    for (const auto& [text, name] : rows) {
        create += " --section '" + text + ":1@d'";
        bytes += Section(name, 1, "data");
    }
    EXPECT_EQ(Tool(create).code, 0);
    EXPECT_EQ(ReadAll("t.tdf"), bytes);
    const std::string list = Tool("list t.tdf").out;
    EXPECT_NE(list.find("\"a\\x0Ab\"\n"), list.npos) << list;
    EXPECT_NE(list.find("\"a\\\\x0Ab\"\n"), list.npos) << list;
    for (const auto& [text, name] : rows)
        EXPECT_EQ(Tool("dump t.tdf --format raw --section '" + text + ":1'").out, "data") << text;
    for (const char* text : {"a\\", "a\\n", "a\\x4", "a\\xg0", "a\\x00"})
        EXPECT_EQ(Tool(std::string("create n.tdf --section '") + text + ":1@d'").code, 2) << text;

    // Names of files, in texts and in documents that fail.
    const std::string file = "a\033[1m\nb\xC2\x9B.tdf", shown = "a\\x1B[1m\\x0Ab\\xC2\\x9B.tdf";
    m_folder.Write(file, "TDF2" + Section("a", 1, "x"));
    for (const char* command : {"info", "verify", "recover -o 'o\033.tdf'", "list a"}) {
        const test::Result result = Tool(std::string(command) + " '" + file + "'");
        EXPECT_EQ((result.out + result.err).find('\033'), std::string::npos) << command;
    }
    EXPECT_EQ(Tool("verify '" + file + "'").out, shown + ": 1 section, ends on a section boundary\n");
    const std::tuple<const char*, int, const char*> failing[] = {
        {"list gone.tdf", 4, "gone.tdf"},
        {"recover t.tdf -o t.tdf", 1, "t.tdf"},
        {"stamp stm --frequency 1 --file gone.tdf", 4, "gone.tdf"},
        {"probe /gone", 5, "/gone"}};
    for (const auto& [arguments, code, subject] : failing) {
        const test::Result result = Tool(std::string(arguments) + " --json");
        EXPECT_EQ(result.code, code) << arguments;
        EXPECT_EQ(nlohmann::json::parse(result.out)["error_subject"], subject);
    }
    m_folder.Write("c1.tdf", "TDF2" + Section("\x7F\xC2\x9B\xC2\x80\xC2\xA0", 1, ""));
    for (const char* format : {"--json", "--json-lines"}) {
        const std::string controls = Tool(std::string("list c1.tdf ") + format).out;
        EXPECT_NE(controls.find("\"\\u007f\\u009b\\u0080\xC2\xA0\""), std::string::npos) << controls;
    }
}

TEST_F(ToolInspectTest, FindsEveryDuplicate) {
    const unsigned count = std::getenv("ORM_TEST_EXHAUSTIVE") != nullptr ? 2'000'000 : 40'000;
    std::string bytes = "TDF2";
    for (unsigned n = 0; n < count; ++n) bytes += Section("n", n, "");
    const unsigned again[] = {count - 1, 0, 1, 2, 3};
    for (const unsigned n : again) bytes += Section("n", n, "");
    m_folder.Write("t.tdf", bytes);
    const std::string err = Tool("verify t.tdf").err;
    for (const unsigned n : again) EXPECT_NE(err.find("\"n\":" + std::to_string(n) + " at offset "), err.npos) << n;
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 5) << err.substr(0, 999);
}

TEST_F(ToolInspectTest, LeavesHomesAlone) {
    m_folder.Write("p.bin", "12345678");
    m_folder.Write("t.tdf", "TDF2");
    // The commands that load a driver, and whether they create its directories.
    const std::tuple<const char*, const char*, bool> rows[] = {{"", "samples p.bin", false},
                                                               {"", "save p.bin t.tdf", false},
                                                               {"", "stamp stm --frequency 1 --file p.bin", false},
                                                               {"ORM_TRACE_LOGGING=1 ", "samples p.bin", true},
                                                               {"", "probe", true}};
    for (const auto& [settings, command, creates] : rows) {
        std::filesystem::create_directory("home");
        const auto result = Tool(command, settings + ("HOME=" + m_folder / "home "));
        EXPECT_EQ(std::filesystem::exists("home/.ORM-trace"), creates) << command << result.err;
        std::filesystem::remove_all("home");
    }
}

// A folder stands for its .tdf files in the order of their names' bytes; a list of files may be a pipe.
TEST_F(ToolInspectTest, TakesFoldersAndLists) {
    std::filesystem::create_directories("d/sub.tdf");
    for (const char* name : {"d/b.tdf", "d/Z.TDF", "d/a.tdf", "d/sub.tdf/c.tdf"}) {
        m_folder.Write(name, "TDF2" + test::Trace("12345678"));
    }
    m_folder.Write("d/no.bin", "12345678");
    m_folder.Write("p.bin", "abcdefgh12345678");
    const std::string word = " 0x3837363534333231\n";
    const std::string inFolder = "d/Z.TDF: 0" + word + "d/a.tdf: 0" + word + "d/b.tdf: 0" + word;
    EXPECT_EQ(Tool("find d --type 0x38").out, inFolder);
    EXPECT_EQ(Tool("find --type 0x38 d").out, inFolder);  // an option takes one value
    mkfifo("list", 0600);
    std::thread writer([] { std::ofstream("list") << "p.bin\n\nd\n"; });
    EXPECT_EQ(Tool("find --files-from list --type 0x38").out, "p.bin: 1" + word + inFolder);
    writer.join();
    // A name that the parser of the command line could take for several.
    for (const char* name : {"[d]", "[d,p.bin]", "{}"}) {
        m_folder.Write(name, "12345678");
        EXPECT_EQ(Tool(std::string("find --type 0x38 '") + name + "'").out, "0" + word);
    }
    m_folder.Write("zeros", std::string("p.bin\0p.bin\0", 12));
    EXPECT_EQ(Tool("stats --files-from zeros").err, "orm-trace: zeros: line 1 has a zero byte\n");
    EXPECT_EQ(Tool("stats --files-from d").code, 4);
    const std::string table = Tool("stats d p.bin gone --table").out;
    EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 1 + 3 + 1) << table;
}

}  // namespace
