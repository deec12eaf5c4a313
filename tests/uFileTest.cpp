#include "source_utilities/uFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include "support/Files.h"

namespace {

using ORM_LUX::uFile;

class uFileTest : public testing::Test {
protected:
    test::TemporaryFolder m_folder;
    std::string m_path = m_folder.Write("f", std::string(100, 'x'));
};

TEST_F(uFileTest, AnswersWithoutAStream) {
    uFile file(nullptr, nullptr);
    char buffer[4] = "abc";
    fpos_t position{};
    EXPECT_FALSE(file.Open());
    EXPECT_FALSE(file.Open((m_folder / "missing").c_str(), "rb"));
    EXPECT_FALSE(file.OpenInternal(nullptr, "r"));
    EXPECT_FALSE(file.IsOpen() || file.Close() || file.Flush() || file.SeekToBegin() || file.SeekToEnd() ||
                 file.IsEof() || file.GetPosition(position) || file.SetPosition(position) || file.WriteString("x") ||
                 file.ReadString(buffer, 4));
    EXPECT_TRUE(file.IsError());
    file.ClearError();
    file.Erase();
    EXPECT_EQ(file.Read(buffer, 3) + file.Write("x", 1), 0U);
    EXPECT_EQ(file.Printf("%d", 1) + file.GetSize(), 0);
    EXPECT_STREQ(buffer, "abc");
}

TEST_F(uFileTest, ReadsAndMeasuresFromWhereItStands) {
    uFile file(nullptr, nullptr);
    ASSERT_TRUE(file.Open(m_path.c_str(), "rb"));
    EXPECT_EQ(fcntl(fileno(file.m_stream), F_GETFD), FD_CLOEXEC);
    EXPECT_STREQ(file.GetPath(), m_path.c_str());
    EXPECT_STREQ(file.GetOpenMode(), "rb");
    EXPECT_EQ(file.GetSize(), 100);
    char buffer[200];
    EXPECT_EQ(file.Read(buffer, 10), 10U);
    EXPECT_EQ(file.GetSize(), 90);
    fpos_t at{};
    EXPECT_TRUE(file.GetPosition(at));
    EXPECT_EQ(file.Read(buffer, 200), 90U) << "the position was kept";
    EXPECT_TRUE(file.IsEof());
    EXPECT_TRUE(file.SeekToEnd());
    EXPECT_EQ(file.GetSize(), 0);
    EXPECT_TRUE(file.SetPosition(at));
    EXPECT_EQ(file.GetSize(), 90);
    fpos_t zero = at;
    file.ZeroFILEPOS(zero);
    EXPECT_EQ(file.DifferenceFILEPOS(at, zero), 10);
    EXPECT_EQ(file.DifferenceFILEPOS(zero, at), -10);
    EXPECT_EQ(file.Write("x", 1), 0U) << "opened for reading";
    EXPECT_TRUE(file.IsError());
    file.ClearError();
    EXPECT_FALSE(file.IsError());
    EXPECT_TRUE(file.Close());
    EXPECT_FALSE(file.IsOpen() || file.Close());
    // Without a mode the file is opened for reading; the noted mode decides for Open().
    EXPECT_TRUE(file.OpenInternal(m_path.c_str(), "") && file.Close());
    EXPECT_TRUE(file.Open() && file.Close());
    EXPECT_FALSE(file.Open(nullptr, nullptr) && file.Open());
    file.Close();
}

TEST_F(uFileTest, WritesLinesAndErases) {
    uFile file(m_path.c_str(), "a+");
    file.Erase();
    EXPECT_EQ(test::ReadAll(m_path).size(), 100U) << "nothing is erased without a stream";
    ASSERT_TRUE(file.Open());
    file.Erase();
    EXPECT_TRUE(file.IsOpen());
    EXPECT_EQ(file.Printf("%s %d\n", "one", 1), 6);
    EXPECT_TRUE(file.WriteString("two\n"));
    EXPECT_EQ(file.Write("three", 5), 5U);
    EXPECT_EQ(file.Write("", 0), 0U);
    EXPECT_TRUE(file.Flush());
    EXPECT_EQ(test::ReadAll(m_path), "one 1\ntwo\nthree");
    EXPECT_TRUE(file.SeekToBegin());
    char line[8];
    EXPECT_TRUE(file.ReadString(line, 8));
    EXPECT_STREQ(line, "one 1\n");
    EXPECT_TRUE(file.ReadString(line, 3));
    EXPECT_STREQ(line, "tw");
    EXPECT_FALSE(file.WriteString(nullptr) || file.ReadString(nullptr, 3) || file.Read(nullptr, 3) != 0);
    EXPECT_TRUE(file.Close());
}

TEST_F(uFileTest, IsClosedAfterACloseThatFailed) {
    const int before = test::OpenDescriptors();
    uFile file(nullptr, nullptr);
    ASSERT_TRUE(file.Open("/dev/full", "wb"));
    EXPECT_EQ(file.Write("x", 1), 1U);
    EXPECT_FALSE(file.Flush());
    EXPECT_EQ(file.Write("x", 1), 1U);
    EXPECT_TRUE(file.Close());
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(file.Write("x", 1), 0U);
    EXPECT_EQ(test::OpenDescriptors(), before);
}

}  // namespace
