// Writing TDF files and saving traces into them, through the built library.
#include <signal.h>
#include <sys/resource.h>

#include <cstring>
#include <memory>

#include "driver/CChannelDriver.h"
#include "support/Files.h"
#include "tdf/TDFHandler.h"

namespace {

using namespace Orm::Lux::Trace;
using test::ErrorOf;
using test::Le;
using test::ReadAll;
using test::Section;
using test::Trace;

constexpr const char* kBadFile = "File name passed to save file is not valid.";
constexpr const char* kBadOffset = "Section header offset to save data is not valid.";
constexpr const char* kCannotOpen = "Could not open TDF file as specified.";
constexpr const char* kDataError = "Write I/O error - unable to write section data.";
constexpr const char* kFollowed = "Section to save data to is followed by another section.";
constexpr const char* kHeaderError = "Write error -  TDF section header size.";
constexpr const char* kLengthError = "Write I/O error - unable to determine section length.";
constexpr const char* kTooLarge = "TDF file would exceed 4 GiB.";

// Returns: the text of the error of a call, made while the process has a limit.
template <class Resource, class Call> std::string ErrorWithin(Resource resource, std::size_t most, Call call) {
    rlimit before{};
    getrlimit(resource, &before);
    const rlimit limit{most, before.rlim_max};
    setrlimit(resource, &limit);
    const std::string error = call();
    setrlimit(resource, &before);
    return error;
}

class TDFWriterTest : public testing::Test {
protected:
    ~TDFWriterTest() override { EXPECT_EQ(test::OpenDescriptors(), m_descriptors) << "a descriptor was left open"; }

    // Each returns the text of the error thrown.
    std::string Create(const char* path) {
        return ErrorOf([&] { m_tdf.CreateTDFFile(path); });
    }
    std::string Header(const char* path, const char* name, unsigned version = 1) {
        m_offset = 99;
        return ErrorOf([&] { m_tdf.SaveSectionHeader(path, name, version, m_offset); });
    }
    std::string Data(const char* path, unsigned offset, std::string data, unsigned size = 1, int count = -1) {
        m_length = 99;
        const auto elements = static_cast<unsigned>(count < 0 ? data.size() / size : static_cast<std::size_t>(count));
        return ErrorOf([&] { m_tdf.SaveSectionData(path, "any", offset, data.data(), size, elements, m_length); });
    }
    void WriteSparse(const char* name, const std::string& bytes, std::uint64_t size) {
        std::filesystem::resize_file(m_folder.Write(name, bytes), size);
    }

    test::WorkingFolder m_folder;
    long m_descriptors = test::OpenDescriptors();
    TDFHandler m_tdf;
    unsigned m_offset = 99, m_length = 99;
};

TEST_F(TDFWriterTest, WritesWhatReadersFind) {
    m_folder.Write("t.tdf", "something longer that is emptied");
    EXPECT_EQ(Create("t.tdf"), "");
    EXPECT_EQ(ReadAll("t.tdf"), "TDF2");
    EXPECT_EQ(Header("t.tdf", "BinTraceData"), "");
    EXPECT_EQ(m_offset, 4U);
    EXPECT_EQ(ReadAll("t.tdf"), "TDF2" + Trace(""));
    EXPECT_EQ(std::filesystem::status("t.tdf").permissions(), std::filesystem::perms{0644});
    // The fuzz target has a model of what further calls write.
    EXPECT_EQ(Data("t.tdf", 4, "abc"), "");
    EXPECT_EQ(Data("t.tdf", 4, "12345678", 4), "");
    EXPECT_EQ(m_length, 24U + 11);
    EXPECT_EQ(Header("t.tdf", nullptr, 7), "");
    EXPECT_EQ(ReadAll("t.tdf"), "TDF2" + Trace("abc12345678") + Section("", 7, ""));

    std::FILE* stream = std::fopen("fields", "wb+");
    EXPECT_TRUE(m_tdf.SaveNameVersion(stream, "ab", 3) && m_tdf.SaveNameVersion(stream, nullptr, 4));
    std::fclose(stream);
    EXPECT_EQ(ReadAll("fields"), Le(3, 4) + Le(2, 4) + "ab" + Le(4, 4) + Le(0, 4));
    stream = std::fopen("fields", "rb");
    EXPECT_FALSE(m_tdf.SaveNameVersion(stream, "ab", 3) || m_tdf.SaveNameVersion(nullptr, "ab", 3));
    std::fclose(stream);
    char room[10];
    stream = fmemopen(room, sizeof room, "wb");
    std::setvbuf(stream, nullptr, _IONBF, 0);
    EXPECT_FALSE(m_tdf.SaveNameVersion(stream, "longer", 3));
    std::fclose(stream);
}

TEST_F(TDFWriterTest, RefusesWithoutTouchingTheFile) {
    const std::string whole = "TDF2" + Section("a", 1, "123") + Section("b", 1, "456");
    m_folder.Write("t.tdf", whole);
    std::filesystem::create_directory("dir.tdf");
    mkfifo("fifo.tdf", 0600);
    chmod(m_folder.Write("ro.tdf", "TDF2" + Section("a", 1, "")).c_str(), 0444);
    EXPECT_EQ(Create(nullptr), "Null file name to create TDF.");
    EXPECT_EQ(Create("a.bin"), "TDF file extension must be .tdf.");
    EXPECT_FALSE(std::filesystem::exists("a.bin"));
    for (const char* path : {"dir.tdf", "no/a.tdf", "fifo.tdf"}) {
        EXPECT_EQ(Create(path), "Could not create TDF file as specified.") << path;
    }
    for (const char* path : {static_cast<const char*>(nullptr), "", "gone.tdf", "dir.tdf"}) {
        const std::string row = path != nullptr ? path : "null";
        EXPECT_EQ(Header(path, "x"), kBadFile) << row;
        EXPECT_EQ(Data(path, 0, "x"), kBadFile) << row;
        EXPECT_EQ(m_offset, 0U) << row;
        EXPECT_EQ(m_length, 0U) << row;
    }
    EXPECT_FALSE(std::filesystem::exists("gone.tdf"));
    EXPECT_EQ(Header("fifo.tdf", "x"), kHeaderError);
    EXPECT_EQ(Data("fifo.tdf", 4, "x"), kLengthError);
    {
        const test::Unprivileged user;
        EXPECT_EQ(Header("ro.tdf", "x"), kCannotOpen);
        EXPECT_EQ(Data("ro.tdf", 4, "x"), kCannotOpen);
    }
    for (const unsigned offset : {0U, 3U, 5U, 10U}) EXPECT_EQ(Data("t.tdf", offset, "x"), kBadOffset) << offset;
    const auto nothing = [&] { m_tdf.SaveSectionData("t.tdf", "a", 4, nullptr, 1, 1, m_length); };
    EXPECT_EQ(ErrorOf(nothing), "No data to write TDF.");
    EXPECT_EQ(Data("t.tdf", 1000, "x"), kLengthError);
    EXPECT_EQ(Data("t.tdf", 4, "x"), kFollowed);
    EXPECT_EQ(Data("t.tdf", 20, "xx", 0, 2), kDataError);
    EXPECT_EQ(m_length, 0U);
    EXPECT_EQ(ReadAll("t.tdf"), whole);
}

// Data that looks like a header, at an offset where no section begins: nothing is written over.
TEST_F(TDFWriterTest, TakesNoDataForASection) {
    std::string data;
    for (unsigned n = 0; n < 100; ++n) data += Le(n == 0 ? 16 : n == 10 ? 8 * 90 : n % 3, 8);
    const std::string last = "TDF2" + Section("a", 1, data), more = last + Section("b", 1, "x"),
                      broken = "TDF2" + Section("longer", 1, "data", 12);
    const std::tuple<std::string, unsigned, std::string> rows[] = {{more, 17, kBadOffset},
                                                                   {last, 17, kBadOffset},
                                                                   {last, 17 + 80, kBadOffset},
                                                                   {broken, 4, kBadOffset},
                                                                   {more, 4, kFollowed},
                                                                   {last + "rest", 17, kBadOffset},
                                                                   {more.substr(0, more.size() - 1), 17, kBadOffset}};
    for (const auto& [file, offset, error] : rows) {
        m_folder.Write("t.tdf", file);
        EXPECT_EQ(Data("t.tdf", offset, "abc"), error) << offset;
        EXPECT_TRUE(ReadAll("t.tdf") == file) << offset;
    }
}

// What follows a section's recorded end: a section is never overwritten, leftovers of a failed append are.
TEST_F(TDFWriterTest, TellsASuccessorFromLeftovers) {
    const std::tuple<const char*, std::string, bool> rows[] = {
        {"part of an append", "leftover bytes of an append", false},
        {"a header without its length", Section("b", 1, "", 0), true},
        {"a header whose name is not printable", Section("a\x1F", 1, "", 0), false},
        {"the same, after the printable letters", Section("a\x7F", 1, "", 0), false},
        {"a header whose name is cut", Section("bcd", 1, "", 0).substr(0, 14), false},
        {"a cut header", Section("b", 1, "x").substr(0, 12), false},
        {"zeros", std::string(64, '\0'), false},
        {"small samples", Le(0x1000, 8) + Le(0x1001, 8) + Le(0x1002, 8), false},
        {"a length beyond everything", Section("b", 1, "", 0xFFFFFFFF), true},
        {"a section", Section("b", 1, "x"), true},
        {"a section that is cut", Section("b", 1, "x", 5000), true},
        {"a name beyond readers", Section(std::string(5000, 'n'), 1, ""), true},
        {"a name that fits", Section(std::string(5000, 'n'), 1, "").substr(0, 5000), true},
        {"a name that does not", Section(std::string(5000, 'n'), 1, "").substr(0, 4999), false}};
    const std::string before = "TDF2" + Section("a", 1, "123");
    for (const auto& [label, after, followed] : rows) {
        m_folder.Write("t.tdf", before + after);
        EXPECT_EQ(Data("t.tdf", 4, "4567"), followed ? kFollowed : "") << label;
        const std::string expected = followed ? before + after : "TDF2" + Section("a", 1, "1234567");
        EXPECT_EQ(ReadAll("t.tdf"), expected) << label;
    }
    m_folder.Write("t.tdf", before + "leftovers");
    EXPECT_EQ(Data("t.tdf", 4, ""), "") << "nothing is appended";
    EXPECT_EQ(ReadAll("t.tdf"), before + "leftovers") << "nothing is appended";
    WriteSparse("big.tdf", before + Section("longer than readers follow", 1, "", 200U << 20), 300U << 20);
    EXPECT_EQ(Data("big.tdf", 4, "x"), kFollowed);
}

TEST_F(TDFWriterTest, StaysWithinFourGiB) {
    constexpr std::uint64_t kMax = 0xFFFFFFFF, kHeader = 13, kHalf = 1UL << 31;
    for (const std::uint64_t size :
         {kHalf - 1, kHalf, kHalf + 1, kMax - 14, kMax - 13, kMax - 12, kMax, kMax + 1, kMax + 2, kMax + kHalf}) {
        WriteSparse("t.tdf", "TDF2", size);
        const bool fits = size + kHeader <= kMax;
        EXPECT_EQ(Header("t.tdf", "a"), fits ? "" : kTooLarge) << size;
        EXPECT_EQ(std::filesystem::file_size("t.tdf"), fits ? size + kHeader : size);
        if (!fits) continue;
        EXPECT_EQ(m_offset, size);
        const bool hasRoom = size + kHeader < kMax;
        EXPECT_EQ(Data("t.tdf", m_offset, "1"), hasRoom ? "" : kTooLarge) << size;
        EXPECT_EQ(m_length, hasRoom ? 14U : 0U) << size;
    }
    for (const std::uint64_t end : {kHalf - 1, kHalf, kHalf + 3, kHalf + 4, kMax - 2}) {
        WriteSparse("full.tdf", "TDF2" + Le(end - 4, 4), end);
        EXPECT_EQ(Data("full.tdf", 4, "12", kMax, 2), kTooLarge) << end;
        EXPECT_EQ(Data("full.tdf", 4, "12"), "") << end;
        EXPECT_EQ(m_length, end - 2) << end;
    }
    EXPECT_EQ(Data("full.tdf", 4, "1"), kTooLarge);
    EXPECT_EQ(m_length, 0U);
}

// A full disk, at every byte: the error of its place, the sections before it untouched, and trying again works.
TEST_F(TDFWriterTest, ReportsAFullDiskAtEveryByte) {
    signal(SIGXFSZ, SIG_IGN);
    const auto limited = [](std::size_t size, auto call) { return ErrorWithin(RLIMIT_FSIZE, size, call); };
    const std::string before = "TDF2" + Section("first", 1, "0123456789"), begun = before + Section("again", 1, "");
    for (std::size_t room = 0; room < 4; ++room) {
        EXPECT_EQ(limited(room, [&] { return Create("t.tdf"); }), "Write error -  TDF file identifier.") << room;
    }
    for (std::size_t room = 0; room < 12 + 5; ++room) {
        m_folder.Write("t.tdf", before);
        const std::string error = limited(before.size() + room, [&] { return Header("t.tdf", "again"); });
        EXPECT_EQ(error, room < 4 ? kHeaderError : "Write error -  TDF section name and version.") << room;
        EXPECT_EQ(m_offset, 31U) << room;
        const std::string left = ReadAll("t.tdf");
        EXPECT_EQ(left, before + Section("again", 1, "", 0).substr(0, left.size() - before.size())) << room;
    }
    m_folder.Write("t.tdf", begun);
    for (std::size_t room = 0; room < 20; ++room) {
        EXPECT_EQ(limited(begun.size() + room, [&] { return Data("t.tdf", 31, std::string(20, 'x')); }), kDataError)
            << room;
        EXPECT_EQ(ReadAll("t.tdf").substr(0, begun.size()), begun) << room;
    }
    EXPECT_EQ(Data("t.tdf", 31, std::string(20, 'y')), "");
    EXPECT_EQ(ReadAll("t.tdf"), before + Section("again", 1, std::string(20, 'y')));
}

class SaveFileTest : public TDFWriterTest {
protected:
    SaveFileTest() { m_descriptors = test::OpenDescriptors(); }  // the first driver opens the log
    ~SaveFileTest() override { m_driver.reset(); }

    // Each returns the text of the error thrown.
    std::string Save(const std::string& path, int type = 0) {
        return ErrorOf([&] { m_driver->SaveFile(path, static_cast<eTraceDataFileType>(type)); });
    }
    std::string LoadAndSave(const std::string& source, const std::string& target) {
        const std::string error = ErrorOf([&] { m_driver->LoadFile(source, 0, eTraceDataFileType{}); });
        return error + Save(target);
    }
    unsigned long Sample(unsigned n) {
        unsigned long sample = 0;
        if (n < m_driver->GetNumSamples()) m_driver->SeekReadTraceData(n, 1, &sample, nullptr);
        return sample;
    }

    std::unique_ptr<CChannelDriver, void (*)(CChannelDriver*)> m_driver{CreateChannelDriver(), &DestroyChannelDriver};
};

TEST_F(SaveFileTest, CopiesWhatIsLoaded) {
    const std::string before = "TDF2" + Section("a", 1, "x");
    for (const std::size_t size : {0U, 1U, 7U, 8U, 9U, 131071U, 131072U, 131073U, 300000U}) {
        std::string data(size, '\0');
        for (std::size_t n = 0; n < size; ++n) data[n] = static_cast<char>(n * 7 + n / 251);
        m_folder.Write("p.bin", data);
        m_folder.Write("s.tdf", "TDF2" + Section("b", 2, "..") + Trace(data) + Section("c", 1, "after"));
        for (const char* source : {"p.bin", "s.tdf"}) {
            m_folder.Write("t.tdf", before);
            EXPECT_EQ(LoadAndSave(source, "t.tdf"), "") << source << size;
            EXPECT_TRUE(ReadAll("t.tdf") == before + Trace(data)) << source << ' ' << size;
            EXPECT_TRUE(size < 16 || Le(Sample(1), 8) == data.substr(8, 8)) << "reading goes on undisturbed";
        }
    }
    // Into itself: the copy is of what was loaded, and ends. Of a section that the file's end cuts: what is there.
    EXPECT_EQ(LoadAndSave(m_folder.Write("self.tdf", "TDF2" + Trace("12345678")), "self.tdf"), "");
    EXPECT_EQ(ReadAll("self.tdf"), "TDF2" + Trace("12345678") + Trace("12345678"));
    m_folder.Write("t.tdf", "TDF2");
    m_folder.Write("cut.tdf", "TDF2" + Section("BinTraceData", 1, "12345", 1000));
    EXPECT_EQ(LoadAndSave("cut.tdf", "t.tdf"), "");
    EXPECT_EQ(ReadAll("t.tdf"), "TDF2" + Trace("12345"));
    // The longest section.
    WriteSparse("big", "", 134217704);
    Create("t.tdf");
    EXPECT_EQ(LoadAndSave("big", "t.tdf"), "");
    EXPECT_EQ(LoadAndSave("t.tdf", "none"), "");
    EXPECT_EQ(m_driver->GetNumSamples(), 16777213U);
}

TEST_F(SaveFileTest, RefusesBeforeItTouchesTheTarget) {
    const std::string driver = "Talvora file channel driver: ";
    const std::string readError = driver + "File I/O error reading trace file.\n";
    m_folder.Write("t.tdf", "TDF2");
    m_folder.Write("p.bin", "12345678");
    for (const auto& [name, type] : {std::pair("", 1), {"t.tdf", 3}}) {
        EXPECT_EQ(Save(name, type), driver +
                                        "Can't open trace data file.\nThe Talvora File Channel Driver should not be "
                                        "used to save Uncompressed trace files.");
    }
    EXPECT_EQ(Save(""), driver + "Empty file name.");
    EXPECT_EQ(Save("gone.tdf"), "");
    EXPECT_EQ(Save("p.bin"), "");
    EXPECT_FALSE(std::filesystem::exists("gone.tdf"));
    EXPECT_EQ(Save("t.tdf"), readError + strerror(EBADF));
    mkfifo("fifo", 0600);
    EXPECT_EQ(LoadAndSave("fifo", "t.tdf"), readError + strerror(ESPIPE));
    WriteSparse("big", "", 134217705);
    EXPECT_EQ(
        LoadAndSave("big", "t.tdf"),
        driver + "The trace makes a section of 134217729 bytes, more than the 134217728 bytes that readers find.");
    EXPECT_EQ(ReadAll("t.tdf"), "TDF2");
}

// A target that cannot be looked at, or in which the section could not be found, is refused and stays as it is.
TEST_F(SaveFileTest, RefusesATargetThatWouldLoseTheSection) {
    constexpr const char* kDamaged = "TDF file is damaged: a section appended to it could not be found.";
    const std::string whole = "TDF2" + Section("a", 1, "123"), samples(16, 's');
    m_folder.Write("p.bin", samples);
    // clang-format off
    const std::tuple<const char*, std::string, mode_t, const char*> rows[] = {
        {"read only", whole, 0444, kCannotOpen}, {"write only", whole, 0200, kBadFile},
        {"a cut section", whole.substr(0, whole.size() - 1), 0666, kDamaged}, {"stray bytes", whole + "x", 0666, kDamaged},
        {"another identifier", "TDF3" + whole, 0444, ""}, {"three bytes", "TDF", 0444, ""}};
    // clang-format on
    for (const auto& [label, bytes, mode, error] : rows) {
        std::filesystem::remove("t.tdf");
        chmod(m_folder.Write("t.tdf", bytes).c_str(), mode);
        {
            const test::Unprivileged user;
            EXPECT_EQ(LoadAndSave("p.bin", "t.tdf"), error) << label;
        }
        chmod("t.tdf", 0644);
        EXPECT_EQ(ReadAll("t.tdf"), bytes) << label;
    }
    m_folder.Write("t.tdf", whole);
    m_driver->LoadFile("p.bin", 0, eTraceDataFileType{});
    EXPECT_EQ(ErrorWithin(RLIMIT_NOFILE, 3, [&] { return Save("t.tdf"); }), kBadFile) << "no descriptor";
    EXPECT_EQ(ReadAll("t.tdf"), whole) << "no descriptor";
    std::filesystem::create_symlink("/proc/self/mem", "unreadable.tdf");
    std::filesystem::create_symlink("loop.tdf", "loop.tdf");
    EXPECT_EQ(Save("unreadable.tdf"), kBadFile);
    EXPECT_EQ(Save("loop.tdf"), kBadFile);
    EXPECT_EQ(Save("p.bin/t.tdf"), "");
    for (const char* name : {"dir.tdf", "fifo.tdf"}) {
        name[0] == 'd' ? mkdir(name, 0777) : mkfifo(name, 0);
        EXPECT_EQ(Save(name), "") << name;
    }
    // The end of the format: the samples that a cut trace still has just fit, or they do not.
    m_folder.Write("cut.tdf", "TDF2" + Section("BinTraceData", 1, samples, 1000));
    for (const unsigned more : {0U, 1U}) {
        const std::uint64_t end = 0xFFFFFFFFUL - 24 - samples.size() + more;
        test::WriteLarge("t.tdf", end);
        EXPECT_EQ(LoadAndSave("cut.tdf", "t.tdf"), more == 0 ? "" : kTooLarge) << more;
        EXPECT_EQ(std::filesystem::file_size("t.tdf"), more == 0 ? end + 40 : end) << more;
    }
    // Samples that were cut after the file was loaded, into the same file.
    m_folder.Write("self.tdf", "TDF2" + Trace(samples));
    m_driver->LoadFile("self.tdf", 0, eTraceDataFileType{});
    m_folder.Write("self.tdf", "TDF2" + Trace("12345"));
    EXPECT_EQ(Save("self.tdf"),
              "Talvora file channel driver: A trace that the end of its file cuts cannot be saved into that file.");
    EXPECT_EQ(std::filesystem::file_size("self.tdf"), 33U);
}

}  // namespace
