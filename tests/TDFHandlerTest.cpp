// The TDF operations, through the built library.
#include "tdf/TDFHandler.h"

#include <gtest/gtest.h>

#include <functional>

#include "corva/cCorvaError.h"
#include "support/Files.h"

namespace {

using Orm::Lux::Corva::cCorvaError;
using Orm::Lux::Trace::TDFHandler;
using test::Section;
using test::Tdf;

constexpr const char* kName = "BinTraceData";

// Returns: the text of the error that call throws, "" when it throws none.
std::string ErrorOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const cCorvaError& error) {
        EXPECT_EQ(error.GetSeverity(), cCorvaError::Severity_Error);
        return error.what();
    }
    return "";
}

class TDFHandlerTest : public testing::Test {
protected:
    ~TDFHandlerTest() override { EXPECT_EQ(test::OpenDescriptors(), m_descriptors) << "a descriptor was left open"; }

    std::string PositionError(const char* path, const char* name = kName) {
        return ErrorOf([&] { m_tdf.GetSectionDataPosition(path, name, 1, m_position, m_length); });
    }
    std::string LengthError(const char* path, const char* name = kName) {
        return ErrorOf([&] { m_tdf.GetSectionDataLengthInBytes(path, name, 1, m_length); });
    }
    std::string LoadError(const char* path, void* buffer, unsigned int size) {
        return ErrorOf([&] { m_tdf.LoadSectionData(path, kName, 1, buffer, size, m_read); });
    }

    int m_descriptors = test::OpenDescriptors();
    test::TemporaryFolder m_folder;
    TDFHandler m_tdf;
    unsigned int m_position = 111;
    unsigned int m_length = 222;
    unsigned int m_read = 333;
};

TEST_F(TDFHandlerTest, TellsExtensions) {
    const struct {
        const char* path;
        const char* extension;
        bool has;
    } rows[] = {{".tdf", "tdf", true},
                {"tdf", "tdf", false},
                {"a.TdF", "tdf", true},
                {"atdf", "tdf", false},
                {"a.tdf.", "tdf", false},
                {"a/b.tdf", "TDF", true},
                {"", "tdf", false},
                {nullptr, "tdf", false},
                {"a.", "", true},
                {"a.tdf", nullptr, false},
                {"a.t\xC4"
                 "f",
                 "t\xE4"
                 "f",
                 false}};
    for (const auto& row : rows) EXPECT_EQ(m_tdf.HasExtension(row.path, row.extension), row.has) << row.path;
}

TEST_F(TDFHandlerTest, TellsTdfFiles) {
    EXPECT_TRUE(m_tdf.ISTDF(m_folder.Write("a.TDF", "TDF2").c_str()));
    EXPECT_FALSE(m_tdf.ISTDF(m_folder.Write("a.bin", "TDF2").c_str()));
    EXPECT_FALSE(m_tdf.ISTDF(m_folder.Write("short.tdf", "TDF").c_str()));
    EXPECT_FALSE(m_tdf.ISTDF(m_folder.Write("other.tdf", "TDF3....").c_str()));
    EXPECT_FALSE(m_tdf.ISTDF((m_folder / "missing.tdf").c_str()));
    EXPECT_FALSE(m_tdf.ISTDF(nullptr));
}

// What cannot be opened, in the order of the checks: the name goes before the extension and the buffer.
TEST_F(TDFHandlerTest, RefusesWhatIsNoFile) {
    std::filesystem::create_directory(m_folder / "dir.tdf");
    const std::string unreadable = m_folder.Write("secret.tdf", Tdf(Section(kName, 1, "x")));
    chmod(unreadable.c_str(), 0);
    const std::string paths[] = {m_folder / "missing", m_folder / "dir.tdf", unreadable, ""};
    const test::Unprivileged user;
    for (const std::string& path : paths) {
        const char* p = path.c_str();
        EXPECT_FALSE(m_tdf.IsFileAvailable(p)) << path;
        EXPECT_FALSE(m_tdf.ISTDF(p)) << path;
        EXPECT_EQ(FileSize(p), 0U) << path;
        EXPECT_EQ(PositionError(p), "File name passed to load is not valid.") << path;
        EXPECT_EQ(LengthError(p), "File name passed to load file is not valid.") << path;
        EXPECT_EQ(LoadError(p, nullptr, 0), "File name passed to load is not valid.") << path;
    }
    EXPECT_EQ(PositionError(nullptr), "File name passed to load is not valid.");
    EXPECT_EQ(LengthError(nullptr), "File name passed to load file is not valid.");
    EXPECT_FALSE(m_tdf.IsFileAvailable(nullptr));
    EXPECT_EQ(FileSize(nullptr), 0U);
    EXPECT_EQ(m_position, 111U) << "kept";
    EXPECT_EQ(m_length, 0U) << "cleared by the length query alone";
}

TEST_F(TDFHandlerTest, NeverWaitsForAFifo) {
    const std::string fifo = m_folder / "fifo.tdf";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_TRUE(m_tdf.IsFileAvailable(fifo.c_str()));
    EXPECT_FALSE(m_tdf.ISTDF(fifo.c_str()));
    EXPECT_EQ(FileSize(fifo.c_str()), 0U);
    EXPECT_EQ(PositionError(fifo.c_str()), "Invalid TDF format.");
}

TEST_F(TDFHandlerTest, ReportsEachFailureOfAReadableFile) {
    char buffer[8];
    const std::string noTdf = m_folder.Write("plain.tdf", "TDF");
    const std::string empty = m_folder.Write("empty.tdf", "TDF2");
    const std::string bin = m_folder.Write("t.bin", Tdf(Section(kName, 1, "abc")));
    EXPECT_EQ(PositionError(noTdf.c_str()), "Invalid TDF format.");
    EXPECT_EQ(m_length, 222U) << "kept by a failure before the search";
    EXPECT_EQ(LoadError(noTdf.c_str(), buffer, 8), "Invalid TDF format.");
    EXPECT_EQ(LengthError(noTdf.c_str()), "Invalid TDF format.");
    m_length = 222;
    EXPECT_EQ(PositionError(empty.c_str()), "BinTraceData section cannot be located in the file.");
    EXPECT_EQ(m_length, 0U) << "cleared by the search";
    EXPECT_EQ(LoadError(empty.c_str(), buffer, 8), "BinTraceData section cannot be located in the file.");
    EXPECT_EQ(LengthError(empty.c_str()), "Section size cannot be located in the file.");
    EXPECT_EQ(LoadError(empty.c_str(), nullptr, 8), "No buffer allocated to load section data.");
    EXPECT_EQ(LoadError(empty.c_str(), buffer, 0), "No buffer allocated to load section data.");
    EXPECT_EQ(PositionError(bin.c_str()), "TDF file extension must be .tdf.");
    EXPECT_EQ(LoadError(bin.c_str(), nullptr, 0), "TDF file extension must be .tdf.");
    EXPECT_EQ(LengthError(bin.c_str()), "");
    EXPECT_EQ(m_length, 3U) << "a length is found in a file of any name";
    EXPECT_EQ(PositionError(empty.c_str(), nullptr), " section cannot be located in the file.");
    EXPECT_EQ(m_read, 0U);
}

struct LookupRow {
    const char* label;
    std::string sections;
    const char* name;
    unsigned int version;
    bool found;
    unsigned int position;
    unsigned int length;
};
class TDFLookup : public TDFHandlerTest, public testing::WithParamInterface<LookupRow> {};

TEST_P(TDFLookup, AgreesInEveryOperation) {
    const LookupRow& row = GetParam();
    const std::string path = m_folder.Write("t.tdf", Tdf(row.sections));
    const auto position = [&] {
        m_tdf.GetSectionDataPosition(path.c_str(), row.name, row.version, m_position, m_length);
    };
    if (!row.found) {
        EXPECT_NE(ErrorOf(position), "");
        EXPECT_EQ(m_position, 111U);
        return;
    }
    position();
    EXPECT_EQ(m_position, row.position);
    EXPECT_EQ(m_length, row.length);
    m_length = 222;
    m_tdf.GetSectionDataLengthInBytes(path.c_str(), row.name, row.version, m_length);
    EXPECT_EQ(m_length, row.length);

    const std::string present = Tdf(row.sections).substr(row.position).substr(0, row.length);
    for (const std::size_t size : {std::size_t{1}, std::size_t{3}, present.size() + 5}) {
        std::string buffer(size, '?');
        m_tdf.LoadSectionData(path.c_str(), row.name, row.version, buffer.data(), static_cast<unsigned>(size), m_read);
        EXPECT_EQ(m_read, std::min(size, present.size()));
        EXPECT_EQ(buffer.substr(0, m_read), present.substr(0, m_read));
        EXPECT_EQ(buffer.substr(m_read), std::string(size - m_read, '?'));
    }

    std::FILE* stream = std::fopen(path.c_str(), "rb");
    std::fseek(stream, 4, SEEK_SET);
    EXPECT_TRUE(m_tdf.SeekSectionData(stream, row.name, row.version, m_length));
    EXPECT_EQ(m_length, row.length);
    EXPECT_EQ(std::ftell(stream), static_cast<long>(row.position));
    std::fclose(stream);
}

const std::string kOther = Section("other", 1, "..");  // 19 bytes
INSTANTIATE_TEST_SUITE_P(
    Files, TDFLookup,
    testing::Values(LookupRow{"first", Section(kName, 1, "\xAA\xBB\xCC"), kName, 1, true, 28, 3},
                    LookupRow{"behind_others", kOther + kOther + Section(kName, 1, "abcdefgh"), kName, 1, true, 66, 8},
                    LookupRow{"without_data", kOther + Section(kName, 1, ""), kName, 1, true, 47, 0},
                    LookupRow{"nameless", kOther + Section("", 7, "xy"), "", 7, true, 35, 2},
                    LookupRow{"first_of_two", Section("d", 1, "1") + Section("d", 1, "22"), "d", 1, true, 17, 1},
                    LookupRow{"cut_data", Section("d", 1, "1234567", 99), "d", 1, true, 17, 86},
                    LookupRow{"other_case", Section("bintracedata", 1, "x"), kName, 1, false, 0, 0},
                    LookupRow{"other_version", Section(kName, 2, "x"), kName, 1, false, 0, 0},
                    LookupRow{"zero_byte_in_name", Section(std::string("ab\0", 3), 1, "x"), "ab", 1, false, 0, 0},
                    LookupRow{"prefix_of_name", Section("abc", 1, "x"), "ab", 1, false, 0, 0},
                    LookupRow{"shorter_than_header", Section("d", 1, "", 12), "d", 1, false, 0, 0},
                    LookupRow{"no_name", Section("", 1, "x"), nullptr, 1, false, 0, 0}),
    [](const auto& row) { return std::string(row.param.label); });

// Every cut and every lying length of a file of three sections: found or not, nothing hangs, crashes or leaks.
TEST_F(TDFHandlerTest, SurvivesEveryCutAndEveryLyingLength) {
    const std::string good = Tdf(kOther + Section(kName, 1, "12345678") + kOther);
    for (std::size_t size = 0; size < good.size(); ++size) {
        const std::string path = m_folder.Write("cut.tdf", good.substr(0, size));
        // Found as soon as its header is whole.
        EXPECT_EQ(PositionError(path.c_str()) == "", size >= 4 + 19 + 24) << size;
    }
    for (const std::uint32_t length : {0U, 1U, 11U, 12U + 5 - 1, 1U << 27, (1U << 27) + 1, 1U << 31, 0xFFFFFFFFU}) {
        for (const std::size_t field : {std::size_t{4}, std::size_t{12}, std::size_t{23}, std::size_t{31}}) {
            std::string bad = good;
            bad.replace(field, 4, test::Le32(length));
            const std::string path = m_folder.Write("lie.tdf", bad);
            // The trace section is hidden unless its own length stays within the limit, or the name length of the
            // section before it within that section.
            EXPECT_EQ(PositionError(path.c_str()) == "",
                      (field == 23 && length == 1U << 27) || (field == 12 && length <= 7))
                << field << ' ' << length;
            EXPECT_EQ(test::ReadAll(path), bad);
        }
    }
}

TEST_F(TDFHandlerTest, TakesFilesUpToTheFormatsEnd) {
    // A chain of the longest sections up to the last position that 32 bits can name.
    const std::string path = m_folder.WriteSparse("big.tdf", "TDF2", 0x100000001ULL);
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    std::uint64_t at = 4;
    const auto put = [&](const std::string& header) {
        file.seekp(static_cast<std::streamoff>(at)).write(header.data(), static_cast<std::streamsize>(header.size()));
    };
    while (at + (1U << 27) + 24 <= 0xFFFFFFFFULL) {
        put(Section("filler", 1, "", 1U << 27));
        at += 1U << 27;
    }
    put(Section(kName, 1, "", static_cast<std::uint32_t>(0xFFFFFFFFULL - at)));
    file.flush();
    EXPECT_EQ(PositionError(path.c_str()), "");
    EXPECT_EQ(m_position, at + 24);
    EXPECT_EQ(m_position + m_length, 0xFFFFFFFFU);
    EXPECT_EQ(FileSize(path.c_str()), 1U) << "the low 32 bits of 2^32 + 1";
    put(Section(kName, 1, "", static_cast<std::uint32_t>(0x100000000ULL - at)));
    file.flush();
    EXPECT_EQ(PositionError(path.c_str()), "BinTraceData section cannot be located in the file.");
}

TEST_F(TDFHandlerTest, SeeksInTheCallersStreamAlone) {
    EXPECT_FALSE(m_tdf.SeekSectionData(nullptr, kName, 1, m_length));
    EXPECT_EQ(m_length, 222U);
    std::FILE* closed = std::fopen(m_folder.Write("w.tdf", "TDF2").c_str(), "wb");
    EXPECT_FALSE(m_tdf.SeekSectionData(closed, kName, 1, m_length)) << "a stream that cannot be read";
    EXPECT_EQ(m_length, 0U);
    std::fclose(closed);
}

}  // namespace
