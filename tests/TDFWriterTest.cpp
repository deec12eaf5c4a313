// Writing TDF files and saving traces into them, through the built library.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <functional>

#include "corva/cCorvaError.h"
#include "driver/CChannelDriver.h"
#include "support/Files.h"
#include "tdf/TDFHandler.h"

namespace {

using Orm::Lux::Trace::CChannelDriver;
using Orm::Lux::Trace::TDFHandler;
using test::Section;
using test::Tdf;

constexpr const char* kName = "BinTraceData";
constexpr const char* kBadFile = "File name passed to save file is not valid.";
constexpr const char* kBadOffset = "Section header offset to save data is not valid.";
constexpr const char* kFollowed = "Section to save data to is followed by another section.";
constexpr const char* kTooLarge = "TDF file would exceed 4 GiB.";

std::string ErrorOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const Orm::Lux::Corva::cCorvaError& error) {
        EXPECT_EQ(error.GetSeverity(), 2);
        return error.what();
    }
    return "";
}

class TDFWriterTest : public testing::Test {
protected:
    ~TDFWriterTest() override { EXPECT_EQ(test::OpenDescriptors(), m_descriptors) << "a descriptor was left open"; }

    std::string Create(const std::string& path) {
        return ErrorOf([&] { m_tdf.CreateTDFFile(path.c_str()); });
    }
    std::string Header(const std::string& path, const char* name, unsigned version = 1) {
        m_offset = 99;
        return ErrorOf([&] { m_tdf.SaveSectionHeader(path.c_str(), name, version, m_offset); });
    }
    std::string Data(const std::string& path, unsigned offset, std::string data, unsigned size = 1, int count = -1) {
        m_length = 99;
        const unsigned elements = count < 0 ? static_cast<unsigned>(data.size() / size) : static_cast<unsigned>(count);
        return ErrorOf(
            [&] { m_tdf.SaveSectionData(path.c_str(), "any", offset, data.data(), size, elements, m_length); });
    }

    int m_descriptors = test::OpenDescriptors();
    test::TemporaryFolder m_folder;
    std::string m_path = m_folder.Write("t.tdf", "TDF2");
    TDFHandler m_tdf;
    unsigned int m_offset = 99;
    unsigned int m_length = 99;
};

TEST_F(TDFWriterTest, WritesWhatReadersFind) {
    m_folder.Write("t.tdf", "something longer than that");
    EXPECT_EQ(Create(m_path), "");
    EXPECT_EQ(test::ReadAll(m_path), "TDF2") << "an existing file is emptied";
    EXPECT_EQ(Header(m_path, kName), "");
    EXPECT_EQ(m_offset, 4U);
    EXPECT_EQ(test::ReadAll(m_path), Tdf(Section(kName, 1, "")));
    EXPECT_EQ(Data(m_path, 4, "abc"), "");
    EXPECT_EQ(m_length, 27U);
    EXPECT_EQ(Data(m_path, 4, "defgh"), "");
    EXPECT_EQ(m_length, 32U);
    EXPECT_EQ(Data(m_path, 4, "", 1, 0) + Data(m_path, 4, "", 0, 0), "");
    EXPECT_EQ(m_length, 32U);
    EXPECT_EQ(Header(m_path, nullptr, 7), "");
    EXPECT_EQ(m_offset, 36U);
    EXPECT_EQ(Data(m_path, 36, "12345678", 4), "");
    EXPECT_EQ(Header(m_path, "", 8), "");
    EXPECT_EQ(Data(m_path, m_offset, "x"), "");
    EXPECT_EQ(test::ReadAll(m_path),
              Tdf(Section(kName, 1, "abcdefgh") + Section("", 7, "12345678") + Section("", 8, "x")));
    std::FILE* stream = std::fopen(m_path.c_str(), "wb");
    EXPECT_TRUE(m_tdf.SaveNameVersion(stream, "ab", 3) && m_tdf.SaveNameVersion(stream, nullptr, 4));
    std::fclose(stream);
    EXPECT_EQ(test::ReadAll(m_path), test::Le32(3) + test::Le32(2) + "ab" + test::Le32(4) + test::Le32(0));
    stream = std::fopen(m_path.c_str(), "rb");
    EXPECT_FALSE(m_tdf.SaveNameVersion(stream, "ab", 3) || m_tdf.SaveNameVersion(nullptr, "ab", 3));
    std::fclose(stream);
}

TEST_F(TDFWriterTest, RefusesWithoutTouchingTheFile) {
    const std::string whole = Tdf(Section("a", 1, "123") + Section("b", 1, "456"));
    m_folder.Write("t.tdf", whole);
    std::filesystem::create_directory(m_folder / "dir.tdf");
    ASSERT_EQ(mkfifo((m_folder / "fifo.tdf").c_str(), 0600), 0);
    const std::string readOnly = m_folder.Write("ro.tdf", "TDF2");
    chmod(readOnly.c_str(), 0444);
    EXPECT_EQ(ErrorOf([&] { m_tdf.CreateTDFFile(nullptr); }), "Null file name to create TDF.");
    EXPECT_EQ(Create(m_folder / "a.bin"), "TDF file extension must be .tdf.");
    EXPECT_FALSE(std::filesystem::exists(m_folder / "a.bin"));
    for (const std::string& path : {m_folder / "dir.tdf", m_folder / "no/a.tdf", m_folder / "fifo.tdf"}) {
        EXPECT_EQ(Create(path), "Could not create TDF file as specified.") << path;
    }
    for (const std::string& path : {std::string(), m_folder / "gone.tdf", m_folder / "dir.tdf"}) {
        EXPECT_EQ(Header(path, "x"), kBadFile) << path;
        EXPECT_EQ(m_offset, 0U);
        EXPECT_EQ(Data(path, 0, "x"), kBadFile) << path;
        EXPECT_EQ(m_length, 0U);
    }
    EXPECT_FALSE(std::filesystem::exists(m_folder / "gone.tdf"));
    EXPECT_EQ(Header(m_folder / "fifo.tdf", "x"), "Write error -  TDF section header size.");
    EXPECT_EQ(Data(m_folder / "fifo.tdf", 4, "x"), "Write I/O error - unable to determine section length.");
    {
        const test::Unprivileged user;
        EXPECT_EQ(Header(readOnly, "x"), "Could not open TDF file as specified.");
        EXPECT_EQ(Data(readOnly, 4, "x"), "Could not open TDF file as specified.");
    }
    for (const unsigned offset : {0U, 3U, 5U, 10U}) EXPECT_EQ(Data(m_path, offset, "x"), kBadOffset) << offset;
    EXPECT_EQ(ErrorOf([&] { m_tdf.SaveSectionData(m_path.c_str(), "a", 4, nullptr, 1, 1, m_length); }),
              "No data to write TDF.");
    EXPECT_EQ(Data(m_path, 1000, "x"), "Write I/O error - unable to determine section length.");
    EXPECT_EQ(Data(m_path, 4, "x"), kFollowed);
    EXPECT_EQ(Data(m_path, 20, "xx", 0, 2), "Write I/O error - unable to write section data.");
    EXPECT_EQ(m_length, 0U);
    EXPECT_EQ(test::ReadAll(m_path), whole);
}

// What stands behind a section's recorded end: a section is never written over, what a failed append left there is.
TEST_F(TDFWriterTest, TellsASuccessorFromLeftovers) {
    const struct {
        const char* label;
        std::string behind;
        bool followed;
    } rows[] = {{"part of an append", "leftover bytes of an append", false},
                {"a header without its length", Section("b", 1, "", 0), false},
                {"a cut header", Section("b", 1, "x").substr(0, 12), false},
                {"zeros", std::string(64, '\0'), false},
                {"small samples", test::Sample(0x1000) + test::Sample(0x1001) + test::Sample(0x1002), false},
                {"a length beyond everything", Section("b", 1, "", 0xFFFFFFFFU), false},
                {"a section", Section("b", 1, "x"), true},
                {"a section that is cut", Section("b", 1, "x", 5000), true},
                {"a name beyond readers", Section(std::string(5000, 'n'), 1, ""), true}};
    for (const auto& row : rows) {
        const std::string before = Tdf(Section("a", 1, "123"));
        m_folder.Write("t.tdf", before + row.behind);
        EXPECT_EQ(Data(m_path, 4, "4567"), row.followed ? kFollowed : "") << row.label;
        const std::string expected = row.followed ? before + row.behind : Tdf(Section("a", 1, "1234567"));
        EXPECT_EQ(test::ReadAll(m_path).substr(0, expected.size()), expected) << row.label;
    }
    // A successor longer than readers follow.
    const std::string path =
        m_folder.WriteSparse("big.tdf", Tdf(Section("a", 1, "123") + Section("b", 1, "", 200U << 20)), 300U << 20);
    EXPECT_EQ(Data(path, 4, "x"), kFollowed);
}

TEST_F(TDFWriterTest, StaysWithinFourGiB) {
    for (const std::uint64_t size :
         {0xFFFFFFFFULL - 13, 0xFFFFFFFFULL - 12, 0xFFFFFFFFULL, 0x100000000ULL, 0x100000001ULL, 0x180000000ULL}) {
        const std::string path = m_folder.WriteSparse("big.tdf", "TDF2", size);
        EXPECT_EQ(Header(path, "a"), size + 13 > 0xFFFFFFFFU ? kTooLarge : "") << size;
        EXPECT_EQ(std::filesystem::file_size(path), size + 13 > 0xFFFFFFFFU ? size : size + 13);
    }
    const std::string path = m_folder.WriteSparse("full.tdf", "TDF2" + test::Le32(0xFFFFFFFFU - 6), 0xFFFFFFFFULL - 2);
    EXPECT_EQ(Data(path, 4, "123"), kTooLarge);
    EXPECT_EQ(Data(path, 4, "12", 0xFFFFFFFFU, 2), kTooLarge);
    EXPECT_EQ(Data(path, 4, "12"), "");
    EXPECT_EQ(m_length, 0xFFFFFFFBU);
}

// A full disk, at every byte: the error of the table, the sections before it untouched, and trying again works.
TEST_F(TDFWriterTest, ReportsAFullDiskAtEveryByte) {
    signal(SIGXFSZ, SIG_IGN);
    rlimit unlimited{};
    getrlimit(RLIMIT_FSIZE, &unlimited);
    const auto limited = [&](std::size_t size, const std::function<std::string()>& call) {
        const rlimit full{size, unlimited.rlim_max};
        setrlimit(RLIMIT_FSIZE, &full);
        const std::string error = call();
        setrlimit(RLIMIT_FSIZE, &unlimited);
        return error;
    };
    const std::string before = Tdf(Section("first", 1, "0123456789"));
    for (std::size_t room = 0; room < 4; ++room) {
        EXPECT_EQ(limited(room, [&] { return Create(m_path); }), "Write error -  TDF file identifier.") << room;
    }
    for (std::size_t room = 0; room < 12 + 5; ++room) {
        m_folder.Write("t.tdf", before);
        EXPECT_EQ(limited(before.size() + room, [&] { return Header(m_path, "again"); }),
                  room < 4 ? "Write error -  TDF section header size." : "Write error -  TDF section name and version.")
            << room;
        EXPECT_EQ(m_offset, before.size());
        EXPECT_EQ(test::ReadAll(m_path).substr(0, before.size()), before);
    }
    m_folder.Write("t.tdf", before);
    ASSERT_EQ(Header(m_path, "again"), "");
    const std::size_t begun = std::filesystem::file_size(m_path);
    for (std::size_t room = 0; room < 20; ++room) {
        EXPECT_EQ(limited(begun + room, [&] { return Data(m_path, m_offset, std::string(20, 'x')); }),
                  "Write I/O error - unable to write section data.");
        EXPECT_EQ(test::ReadAll(m_path).substr(0, begun), before + Section("again", 1, "")) << room;
    }
    EXPECT_EQ(Data(m_path, m_offset, std::string(20, 'y')), "");
    EXPECT_EQ(test::ReadAll(m_path), before + Section("again", 1, std::string(20, 'y')));
    // The section's length field lies within the limit, so only a device shows its failure.
    EXPECT_EQ(Header("/dev/full", "x"), "Write error -  TDF section header size.");
}

class SaveFileTest : public TDFWriterTest {
protected:
    SaveFileTest() { m_descriptors = test::OpenDescriptors(); }  // the first driver opens the log
    std::string Load(const std::string& path) {
        return ErrorOf([&] { m_driver->LoadFile(path, 0, Orm::Lux::Trace::eTraceDataFileType{}); });
    }
    std::string Save(const std::string& path, int type = 0) {
        return ErrorOf([&] { m_driver->SaveFile(path, static_cast<Orm::Lux::Trace::eTraceDataFileType>(type)); });
    }
    std::string LoadAndSave(const std::string& source, const std::string& target) {
        const std::string error = Load(source);
        return error + Save(target);
    }
    ~SaveFileTest() override { m_driver.reset(); }

    std::unique_ptr<CChannelDriver, void (*)(CChannelDriver*)> m_driver{CreateChannelDriver(), &DestroyChannelDriver};
};

TEST_F(SaveFileTest, CopiesWhatIsLoaded) {
    for (const std::size_t size : {0U, 1U, 7U, 8U, 9U, 131071U, 131072U, 131073U, 300000U}) {
        std::string data(size, '\0');
        for (std::size_t n = 0; n < size; ++n) data[n] = static_cast<char>(n * 7 + n / 251);
        const std::string before = Tdf(Section("a", 1, "x"));
        const std::string plain = m_folder.Write("p.bin", data);
        const std::string tdf =
            m_folder.Write("s.tdf", Tdf(Section("b", 2, "..") + Section(kName, 1, data) + Section("c", 1, "behind")));
        for (const std::string& source : {plain, tdf}) {
            m_folder.Write("t.tdf", before);
            ASSERT_EQ(Load(source), "");
            unsigned long first = 0;
            unsigned int read = 0;
            m_driver->SeekReadTraceData(0, std::min(1U, m_driver->GetNumSamples()), &first, &read);
            EXPECT_EQ(Save(m_path), "") << source << size;
            EXPECT_TRUE(test::ReadAll(m_path) == before + Section(kName, 1, data)) << source << ' ' << size;
            unsigned long again = 1;
            m_driver->SeekReadTraceData(0, std::min(1U, m_driver->GetNumSamples()), &again, &read);
            EXPECT_TRUE(size < 8 || again == first) << "reading goes on undisturbed";
        }
    }
    // Into itself: the copy is of what was loaded, and ends.
    const std::string self = m_folder.Write("self.tdf", Tdf(Section(kName, 1, "12345678")));
    EXPECT_EQ(LoadAndSave(self, self), "");
    EXPECT_EQ(test::ReadAll(self), Tdf(Section(kName, 1, "12345678") + Section(kName, 1, "12345678")));
    // A section that the file's end cuts: the bytes that are there.
    m_folder.Write("t.tdf", "TDF2");
    EXPECT_EQ(LoadAndSave(m_folder.Write("cut.tdf", Tdf(Section(kName, 1, "12345", 1000))), m_path), "");
    EXPECT_EQ(test::ReadAll(m_path), Tdf(Section(kName, 1, "12345")));
}

TEST_F(SaveFileTest, RefusesBeforeItTouchesTheTarget) {
    const std::string readError = "Talvora file channel driver: File I/O error reading trace file.\n";
    EXPECT_EQ(Save("", 1), Save(m_path, 3));
    EXPECT_EQ(
        Save(m_path, 3),
        "Talvora file channel driver: Can't open trace data file.\nThe Talvora File Channel Driver should not be used "
        "to save Uncompressed trace files.");
    EXPECT_EQ(Save(""), "Talvora file channel driver: Empty file name.");
    EXPECT_EQ(Save(m_folder / "gone.tdf"), "") << "no TDF file: nothing is done";
    EXPECT_FALSE(std::filesystem::exists(m_folder / "gone.tdf"));
    EXPECT_EQ(Save(m_path), readError + strerror(EBADF));
    ASSERT_EQ(mkfifo((m_folder / "fifo").c_str(), 0600), 0);
    EXPECT_EQ(LoadAndSave(m_folder / "fifo", m_path), readError + strerror(ESPIPE));
    EXPECT_EQ(LoadAndSave(m_folder.WriteSparse("big", "", 134217705), m_path),
              "Talvora file channel driver: The trace makes a section of 134217729 bytes, more than the 134217728 "
              "bytes that readers find.");
    EXPECT_EQ(test::ReadAll(m_path), "TDF2");
    EXPECT_EQ(LoadAndSave("/proc/self/mem", m_path), "") << "a file of size 0";
    const std::string full = m_folder.Write("full.tdf", Tdf(Section("a", 1, "x")));
    chmod(full.c_str(), 0444);
    ASSERT_EQ(Load(m_folder.Write("p.bin", "12345678")), "");
    const test::Unprivileged user;
    EXPECT_EQ(Save(full), "Could not open TDF file as specified.") << "the writer's error as it was made";
}

TEST_F(SaveFileTest, SavesTheLongestSection) {
    ASSERT_EQ(Load(m_folder.WriteSparse("big", "", 134217704)), "");
    EXPECT_EQ(Save(m_path), "");
    ASSERT_EQ(Load(m_path), "");
    EXPECT_EQ(m_driver->GetNumSamples(), 16777213U);
}

}  // namespace
