#include "source_utilities/uFile.h"

#include <fcntl.h>

#include "support/Files.h"

namespace {

using ORM_LUX::uFile;

TEST(uFile, AnswersWithoutAStream) {
    uFile file(nullptr, nullptr);
    char buffer[4] = "abc";
    fpos_t position{};
    EXPECT_FALSE(file.Open() || file.Open("/missing", "rb") || file.OpenInternal(nullptr, "r") || file.IsOpen() ||
                 file.Close() || file.Flush() || file.SeekToBegin() || file.SeekToEnd() || file.IsEof() ||
                 file.GetPosition(position) || file.SetPosition(position) || file.WriteString("x") ||
                 file.ReadString(buffer, 4) || !file.IsError());
    file.ClearError();
    file.Erase();
    EXPECT_EQ(file.Read(buffer, 3) + file.Write("x", 1), 0U);
    EXPECT_EQ(file.Printf("%d", 1) + file.GetSize(), 0);
}

TEST(uFile, ReadsAndMeasuresFromWhereItStands) {
    const test::WorkingFolder folder;
    folder.Write("f", std::string(100, 'x'));
    uFile file(nullptr, nullptr);
    ASSERT_TRUE(file.Open("f", "rb"));
    EXPECT_EQ(fcntl(fileno(file.m_stream), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(test::Show(file.GetPath(), file.GetOpenMode(), file.GetSize()), "f rb 100");
    char buffer[200];
    EXPECT_EQ(file.Read(buffer, 10), 10U);
    fpos_t at{}, zero{};
    EXPECT_TRUE(file.GetPosition(at) && file.GetPosition(zero));
    file.ZeroFILEPOS(zero);
    EXPECT_EQ(test::Show(file.DifferenceFILEPOS(at, zero), file.DifferenceFILEPOS(zero, at)), "10 -10");
    EXPECT_EQ(file.GetSize(), 90);
    EXPECT_EQ(file.Read(buffer, 200), 90U) << "the position was kept";
    EXPECT_TRUE(file.IsEof() && file.SeekToEnd() && file.GetSize() == 0 && file.SetPosition(at));
    EXPECT_EQ(file.GetSize(), 90);
    EXPECT_EQ(file.Write("x", 1), 0U) << "opened for reading";
    EXPECT_TRUE(file.IsError());
    file.ClearError();
    EXPECT_FALSE(file.IsError());
    EXPECT_TRUE(file.Close());
    EXPECT_FALSE(file.IsOpen() || file.Close());
    // Without a mode the file is opened for reading; the noted mode decides for Open().
    EXPECT_TRUE(file.OpenInternal("f", "") && file.Close() && file.Open() && file.Close());
    EXPECT_TRUE(file.Open(nullptr, nullptr) && !file.Open() && file.Close());
}

TEST(uFile, WritesLinesAndErases) {
    const test::WorkingFolder folder;
    folder.Write("f", "old");
    uFile file("f", "a+");
    file.Erase();
    EXPECT_EQ(test::ReadAll("f"), "old") << "nothing is erased without a stream";
    ASSERT_TRUE(file.Open());
    file.Erase();
    EXPECT_EQ(file.Printf("%s %d\n", "one", 1), 6);
    EXPECT_TRUE(file.WriteString("two\n"));
    EXPECT_EQ(file.Write("three", 5) + file.Write("", 0), 5U);
    EXPECT_TRUE(file.Flush());
    EXPECT_EQ(test::ReadAll("f"), "one 1\ntwo\nthree");
    char line[8], part[3];
    EXPECT_TRUE(file.SeekToBegin() && file.ReadString(line, 8) && file.ReadString(part, 3));
    EXPECT_EQ(test::Show(line, part), "one 1\n tw");
    EXPECT_FALSE(file.WriteString(nullptr) || file.ReadString(nullptr, 3) || file.Read(nullptr, 3) != 0);
    EXPECT_TRUE(file.Close());
    // A full disk: the file is closed after a close that failed.
    const long before = test::OpenDescriptors();
    ASSERT_TRUE(file.Open("/dev/full", "wb"));
    EXPECT_EQ(file.Write("x", 1), 1U);
    EXPECT_FALSE(file.Flush());
    EXPECT_EQ(file.Write("x", 1), 1U);
    EXPECT_TRUE(file.Close() && !file.IsOpen() && file.Write("x", 1) == 0);
    EXPECT_EQ(test::OpenDescriptors(), before);
}

}  // namespace
