// The TDF operations, through the built library.
#include "tdf/TDFHandler.h"

#include "support/Files.h"

namespace {

using test::ErrorOf;
using test::Expect;
using test::Section;
using test::Trace;

constexpr const char* kName = "BinTraceData";
const std::string kNoSection = "BinTraceData section cannot be located in the file.";

class TDFHandlerTest : public testing::Test {
protected:
    ~TDFHandlerTest() override { EXPECT_EQ(test::OpenDescriptors(), m_descriptors) << "a descriptor was left open"; }

    // Each returns the text of the error thrown.
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
    EXPECT_TRUE(m_tdf.HasExtension("x.AZ", "az") && m_tdf.HasExtension("x.az", "AZ"));
    EXPECT_FALSE(m_tdf.HasExtension(&".tdf"[1], "tdf")) << "the dot is not the name's";
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
    m_folder.Write("nameless.tdf", "TDF2" + Section("", 1, "x"));
    m_folder.Write("bare", Section(kName, 1, "x"));
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
    // No name is not the empty name, and no stream leaves the length alone.
    Expect({Position("nameless.tdf", nullptr), Position("nameless.tdf", "")},
           " section cannot be located in the file., ");
    Expect({m_tdf.SeekSectionData(nullptr, kName, 1, m_read = 333), m_read}, "false, 333");
    // A stream that stands at 0, and one whose descriptor is 0.
    FILE* bare = std::fopen("bare", "rb");
    Expect({m_tdf.SeekSectionData(bare, kName, 1, m_read), m_read, std::fclose(bare)}, "true, 1, 0");
    const int input = dup(0);
    close(0);
    EXPECT_TRUE(m_tdf.ISTDF("empty.TDF"));
    dup2(input, 0);
    close(input);
    FILE* pipe = popen("true", "r");
    Expect({m_tdf.SeekSectionData(pipe, kName, 1, m_read), m_read, pclose(pipe)}, "false, 0, 0");
}

TEST_F(TDFHandlerTest, LoadsWhatTheBufferHolds) {
    const std::string data = "0123456789";
    m_folder.Write("t.tdf", "TDF2" + Section("a", 1, data) + Section(kName, 1, data) + Section("b", 1, data));
    m_folder.Write("cut.tdf", "TDF2" + Section(kName, 1, data).substr(0, 12 + std::string(kName).size() + 7));
    for (const auto& [path, size, expected] :
         {std::tuple("t.tdf", 1U, 1U), {"t.tdf", 9, 9}, {"t.tdf", 10, 10}, {"t.tdf", 40, 10}, {"cut.tdf", 40, 7}}) {
        std::string buffer(41, '~');
        Expect({Load(path, buffer.data(), size), m_read}, ", " + std::to_string(expected), path);
        EXPECT_EQ(buffer, data.substr(0, expected) + std::string(41 - expected, '~')) << path << ' ' << size;
    }
}

TEST_F(TDFHandlerTest, TakesFilesUpToTheFormatsEnd) {
    // A section that ends around where 31 and 32 bits end, and one that begins there.
    for (const std::uint64_t size : test::kLargeSizes) {
        for (const std::uint64_t end : {size - 13, size}) {
            const std::uint64_t at = test::WriteLarge("big.tdf", end, Section("x", 1, ""));
            const std::string found = Position("big.tdf");
            Expect({found, m_position - at, std::uint64_t{m_position} + m_length - end},
                   end < 1UL << 32
                       ? ", 24, 0"
                       : test::Show(kNoSection + ",", m_position - at) + ", " + test::Show(m_position - end),
                   end);
            Expect({Position("big.tdf", "x").empty(), FileSize("big.tdf") == static_cast<unsigned>(end + 13)},
                   end + 13 < 1UL << 32 ? "true, true" : "false, true", end);
        }
    }
}

}  // namespace
