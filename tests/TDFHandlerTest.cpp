// The TDF operations, through the built library.
#include "tdf/TDFHandler.h"

#include "corva/cCorvaError.h"
#include "support/Files.h"

namespace {

using test::Expect;
using test::Section;
using test::Trace;

constexpr const char* kName = "BinTraceData";
const std::string kOther = Section("other", 1, "..");  // 19 bytes
const std::string kNoSection = "BinTraceData section cannot be located in the file.";

class TDFHandlerTest : public testing::Test {
protected:
    ~TDFHandlerTest() override { EXPECT_EQ(test::OpenDescriptors(), m_descriptors) << "a descriptor was left open"; }

    // Each returns the text of the error thrown.
    template <class Call> std::string ErrorOf(Call call) { return test::ErrorOf<Orm::Lux::Corva::cCorvaError>(call); }
    std::string Position(const char* path, const char* name = kName, unsigned version = 1) {
        return ErrorOf([&] { m_tdf.GetSectionDataPosition(path, name, version, m_position, m_length); });
    }
    std::string Length(const char* path, const char* name = kName, unsigned version = 1) {
        return ErrorOf([&] { m_tdf.GetSectionDataLengthInBytes(path, name, version, m_length); });
    }
    std::string Load(const char* path, void* buffer, unsigned size, const char* name = kName, unsigned version = 1) {
        return ErrorOf([&] { m_tdf.LoadSectionData(path, name, version, buffer, size, m_read); });
    }

    long m_descriptors = test::OpenDescriptors();
    test::WorkingFolder m_folder;
    Orm::Lux::Trace::TDFHandler m_tdf;
    unsigned m_position = 111, m_length = 222, m_read = 333;
};

TEST_F(TDFHandlerTest, TellsExtensions) {
    // clang-format off
    const std::tuple<const char*, const char*, bool> rows[] = {
        {".tdf", "tdf", true}, {"tdf", "tdf", false}, {"a.TdF", "tdf", true}, {"atdf", "tdf", false}, {"", "tdf", false},
        {"a/b.z", "Z", true}, {"a.tdf.", "tdf", false}, {nullptr, "tdf", false}, {"a.", "", true}, {"a.@", "`", false},
        {"a.tdf", nullptr, false}, {"t.\xC4", "\xE4", false}};
    // clang-format on
    for (const auto& [path, extension, has] : rows) EXPECT_EQ(m_tdf.HasExtension(path, extension), has) << path;
}

// The checks come in one order: the name, the extension, the buffer, the content.
TEST_F(TDFHandlerTest, RefusesWhatItCannotRead) {
    std::filesystem::create_directory("dir.tdf");
    chmod(m_folder.Write("secret.tdf", "TDF2" + Trace("abc")).c_str(), 0);
    mkfifo("fifo.tdf", 0666);
    m_folder.Write("short.tdf", "TDF");
    m_folder.Write("other.tdf", "TDF3....");
    m_folder.Write("empty.TDF", "TDF2");
    m_folder.Write("t.bin", "TDF2" + Trace("abc"));
    const std::string noFile = "File name passed to load is not valid.", noFormat = "Invalid TDF format.";
    const std::string noLengthFile = "File name passed to load file is not valid.";
    const std::string noBuffer = "No buffer allocated to load section data.";
    const std::string noExtension = "TDF file extension must be .tdf.";
    // path; can be opened, is TDF, size; the errors of position and loading, of length, of loading into no buffer
    // clang-format off
    const std::tuple<const char*, const char*, std::string, std::string, std::string> rows[] = {
        {nullptr, "false, false, 0", noFile, noLengthFile, noFile}, {"", "false, false, 0", noFile, noLengthFile, noFile},
        {"gone.tdf", "false, false, 0", noFile, noLengthFile, noFile},
        {"dir.tdf", "false, false, 0", noFile, noLengthFile, noFile},
        {"secret.tdf", "false, false, 0", noFile, noLengthFile, noFile},
        {"fifo.tdf", "true, false, 0", noFormat, noFormat, noBuffer},
        {"short.tdf", "true, false, 3", noFormat, noFormat, noBuffer},
        {"other.tdf", "true, false, 8", noFormat, noFormat, noBuffer},
        {"empty.TDF", "true, true, 4", kNoSection, "Section size cannot be located in the file.", noBuffer},
        {"t.bin", "true, false, 31", noExtension, "", noExtension}};
    // clang-format on
    const test::Unprivileged user;
    for (const auto& [path, state, error, lengthError, noBufferError] : rows) {
        char room[8];
        m_length = m_read = 222;
        Expect({m_tdf.IsFileAvailable(path), m_tdf.ISTDF(path), FileSize(path)}, state, path);
        // A length is found in a file of any name, and cleared by the search for a position alone.
        Expect({Position(path), m_position, m_length}, error + (error == kNoSection ? ", 111, 0" : ", 111, 222"), path);
        m_length = 222;
        Expect({Length(path), m_length}, lengthError + (lengthError.empty() ? ", 3" : ", 0"), path);
        Expect({Load(path, nullptr, 8), Load(path, room, 0)}, noBufferError + ", " + noBufferError, path);
        Expect({Load(path, room, 8), m_read}, error + ", 0", path);
    }
    EXPECT_EQ(Position("empty.TDF", nullptr), " section cannot be located in the file.");
}

TEST_F(TDFHandlerTest, AgreesInEveryOperation) {
    // label, sections, name and version looked for, position (0: not found) and length
    const std::tuple<const char*, std::string, const char*, unsigned, unsigned, unsigned> rows[] = {
        {"first", Trace("\xAA\xBB\xCC"), kName, 1, 28, 3},
        {"behind others", kOther + kOther + Trace("abcdefgh"), kName, 1, 66, 8},
        {"without data", kOther + Trace(""), kName, 1, 47, 0},
        {"nameless", kOther + Section("", 7, "xy"), "", 7, 35, 2},
        {"first of two", Section("d", 1, "1") + Section("d", 1, "22"), "d", 1, 17, 1},
        {"cut data", Section("d", 1, "1234567", 99), "d", 1, 17, 86},
        {"other case", Section("bintracedata", 1, "x"), kName, 1, 0, 0},
        {"other version", Section(kName, 2, "x"), kName, 1, 0, 0},
        {"zero byte in name", Section(std::string("ab\0", 3), 1, "x"), "ab", 1, 0, 0},
        {"prefix of name", Section("abc", 1, "x"), "ab", 1, 0, 0},
        {"shorter than header", Section("d", 1, "", 12), "d", 1, 0, 0},
        {"no name", Section("", 1, "x"), nullptr, 1, 0, 0}};
    for (const auto& [label, sections, name, version, position, length] : rows) {
        m_folder.Write("t.tdf", "TDF2" + sections);
        std::FILE* stream = std::fopen("t.tdf", "rb");
        std::fseek(stream, 4, SEEK_SET);
        m_position = 0;
        const std::string found = position != 0 ? "true, " : "false, ", at = std::to_string(position) + ", ";
        const std::string size = std::to_string(length);
        Expect({Position("t.tdf", name, version).empty(), m_position, m_length}, found + at + size, label);
        Expect({Length("t.tdf", name, version).empty(), m_length}, found + size, label);
        Expect({m_tdf.SeekSectionData(stream, name, version, m_length), m_length}, found + size, label);
        EXPECT_TRUE(position == 0 || std::ftell(stream) == position) << label;
        std::fclose(stream);
        const std::string present = ("TDF2" + sections).substr(position).substr(0, length);
        for (const std::size_t room : {std::size_t{1}, std::size_t{3}, present.size() + 5}) {
            std::string buffer(room, '?');
            const std::string error = Load("t.tdf", buffer.data(), static_cast<unsigned>(room), name, version);
            const std::string expected = present.substr(0, room) + std::string(room, '?');
            Expect({error.empty(), m_read, buffer},
                   found + std::to_string(std::min(room, present.size())) + ", " + expected.substr(0, room), label);
        }
    }
    Expect({m_tdf.SeekSectionData(nullptr, kName, 1, m_read = 333), m_read}, "false, 333");
    FILE* pipe = popen("true", "r");
    Expect({m_tdf.SeekSectionData(pipe, kName, 1, m_read), m_read, pclose(pipe)}, "false, 0, 0");
}

// Every cut and every lying length of a file of three sections: found or not, nothing hangs, crashes or leaks.
TEST_F(TDFHandlerTest, SurvivesEveryCutAndEveryLyingLength) {
    const std::string good = "TDF2" + kOther + Trace("12345678") + kOther;
    for (std::size_t size = 0; size < good.size(); ++size) {
        m_folder.Write("cut.tdf", good.substr(0, size));
        EXPECT_EQ(Position("cut.tdf").empty(), size >= 4 + 19 + 24) << size << ": found once its header is whole";
    }
    for (const std::uint32_t length : {0U, 1U, 11U, 12U + 5 - 1, 1U << 27, (1U << 27) + 1, 1U << 31, 0xFFFFFFFFU}) {
        for (const std::size_t field : {4U, 12U, 23U, 31U}) {
            m_folder.Write("lie.tdf", std::string(good).replace(field, 4, test::Le(length, 4)));
            // The trace section is hidden unless its own length stays within the limit, or the name length of the
            // section before it within that section.
            const bool isFound = (field == 23 && length == 1U << 27) || (field == 12 && length <= 7);
            EXPECT_EQ(Position("lie.tdf").empty(), isFound) << field << ' ' << length;
        }
    }
}

TEST_F(TDFHandlerTest, TakesFilesUpToTheFormatsEnd) {
    // A chain of the longest sections up to the last position that 32 bits can name.
    std::filesystem::resize_file(m_folder.Write("big.tdf", "TDF2"), 0x100000001ULL);
    std::fstream file("big.tdf", std::ios::binary | std::ios::in | std::ios::out);
    std::uint64_t at = 4;
    const auto put = [&](const std::string& header) { file.seekp(static_cast<long>(at)) << header << std::flush; };
    for (; at + (1U << 27) + 24 <= 0xFFFFFFFFULL; at += 1U << 27) put(Section("filler", 1, "", 1U << 27));
    put(Section(kName, 1, "", 0xFFFFFFFFULL - at));
    Expect({Position("big.tdf"), m_position - at, m_position + m_length}, ", 24, 4294967295");
    EXPECT_EQ(FileSize("big.tdf"), 1U) << "the low 32 bits of 2^32 + 1";
    put(Section(kName, 1, "", 0x100000000ULL - at));
    EXPECT_EQ(Position("big.tdf"), kNoSection);
}

}  // namespace
