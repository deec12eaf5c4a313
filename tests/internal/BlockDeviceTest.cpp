// A block device that is loaded as a trace. Only root may make one, so that a file stands in for it.
#include <fcntl.h>

#include <memory>

#include "driver/CChannelDriver.h"
#include "support/Files.h"

namespace {
mode_t g_type = 0;  // of each file that is looked up by name, unless it is 0
}  // namespace

extern "C" int stat(const char* path, struct stat* status) noexcept {
    const int result = fstatat(AT_FDCWD, path, status, 0);
    if (g_type != 0) status->st_mode = g_type;
    return result;
}

namespace {

using Orm::Lux::Trace::CChannelDriver;

TEST(BlockDevice, HasAsManySamplesAsItHolds) {
    const test::TemporaryFolder folder;
    const std::string path = folder.Write("device", std::string(20, 'x'));
    std::unique_ptr<CChannelDriver, void (*)(CChannelDriver*)> driver(CreateChannelDriver(), &DestroyChannelDriver);
    for (const auto& [type, samples] : {std::pair(S_IFBLK, 3U), {S_IFREG, 3U}, {S_IFCHR, 0U}, {S_IFIFO, 0U}}) {
        driver->LoadFile(path, 0, Orm::Lux::Trace::eTraceDataFileType{});
        g_type = static_cast<mode_t>(type);
        EXPECT_EQ(driver->GetNumSamples(), samples) << type;
        g_type = 0;
    }
}

}  // namespace
