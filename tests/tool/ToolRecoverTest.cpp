// Recovering what can be read of damaged files, and files that become shorter while they are read.
#include <fcntl.h>
#include <poll.h>

#include <future>
#include <nlohmann/json.hpp>
#include <random>

#include "support/ToolFixture.h"

namespace {

using test::ReadAll;
using test::Section;
using test::Trace;

struct ToolRecoverTest : test::ToolFixture {
    // Recovers a file of these bytes, of which each has to be in out.tdf or, in order, in the file "lost".
    test::Result Recover(const std::string& file, const std::string& options = "") {
        for (const char* name : {"out.tdf", "lost"}) std::filesystem::remove(name);
        m_folder.Write("in.tdf", file);
        const test::Result result = Tool("recover in.tdf -o out.tdf --lost lost" + options);
        const std::string out = ReadAll("out.tdf");
        m_lost = ReadAll("lost");
        m_sections.clear();
        for (std::size_t at = 4, length = 12; at < out.size() && length >= 12; at += length) {
            length = static_cast<unsigned char>(out[at]) + 256U * static_cast<unsigned char>(out[at + 1]);
            m_sections.push_back(out.substr(at, length));
        }
        EXPECT_EQ(ReadAll("in.tdf"), file);
        EXPECT_EQ(std::filesystem::exists("out.tdf"), result.code != 4) << result.err;
        EXPECT_TRUE(out.empty() || file[0] != 'T' || out.size() + m_lost.size() == file.size());
        return result;
    }
    bool Has(const std::string& section) const {
        return std::count(m_sections.begin(), m_sections.end(), section) != 0;
    }

    // Runs the tool into a pipe that is not read before act() returns: it waits in the middle of its output.
    // Returns: what came through the pipe as out.
    template <class Call> test::Result WhileItWrites(const std::string& arguments, int stream, Call act) {
        std::filesystem::remove("pipe");
        mkfifo("pipe", 0600);
        const int both = open("pipe", O_RDWR);
        fcntl(both, F_SETPIPE_SZ, 4096);
        auto tool =
            std::async(std::launch::async, [&] { return Tool(arguments + ' ' + std::to_string(stream) + ">pipe"); });
        pollfd ready{both, POLLIN, 0};
        poll(&ready, 1, -1);
        act();
        std::ifstream pipe("pipe");
        close(both);
        const std::string text(std::istreambuf_iterator<char>(pipe), {});
        test::Result result = tool.get();
        result.out = text;
        return result;
    }

    std::vector<std::string> m_sections;  // of out.tdf
    std::string m_lost;
};

std::string Random(std::mt19937& random, std::size_t size) {
    std::string bytes(size, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    return bytes;
}

// Any bit of the length of a trace is wrong: its samples come back, and the sections around it.
TEST_F(ToolRecoverTest, FindsSamplesOfEveryWrongLength) {
    std::mt19937 random(3);
    std::string counting;
    for (unsigned n = 0; n < 1000; ++n) counting += test::Le(n, 8);
    const std::string info = Section("Info", 2, "hello"), notes = Section("Notes", 1, std::string(63, 'n'));
    for (const std::string& trace : {Trace(Random(random, 8000)), Trace(counting)}) {
        for (const std::string& after : {std::string(), notes, notes + Section("More", 3, "")}) {
            for (int bit = 0; bit < 32; ++bit) {
                std::string file = "TDF2" + info + trace + after;
                char& byte = file[4 + info.size() + static_cast<std::size_t>(bit / 8)];
                byte = static_cast<char>(byte ^ 1 << bit % 8);
                const bool isShorter = trace.size() >> bit & 1;
                const test::Result result = Recover(file, isShorter ? " --tail" : "");
                EXPECT_EQ(result.code, 3) << bit << result.err;
                EXPECT_TRUE(Has(info) && Has(trace) && (after.empty() || Has(notes))) << bit << result.out;
                const char* const state = isShorter       ? ": extended, "
                                          : bit >= 27     ? ": rebuilt, "
                                          : after.empty() ? ": cut, "
                                                          : ": shortened, ";
                EXPECT_NE(result.out.find(state), std::string::npos) << bit << result.out;
                EXPECT_EQ(m_lost, "");
            }
        }
    }
}

// Generated files are damaged in generated ways: at one place, and often at their end too. Sections that no damage
// touched come back; what is made is whole.
TEST_F(ToolRecoverTest, LosesNoUndamagedSection) {
    const int rounds = std::getenv("ORM_TEST_EXHAUSTIVE") != nullptr ? 1500 : 200;
    std::mt19937 random(7);
    const auto below = [&](std::size_t end) { return random() % end; };
    for (int round = 0; round < rounds; ++round) {
        std::vector<std::string> sections;
        for (std::size_t n = 0, count = 2 + below(6); n < count; ++n) {
            const std::string name = (below(3) == 0 ? "Section number " : "s") + std::to_string(n);
            sections.push_back(Section(name, static_cast<unsigned>(random() % 3), Random(random, below(400))));
        }
        const std::size_t hit = below(sections.size()), how = static_cast<std::size_t>(round) % 9;
        std::string& bytes = sections[hit];
        const std::size_t at = below(bytes.size()), size = 1 + below(39);
        const std::size_t lengths[] = {0, 1, 12, random(), below(1000), 1U << 27, below(1U << 20)};
        if (how == 0) bytes.replace(0, 4, test::Le(lengths[below(7)], 4));
        if (how == 1) bytes[below(4)] ^= static_cast<char>(1 << below(8));
        if (how == 2) bytes[12 + below(2)] = static_cast<char>(random());
        if (how == 3) bytes.replace(8, 4, test::Le(lengths[below(7)], 4));
        if (how == 4) bytes.replace(4, 4, Random(random, 4));
        if (how == 5) bytes.replace(at, size, Random(random, std::min(size, bytes.size() - at)));
        if (how == 6) bytes.replace(0, 12, Random(random, 12));
        if (how == 7) bytes.insert(at, Random(random, size));
        if (how == 8) bytes.erase(at, size);
        std::string file = "TDF2";
        for (const std::string& section : sections) file += section;
        // Bytes that are gone can make a section claim all of the next one, which then only its followers tell from data.
        const std::size_t end = how == 8 ? 2 : below(4);
        if (end == 0) file += Random(random, size);  // an append that never finished
        if (end == 1) {
            file.resize(file.size() - std::min(size, sections.back().size()));
            sections.back().clear();
        }
        sections[hit].clear();
        const test::Result result = Recover(file);
        if (result.code == 0) continue;  // a length may be wrong so that every reader finds the file whole
        EXPECT_TRUE(result.code == 4 || Tool("verify out.tdf").code == 0) << round;
        for (const std::string& section : sections)
            EXPECT_TRUE(section.empty() || Has(section)) << round << ' ' << how << '\n' << result.out << result.err;
    }
}

TEST_F(ToolRecoverTest, SaysWhatItDoesWithEachByte) {
    const std::string a = Section("a", 1, "123"), b = Section("bb", 2, "4567"), c = Section("cc", 3, "");
    const std::string samples = "0123456789abcdef", unfinished = Section("BinTraceData", 1, samples, 0);
    const std::string stray = "stray bytes!!!";
    // What is in the file, with which options; the sections of OUT, what is lost, and a part of the listing.
    // clang-format off
    const std::tuple<std::string, const char*, std::vector<std::string>, std::string, std::string> rows[] = {
        {a, "", {a}, "", "out.tdf: 1 section, verified\n20 of 20 bytes recovered\n"},
        {a + b, " --tail", {a, b}, "", "out.tdf: 2 sections, verified\n38 of 38 bytes recovered\n"},
        {a + stray, "", {a}, stray, "\n20 of 34 bytes recovered, 14 left out at 0x14 to 0x22, saved in lost\n"},
        {a + stray, " --tail", {Section("a", 1, "123" + stray)}, "", "\"a\":1 at offset 0x4: extended, length 16 becomes 30\n"},
        {a + stray + b, "", {a, b}, stray, "section 1 \"bb\":2 at offset 0x22: found by scan\n"},
        {a + stray + b, " --tail", {Section("a", 1, "123" + stray), b}, "", "\n52 of 52 bytes recovered\n"},
        {a + stray + b + stray, "", {a, b}, stray + stray, "\n38 of 66 bytes recovered, 28 left out in 2 places from 0x14 to 0x42, "},
        // A header without a usable length is a section, never a part of the one before.
        {a + unfinished, "", {a, Trace(samples)}, "", "\"BinTraceData\":1 at offset 0x14: rebuilt, length 0 becomes 40\n"},
        {a + unfinished + b, " --tail", {a, Trace(samples), b}, "", ": rebuilt, "},
        {unfinished.substr(0, 24), "", {Trace("")}, "", ": rebuilt, length 0 becomes 24\n"},
        {a + unfinished.substr(0, 23), " --tail", {Section("a", 1, "123" + unfinished.substr(0, 23))}, "", ": extended, "}};
    // clang-format on
    for (const auto& [file, options, sections, lost, listed] : rows) {
        const std::string label = testing::PrintToString(file) + options;
        const test::Result result = Recover("TDF2" + file, options);
        EXPECT_EQ(result.code, ReadAll("out.tdf") == "TDF2" + file ? 0 : 3) << label;
        EXPECT_EQ(m_sections, sections) << label;
        EXPECT_EQ(m_lost, lost) << label;
        EXPECT_NE(result.out.find(listed), std::string::npos) << label << result.out;
    }
    EXPECT_NE(Recover("TDF2" + a + stray + b)
                  .err.find("14 bytes from offset 0x14 on are in no section (--tail adds them to section 0)"),
              std::string::npos);
    EXPECT_EQ(Recover("XDF2" + a + b).code, 3) << "only the identifier is damaged";
    EXPECT_TRUE(Has(a) && Has(b) && m_lost == "XDF2");
    EXPECT_EQ(Tool("recover in.tdf -o new.tdf --lost lost").code, 1) << "exists";
    EXPECT_EQ(Tool("recover in.tdf -o new.tdf --lost new.tdf").code, 2);
    EXPECT_EQ(Tool("recover in.tdf -o new.tdf --lost ./new.tdf").code, 2);
    EXPECT_FALSE(std::filesystem::exists("new.tdf"));
}

TEST_F(ToolRecoverTest, SavesBeforeItLists) {
    std::string file = "TDF2";
    for (unsigned n = 0; n < 2000; ++n) file += Section("section", n, "data");
    for (const std::string options :
         {" >/dev/full", " >&-", " --json >/dev/full", " --json >&-", " | true", " | head -n1"}) {
        const int code = Recover(file, options).code;
        EXPECT_TRUE(code == 1 || options[1] == '|') << options;
        EXPECT_TRUE(ReadAll("out.tdf") == file) << options;
    }
    std::filesystem::remove("out.tdf");
    std::string out;
    EXPECT_EQ(WhileItWrites("recover in.tdf -o out.tdf", 1, [&] { out = ReadAll("out.tdf"); }).code, 0);
    EXPECT_TRUE(out == file) << "whole before the first line is read";
}

TEST_F(ToolRecoverTest, KeepsHolesAndLimits) {
    constexpr std::size_t kSize = 120 << 20;
    const std::string begin = "TDF2" + Section("a", 1, "") + Section("hole", 1, "", 16 + kSize);
    m_folder.Write("in.tdf", begin);
    std::filesystem::resize_file("in.tdf", begin.size() + kSize);
    std::ofstream("in.tdf", std::ios::app) << Section("b", 1, std::string(10000, '\0') + "data") << "stray";
    EXPECT_EQ(Tool("recover in.tdf -o out.tdf").code, 3);
    EXPECT_EQ(std::filesystem::file_size("out.tdf") + 5, std::filesystem::file_size("in.tdf"));
    struct stat status {};
    EXPECT_EQ(stat("out.tdf", &status), 0);
    EXPECT_LE(status.st_blocks, 128) << "of 512 bytes";
    EXPECT_EQ(Tool("verify out.tdf").code, 0);
    EXPECT_EQ(Tool("dump out.tdf --section b --format raw --range 10000:").out, "data");
    // With all that follows them, sections would be too long.
    for (const std::string& wild : {std::string(1, '\xFF') + "stray", Section("wild", 1, "", 1U << 31)}) {
        m_folder.Write("in.tdf", "TDF2" + Section("a", 1, "") + wild);
        std::filesystem::resize_file("in.tdf", 160 << 20);
        const test::Result result = Tool("recover in.tdf -o " + std::to_string(wild.size()) + ".tdf --tail");
        EXPECT_EQ(result.code, 3);
        EXPECT_NE(result.err.find(", too many for section "), std::string::npos) << result.err;
    }
    EXPECT_EQ(std::filesystem::file_size("16.tdf"), 4 + 13 + (128 << 20));
}

// A file is cut while the tool is in the midst of it.
TEST_F(ToolRecoverTest, SaysThatAFileBecameShorter) {
    std::string sections = "TDF2", damaged = "TDF2";
    for (unsigned n = 0; n < 5000; ++n) {
        sections += Section("one of many sections", 1, "data");
        if (n % 5 == 0) damaged += Section("section", n, "data") + "stray bytes, more than a header";
    }
    const std::string data = "TDF2" + Section("d", 1, std::string(1 << 20, 'x'));
    const std::string shorter = "in.tdf: became shorter while it was being read\n";
    // clang-format off
    const std::tuple<const char*, int, const std::string&, std::size_t, int, std::string> rows[] = {
        {"list in.tdf", 1, sections, 100000, 4, shorter}, {"list in.tdf", 1, sections, 4 + 36 * 2500, 4, shorter},
        {"list in.tdf --json", 1, sections, 0, 4, shorter}, {"verify in.tdf", 2, sections, 4, 4, shorter},
        {"recover in.tdf --dry-run", 1, sections, 0, 4, shorter}, {"recover in.tdf --dry-run", 1, damaged, 50000, 4, shorter},
        {"dump in.tdf --index 0 --format raw", 1, data, 500017, 3, "in.tdf: 548576 of 1048576 bytes are missing: the data ends before byte 500000\n"},
        {"dump in.tdf --index 0", 1, data, 0, 3, "bytes are missing: the data ends before byte "},
        // What is saved is saved, but is not reported as the whole.
        {"recover in.tdf -o out.tdf", 1, sections, 0, 4, shorter},
        {"recover in.tdf -o out.tdf", 1, sections, sections.size() + 40, 3, "in.tdf: was changed while it was being read\n"}};
    // clang-format on
    for (const auto& [arguments, stream, file, size, code, reason] : rows) {
        m_folder.Write("in.tdf", file);
        const test::Result result =
            WhileItWrites(arguments, stream, [&, end = size] { std::filesystem::resize_file("in.tdf", end); });
        EXPECT_EQ(result.code, code) << arguments << size;
        EXPECT_NE((result.err + (stream == 2 ? result.out : "")).find(reason), std::string::npos)
            << arguments << size << result.err;
        EXPECT_EQ(result.err.find("18446744"), std::string::npos) << result.err;
        EXPECT_TRUE(size != 500017 || result.out.size() == 500000);
        EXPECT_TRUE(result.out.substr(0, 1) != "{" || nlohmann::json::accept(result.out));
        const bool isSaved = std::filesystem::exists("out.tdf");
        EXPECT_EQ(isSaved, std::string(arguments).find("-o") != std::string::npos) << arguments;
        EXPECT_TRUE(!isSaved || ReadAll("out.tdf") == sections) << size;
        std::filesystem::remove("out.tdf");
    }
}

}  // namespace
