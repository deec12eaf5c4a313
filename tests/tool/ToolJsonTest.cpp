// What --json and --json-lines write: byte for byte as recorded, and each member of one type, which the page describes.
//
// ORM_TEST_UPDATE=1 records what the tool writes.
#include <nlohmann/json.hpp>
#include <regex>

#include "support/ToolFixture.h"

namespace {

using nlohmann::json;
using test::Section;

struct ToolJsonTest : test::ToolFixture {
    void Compare(const std::string& name, const std::string& text) {
        const std::string path = ORM_SOURCE_DIR "/tests/tool/golden/" + name;
        if (std::getenv("ORM_TEST_UPDATE") != nullptr) std::ofstream(path, std::ios::binary) << text;
        EXPECT_EQ(text, test::ReadAll(path)) << name;
        // One document, or one a line.
        if (name.find(".jsonl") == name.npos) return CollectTypes(json::parse(text));
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) CollectTypes(json::parse(line));
    }

    // The null of a variable that is not set, and variables themselves, are as the environment has them.
    void CollectTypes(const json& value) {
        if (value.is_array()) {
            for (const json& element : value) CollectTypes(element);
        }
        if (!value.is_object()) return;
        for (const auto& [key, member] : value.items()) {
            if (!member.is_null()) m_types[key].insert(member.type_name());
            CollectTypes(member);
        }
    }

    std::map<std::string, std::set<std::string>> m_types;  // by the member's name
};

TEST_F(ToolJsonTest, DocumentsAreAsRecorded) {
    const std::string words = test::Le(0xB000000000000005, 8) + test::Le(0x88000DECBE3B4BC0, 8);
    const std::string whole = "TDF2" + Section("Notes", 1, "hello") + test::Trace(words);
    const std::string zero = Section(std::string("z\0", 2), 2, ""), bytes = Section("\xFF\t", 1, "x");
    m_folder.Write("whole.tdf", whole);
    m_folder.Write("broken.tdf", "TDF2" + Section("Notes", 1, "hello") + "cut");
    m_folder.Write("twice.tdf", whole + bytes + zero + Section("Notes", 1, "other"));
    m_folder.Write("cut.tdf", whole.substr(0, whole.size() - 3));
    m_folder.Write("gap.tdf", "TDF2" + Section("Notes", 1, "hello") + "lost bytes" + Section("after", 1, "1"));
    m_folder.Write("plain.bin", words + "1234");
    m_folder.Write("no.tdf", words);
    m_folder.Write("other.tdf", "TDF2" + Section("Notes", 1, "hallo") + test::Trace("12345678" + words));
    std::filesystem::create_directory("empty");
    const std::pair<std::string, std::string> rows[] = {
        {"info", "info whole.tdf broken.tdf cut.tdf plain.bin no.tdf gone"},
        {"list", "list twice.tdf"},
        {"list-broken", "list broken.tdf"},
        {"list-error", "list plain.bin"},
        {"verify", "verify whole.tdf twice.tdf cut.tdf"},
        {"recover", "recover gap.tdf -o out.tdf --lost lost"},
        {"recover-cut", "recover cut.tdf --dry-run"},
        {"recover-error", "recover plain.bin --dry-run"},
        {"find", "find plain.bin whole.tdf --type 0xB0 --context 1 --zero '2026-11-16 10:00:00'"},
        {"find-count", "find plain.bin --value 0 --only-count"},
        {"find-error", "find empty --type 1"},
        {"stats", "stats plain.bin whole.tdf broken.tdf --gap 0.1"},
        {"stamp", "stamp rcv --zero '2026-11-16 10:00:00' --file plain.bin"},
        {"stamp-words", "stamp stm 170000000 --frequency 1e6"},
        {"samples", "samples whole.tdf --ticks --zero '2026-11-16 10:00:00'"},
        {"diff", "diff other.tdf twice.tdf --limit 1"},
        {"diff-plain", "diff plain.bin whole.tdf"},
        {"diff-error", "diff whole.tdf plain.bin --section Notes"},
        {"cut", "cut plain.bin -o part.tdf --from 1"},
        {"cut-part", "cut part.tdf -o next.tdf --from 1"},
        {"cut-no-origin", "cut twice.tdf -o less.tdf --count 1 --drop Notes --no-origin"},
        {"cut-error", "cut whole.tdf -o whole.tdf"},
        {"info-cut", "info next.tdf less.tdf"}};
    for (const auto& [name, arguments] : rows) Compare(name + ".json", Tool(arguments + " --json").out);
    const std::pair<std::string, std::string> lines[] = {
        {"list", "list broken.tdf"},
        {"samples", "samples cut.tdf --zero '2026-11-16 10:00:00' --exact"},
        {"find", "find whole.tdf gone plain.bin --type 0xB0 --context 1"},
        {"find-count", "find whole.tdf --type 0xB0 --only-count"},
        {"verify", "verify whole.tdf twice.tdf cut.tdf gone"},
        {"diff", "diff other.tdf twice.tdf"},
        {"stamp", "stamp rcv --ticks --file plain.bin"},
        {"stamp-error", "stamp stm 1 x --frequency 1"}};
    for (const auto& [name, arguments] : lines) Compare(name + ".jsonl", Tool(arguments + " --json-lines").out);
    // Paths and the process differ; the driver that was loaded is always the last of its libraries.
    json probe = json::parse(Tool("probe --json").out);
    probe["libraries"]["loaded"] = json::array({probe["libraries"]["loaded"].back()});
    std::string text = probe.dump(1) + '\n';
    for (const char* own : {"/[^\"]*/", "orm-test-[A-Za-z0-9]+", "_[0-9]{8}_[0-9]+", "[0-9]{2,}(?=\")"}) {
        text = std::regex_replace(text, std::regex(own), "");
    }
    Compare("probe.json", text);
    // The example of the page is what the tool writes, and every member that documents have is described there.
    const std::string page = test::ReadAll(ORM_SOURCE_DIR "/docs/orm-trace-json.5.md");
    const std::string example = "$ orm-trace list --json broken.tdf\n" + Tool("list --json broken.tdf").out + "```";
    EXPECT_NE(page.find(example), std::string::npos) << example;
    const std::set<std::string> several{"stamps", "samples", "first"};  // types, as the page says
    for (const auto& [member, types] : m_types) {
        EXPECT_TRUE(types.size() == 1 || several.count(member) != 0) << member << " has several types";
        const bool isVariable = member.find('_') != member.npos && std::isupper(member[0]) != 0;
        const bool isType = member.substr(0, 2) == "0x";
        const bool isHex = member.size() > 4 && member.substr(member.size() - 4) == "_hex";
        if (isVariable || isType || isHex || member == "HOME") continue;
        EXPECT_NE(page.find('`' + member + '`'), std::string::npos) << member;
    }
}

}  // namespace
