// Looking into, checking and repairing files from the shell.
#include <nlohmann/json.hpp>
#include <random>

#include "support/ToolFixture.h"

namespace {

using test::ReadAll;
using test::Section;

using ToolInspectTest = test::ToolFixture;

// Every subcommand over every kind of file and fault: the exit code, and a message exactly when there is something wrong.
TEST_F(ToolInspectTest, EndsAsItShouldForEveryFault) {
    const std::string good = "TDF2" + Section("n", 1, "x") + test::Trace("12345678");
    // clang-format off
    const std::vector<std::pair<std::string, std::string>> files{
        {"good.tdf", good}, {"cut.tdf", good.substr(0, good.size() - 8)}, {"tail.tdf", good + "tail"},
        {"zero.tdf", good + Section("z", 1, "", 0)}, {"long.tdf", good + Section("z", 1, "", 1U << 28)},
        {"empty.tdf", ""}, {"junk.tdf", "junk and more junk"}, {"id.tdf", "TDF2"}, {"plain.bin", "12345678"}};
    // clang-format on
    for (const auto& [name, bytes] : files) m_folder.Write(name, bytes);
    std::filesystem::create_directory("dir.tdf");
    mkfifo("fifo.tdf", 0666);
    chmod(m_folder.Write("secret.tdf", good).c_str(), 0);
    std::filesystem::permissions(".", std::filesystem::perms::all);
    // The exit codes for: good cut tail zero long empty junk id plain dir fifo secret gone
    const std::pair<const char*, const char*> rows[] = {{"info", "0 4 4 4 4 4 4 0 0 4 4 4 4"},
                                                        {"info good.tdf", "0 4 4 4 4 4 4 0 0 4 4 4 4"},
                                                        {"list", "0 4 4 4 4 4 4 0 4 4 4 4 4"},
                                                        {"verify", "0 4 4 4 4 4 4 0 4 4 4 4 4"},
                                                        {"verify good.tdf", "0 4 4 4 4 4 4 0 4 4 4 4 4"},
                                                        {"dump --section n", "0 0 0 0 0 4 4 4 4 4 4 4 4"},
                                                        {"dump --index 1", "0 3 0 0 0 4 4 4 4 4 4 4 4"},
                                                        {"dump --index 0 --range 0:9", "3 3 3 3 3 4 4 4 4 4 4 4 4"},
                                                        {"samples", "0 3 0 0 0 0 3 4 0 4 4 4 4"},
                                                        {"samples --count 9", "3 3 3 3 3 3 3 4 3 4 4 4 4"},
                                                        {"recover --dry-run", "0 3 3 3 3 4 4 0 4 4 4 4 4"},
                                                        {"stamp stm --frequency 1 --file", "0 3 0 0 0 0 3 4 0 4 4 4 4"},
                                                        {"append --section m:1@good.tdf", "0 4 4 4 4 4 4 0 4 4 4 4 4"},
                                                        {"save good.tdf", "1 4 4 4 4 4 4 0 4 4 4 4 4"}};
    for (const auto& [command, codes] : rows) {
        std::istringstream expected(codes);
        for (const char* file : {"good.tdf", "cut.tdf", "tail.tdf", "zero.tdf", "long.tdf", "empty.tdf", "junk.tdf",
                                 "id.tdf", "plain.bin", "dir.tdf", "fifo.tdf", "secret.tdf", "gone.tdf"}) {
            for (const auto& [name, bytes] : files) chmod(m_folder.Write(name, bytes).c_str(), 0666);
            int code = -1;
            expected >> code;
            const test::Result result = ToolAsNobody(std::string(command) + " " + file);
            EXPECT_EQ(result.code, code) << command << ' ' << file << '\n' << result.err;
            EXPECT_TRUE(code == 0 || result.err.rfind("orm-trace: ", 0) == 0) << command << ' ' << file << result.err;
        }
        EXPECT_EQ(Tool(std::string(command) + " --no-such-option good.tdf").code, 2) << command;
    }
    for (const char* command :
         {"info", "list", "dump --index 0", "samples", "verify", "recover --dry-run", "--version"}) {
        for (const char* out : {" >/dev/full", " >&-"})
            EXPECT_EQ(Tool(command + std::string(" good.tdf") + out).code, 1) << command << out;
        EXPECT_EQ(Tool(command + std::string(" good.tdf | true")).err, "") << "a broken pipe ends quietly";
    }
}

TEST_F(ToolInspectTest, SaysWhatIsWrongAndWhere) {
    const std::string name = "a\x01\xFF";
    m_folder.Write("t.tdf",
                   "TDF2" + Section(name, 1, "0123456789ABCDEF!") + Section(name, 1, "") + Section("b", 2, "x", 4096));
    const test::Result result = Tool("verify t.tdf");
    EXPECT_NE(
        result.err.find("orm-trace: t.tdf: section 2 \"b\" at offset 0x33: length 4096 exceeds the 14 bytes left\n"),
        std::string::npos)
        << result.err;
    EXPECT_NE(result.err.find("a\\x01\\xFF"), std::string::npos) << "the duplicate, escaped" << result.err;
    EXPECT_EQ(Tool("dump t.tdf --index 0 --format raw --range 2:5").out, "234");
    EXPECT_EQ(Tool("dump t.tdf --index 0 --format csv").out.substr(0, 22), "0,0x3736353433323130\n1");
    EXPECT_NE(Tool("dump t.tdf --index 0").out.find("|0123456789ABCDEF|"), std::string::npos);
    m_folder.Write("no.tdf", "none");
    EXPECT_NE(Tool("info no.tdf").err.find("named .tdf, no TDF identifier: read as plain"), std::string::npos);

    const auto list = nlohmann::json::parse(Tool("list t.tdf --json").out);
    EXPECT_EQ(list["sections"].size(), 3U);
    EXPECT_EQ(list["sections"][0]["name_hex"], "6101ff");
    EXPECT_EQ(list["faults"][0]["kind"], "data_cut");
    for (const char* command :
         {"info t.tdf", "verify t.tdf", "recover t.tdf --dry-run", "probe", "stamp stm 1 --frequency 1"}) {
        const std::string out = Tool(command + std::string(" --json")).out;
        EXPECT_TRUE(nlohmann::json::accept(out) && nlohmann::json::parse(out).contains("schema_version"))
            << command << out;
    }
    EXPECT_EQ(Tool("probe --json /gone").code, 5);
}

// A file of generated sections is damaged in generated ways; what no damage touched comes out, and the result is whole.
TEST_F(ToolInspectTest, RecoversEveryUndamagedSection) {
    const int rounds = std::getenv("ORM_TEST_EXHAUSTIVE") != nullptr ? 1000 : 150;
    std::mt19937 random(7);
    for (int round = 0; round < rounds; ++round) {
        std::string file = "TDF2";
        std::vector<std::pair<std::size_t, std::string>> sections;
        for (int n = 0; n < 6; ++n) {
            sections.emplace_back(file.size(), Section("s" + std::to_string(n), static_cast<unsigned>(random() % 3),
                                                       std::string(random() % 400, static_cast<char>('a' + n))));
            file += sections.back().second;
        }
        std::size_t at = 4 + random() % (file.size() - 4), end = file.size();
        const int kind = round % 3;
        if (kind == 0) file.resize(at);  // cut
        if (kind == 1) {                 // overwritten
            end = std::min(at + 1 + random() % 40, file.size());
            for (std::size_t n = at; n < end; ++n) file[n] = static_cast<char>(random());
        }
        if (kind == 2) file += std::string(1 + random() % 11, '\x7F'), at = end;  // an append that never finished
        m_folder.Write("in.tdf", file);
        std::filesystem::remove("out.tdf");
        const test::Result result = Tool("recover in.tdf -o out.tdf");
        ASSERT_TRUE(result.code == 0 || result.code == 3 || (result.code == 4 && at < sections[1].first))
            << round << result.err;
        if (result.code == 4) continue;
        const std::string out = ReadAll("out.tdf");
        EXPECT_EQ(Tool("verify out.tdf").code, 0) << round;
        EXPECT_EQ(ReadAll("in.tdf"), file) << round;
        for (const auto& [begin, bytes] : sections) {
            const bool isDamaged = begin + bytes.size() > at && begin < end && kind != 2;
            EXPECT_TRUE(isDamaged || out.find(bytes) != std::string::npos)
                << round << ' ' << begin << ' ' << at << '-' << end;
        }
    }
    m_folder.Write("t.tdf", "TDF2" + Section("a", 1, "123") + "tail");
    EXPECT_EQ(Tool("recover t.tdf -o tail.tdf --tail").code, 3);
    EXPECT_EQ(ReadAll("tail.tdf"), "TDF2" + Section("a", 1, "123tail"));
    for (const char* out : {"t.tdf", "tail.tdf"})
        EXPECT_EQ(Tool(std::string("recover t.tdf -o ") + out).code, 1) << "exists";
}

}  // namespace
