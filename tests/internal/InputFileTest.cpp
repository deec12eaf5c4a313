// Files that cannot be read throughout.
#include "capture/InputFile.h"

#include <limits.h>

#include "capture/Error.h"
#include "capture/SectionIdentity.h"
#include "internal/SystemCalls.h"
#include "support/Files.h"

namespace {

using orm_trace::InputFile;

TEST(InputFile, ReadsInPiecesAndSaysWhereThatFails) {
    const test::TemporaryFolder folder;
    const InputFile file(folder.Write("f", std::string(10000, 'x')));
    std::string bytes(9000, '\0');
    const auto read = [&] {
        return test::ErrorOf<orm_trace::Error>([&] { EXPECT_EQ(file.ReadAt(5, bytes.data(), 9000), 9000U); });
    };
    test::g_piece = 1000;
    EXPECT_EQ(read(), "") << "an interrupted call is not a failure";
    test::g_goodReads = 4;  // two of them are interrupted
    EXPECT_EQ(read(), "cannot be read at offset 0x7D5: Input/output error");
    test::g_goodReads = -1;
    test::g_piece = SSIZE_MAX;
    EXPECT_EQ(file.ReadAt(5, bytes.data(), 9000), 9000U);
    EXPECT_FALSE(orm_trace::IsSameAt(file, 9995, {9995, 20, 1, "name"})) << "its header is cut";
}

}  // namespace
