// Copies with holes for zeros, in whatever parts they are written.
#include "capture/ByteCopy.h"

#include <fcntl.h>

#include "capture/Error.h"
#include "internal/SystemCalls.h"
#include "support/Files.h"

namespace {

using orm_trace::ByteCopy;

// Returns: a file with the bytes after a first one, some of them from memory and the others from a file.
std::string Copied(const test::TemporaryFolder& folder, const std::string& bytes, std::size_t fromMemory) {
    const orm_trace::InputFile from(folder.Write("from", bytes));
    const int file = open(folder.Write("to", "").c_str(), O_RDWR);
    ByteCopy copy(file, "to");
    copy.Write("1", 1);  // so that blocks begin at odd offsets of the bytes
    copy.Write(bytes.data(), fromMemory);
    copy.Copy(from, fromMemory, bytes.size());
    EXPECT_EQ(copy.Size(), 1 + bytes.size());
    copy.Finish();
    close(file);
    return test::ReadAll(folder / "to");
}

TEST(ByteCopy, KeepsEachByteAmongZeros) {
    const test::TemporaryFolder folder;
    constexpr std::size_t kBlock = 4096;
    for (const std::size_t block : {std::size_t{0}, std::size_t{1}, std::size_t{63}, std::size_t{65}}) {
        for (const std::size_t offset : {std::size_t{0}, std::size_t{1}, kBlock - 3, kBlock - 2, kBlock - 1}) {
            std::string bytes(66 * kBlock - 1, '\0');
            bytes[std::min(block * kBlock + offset, bytes.size() - 1)] = 'x';
            for (const std::size_t fromMemory : {std::size_t{0}, std::size_t{5000}, bytes.size()}) {
                EXPECT_TRUE(Copied(folder, bytes, fromMemory) == '1' + bytes) << block << ' ' << offset << fromMemory;
            }
        }
    }
}

TEST(ByteCopy, KeepsBlocksThatAreNotOnlyZeros) {
    const test::TemporaryFolder folder;
    for (const std::size_t step : {2U, 3U, 4U, 256U, 4095U}) {
        std::string bytes(20000, '\0');
        for (std::size_t n = 1; n < bytes.size(); n += step) bytes[n] = 'x';
        EXPECT_TRUE(Copied(folder, bytes, 0) == '1' + bytes) << step;
        EXPECT_TRUE(Copied(folder, bytes.substr(1), 0) == '1' + bytes.substr(1)) << step;
    }
}

TEST(ByteCopy, GoesOnAfterPartOfAWrite) {
    const test::TemporaryFolder folder;
    std::string bytes(300000, 'a');
    for (std::size_t n = 0; n < bytes.size(); n += 7) bytes[n] = static_cast<char>(n);
    test::g_writes = {200000, -EINTR, 5000, 1, -EINTR};
    EXPECT_TRUE(Copied(folder, bytes, 0) == '1' + bytes);
    EXPECT_TRUE(test::g_writes.empty());
    for (const auto& [result, error] : {std::pair(-EIO, EIO), {0, ENOSPC}}) {
        test::g_writes = {result, -EINTR, 1};
        const auto copy = [&] { Copied(folder, bytes, 0); };
        EXPECT_EQ(test::ErrorOf<orm_trace::Error>(copy), std::strerror(error));
    }
}

}  // namespace
