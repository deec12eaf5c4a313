// The TDF operations, through the built library.
#include "tdf/TDFHandler.h"

#include "support/Files.h"

namespace {

using test::ErrorOf;
using test::Section;
using test::Trace;

constexpr const char* kName = "BinTraceData";
const std::string kNoSection = "BinTraceData section cannot be located in the file.";

class TDFHandlerTest : public testing::Test {
protected:
    ~TDFHandlerTest() override { EXPECT_EQ(test::OpenDescriptors(), m_descriptors) << "a descriptor was left open"; }

    // Each returns the text of the error thrown.
    std::string Position(const char* path, const char* name = kName) {
        return ErrorOf([&] { m_tdf.GetSectionDataPosition(path, name, 1, m_position, m_length); });
    }
    std::string Length(const char* path) {
        return ErrorOf([&] { m_tdf.GetSectionDataLengthInBytes(path, kName, 1, m_length); });
    }
    std::string Load(const char* path, void* buffer, unsigned size) {
        return ErrorOf([&] { m_tdf.LoadSectionData(path, kName, 1, buffer, size, m_read); });
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
    const std::string noLength = "Section size cannot be located in the file.";
    // clang-format off
    const std::tuple<const char*, bool, bool, unsigned, std::string, std::string, std::string> rows[] = {
        // path, is available, is TDF, size, then errors: of the position and loading, the length, loading into no buffer
        {nullptr, false, false, 0, noFile, noLengthFile, noFile},
        {"", false, false, 0, noFile, noLengthFile, noFile},
        {"gone.tdf", false, false, 0, noFile, noLengthFile, noFile},
        {"dir.tdf", false, false, 0, noFile, noLengthFile, noFile},
        {"secret.tdf", false, false, 0, noFile, noLengthFile, noFile},
        {"fifo.tdf", true, false, 0, noFormat, noFormat, noBuffer},
        {"short.tdf", true, false, 3, noFormat, noFormat, noBuffer},
        {"other.tdf", true, false, 8, noFormat, noFormat, noBuffer},
        {"empty.TDF", true, true, 4, kNoSection, noLength, noBuffer},
        {"t.bin", true, false, 31, noExtension, "", noExtension}};
    // clang-format on
    const test::Unprivileged user;
    for (const auto& [path, isAvailable, isTDF, fileSize, error, lengthError, noBufferError] : rows) {
        char room[8];
        m_length = m_read = 222;
        EXPECT_EQ(m_tdf.IsFileAvailable(path), isAvailable) << path;
        EXPECT_EQ(m_tdf.ISTDF(path), isTDF) << path;
        EXPECT_EQ(FileSize(path), fileSize) << path;
        // A length is found in a file of any name, and only the search for a position clears it.
        EXPECT_EQ(Position(path), error) << path;
        EXPECT_EQ(m_position, 111U) << path;
        EXPECT_EQ(m_length, error == kNoSection ? 0U : 222U) << path;
        m_length = 222;
        EXPECT_EQ(Length(path), lengthError) << path;
        EXPECT_EQ(m_length, lengthError.empty() ? 3U : 0U) << path;
        EXPECT_EQ(Load(path, nullptr, 8), noBufferError) << path;
        EXPECT_EQ(Load(path, room, 0), noBufferError) << path;
        EXPECT_EQ(Load(path, room, 8), error) << path;
        EXPECT_EQ(m_read, 0U) << path;
    }
    // No name is not the empty name, and no stream leaves the length unchanged.
    EXPECT_EQ(Position("nameless.tdf", nullptr), " section cannot be located in the file.");
    EXPECT_EQ(Position("nameless.tdf", ""), "");
    EXPECT_FALSE(m_tdf.SeekSectionData(nullptr, kName, 1, m_read = 333));
    EXPECT_EQ(m_read, 333U);
    // A stream that stands at 0, and one whose descriptor is 0.
    FILE* bare = std::fopen("bare", "rb");
    EXPECT_TRUE(m_tdf.SeekSectionData(bare, kName, 1, m_read));
    EXPECT_EQ(m_read, 1U);
    EXPECT_EQ(std::fclose(bare), 0U);
    const int input = dup(0);
    close(0);
    EXPECT_TRUE(m_tdf.ISTDF("empty.TDF"));
    dup2(input, 0);
    close(input);
    FILE* pipe = popen("true", "r");
    EXPECT_FALSE(m_tdf.SeekSectionData(pipe, kName, 1, m_read));
    EXPECT_EQ(m_read, 0U);
    EXPECT_EQ(pclose(pipe), 0U);
}

TEST_F(TDFHandlerTest, LoadsWhatTheBufferHolds) {
    // The fuzz target has a model of sizes, and of sections that are cut.
    m_folder.Write("t.tdf", "TDF2" + Trace("0123456789"));
    std::string buffer(9, '~');
    EXPECT_EQ(Load("t.tdf", buffer.data(), 7), "");
    EXPECT_EQ(m_read, 7U);
    EXPECT_EQ(buffer, "0123456~~");
}

TEST_F(TDFHandlerTest, TakesFilesUpToTheFormatsEnd) {
    // A section that ends around where 31 and 32 bits end, and one that begins there.
    for (const std::uint64_t size : test::kLargeSizes) {
        for (const std::uint64_t end : {size - 13, size}) {
            const std::uint64_t at = test::WriteLarge("big.tdf", end, Section("x", 1, ""));
            const std::string found = Position("big.tdf");
            const bool isAddressable = end < 1UL << 32;
            EXPECT_EQ(found, isAddressable ? "" : kNoSection) << end;
            if (isAddressable) {
                EXPECT_EQ(m_position, at + 24);
                EXPECT_EQ(std::uint64_t{m_position} + m_length, end);
            }
            EXPECT_EQ(Position("big.tdf", "x").empty(), end + 13 < 1UL << 32) << end;
            EXPECT_EQ(FileSize("big.tdf"), static_cast<unsigned>(end + 13)) << end;
        }
    }
}

}  // namespace
