// The streams of the command-line tool.
#include "support/ToolFixture.h"

namespace {

using ToolTest = test::ToolFixture;

TEST_F(ToolTest, KeepsStandardOutputForData) {
    m_folder.Write("p.bin", test::Le(1, 8));
    // The driver echoes its log lines to standard output at this setting.
    const test::Result result = Tool("samples p.bin --format dec", "ORM_TRACE_LOGGING=2 HOME=" + m_folder.Path() + " ");
    EXPECT_EQ(result.out, "1\n");
    EXPECT_NE(result.err.find("Driver: LoadFile"), std::string::npos);
    EXPECT_EQ(Tool("samples p.bin", "ORM_TRACE_DRIVER=/gone.so ").code, 5);
    // A full disk, and standard streams that the caller has closed.
    const std::string error = "orm-trace: standard output: ";
    EXPECT_EQ(Tool("samples p.bin >/dev/full").err, error + "No space left on device\n");
    EXPECT_EQ(Tool("samples p.bin >&-").err, error + "Bad file descriptor\n");
    EXPECT_EQ(Tool("samples p.bin --format dec <&- 2>&-").out, "1\n");
}

}  // namespace
