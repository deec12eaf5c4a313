#include "source_utilities/uDll.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <type_traits>

#include "tests/LogCapture.h"

namespace {

using ORM_LUX::uDll;

constexpr char kLibrary[] = "libm.so.6";
constexpr char kMissing[] = "libno_such.so";

TEST(uDll, TranslatesNames) {
    const std::array<const char*, 3> rows[] = {
        // name, platform's, universal
        {"trace", "libtrace.so", "trace"}, {"libtrace.so", "libtrace.so", "trace"},
        {".so", "lib.so.so", ".so"},       {"a.so", "a.so", "o"},
        {"ab.so", "ab.so", "so"},          {"abc.so", "abc.so", ""},
        {"libm.so.6", "libm.so.6", "m.s"}, {"", "lib.so", ""}};
    for (const auto& [name, platform, universal] : rows) {
        std::string out = "<";
        EXPECT_EQ(uDll::hasExtension(name), std::string(name) == platform) << name;
        EXPECT_EQ(uDll::GetPlatformName(out, name), std::string("<") + platform) << name;
        EXPECT_EQ(uDll::GetUniversalName(out = "<", name), std::string("<") + universal) << name;
        EXPECT_EQ(&uDll::GetPlatformName(out, nullptr), &uDll::GetUniversalName(out, nullptr));
        EXPECT_EQ(out, std::string("<") + universal);
    }
    EXPECT_FALSE(uDll::hasExtension(nullptr));
}

TEST(uDll, LoadsOneLibrary) {
    uDll dll(nullptr, -1);
    EXPECT_EQ(dll.GetMode(), RTLD_LAZY);
    EXPECT_FALSE(dll.Load(nullptr, -1) || dll.FindAndLoad(nullptr, -1) || dll.Unload() || dll.GetSymbolAddress("cos"));
    EXPECT_FALSE(dll.Load(kMissing, -1));
    EXPECT_NE(std::string(dll.GetError()).find(kMissing), std::string::npos) << dll.GetError();
    EXPECT_TRUE(dll.Load(kLibrary, RTLD_NOW));
    EXPECT_TRUE(dll.Load(kMissing, RTLD_LAZY)) << "loaded already";
    EXPECT_EQ(dll.GetPath() + std::string(dll.GetError()), kLibrary);

    EXPECT_EQ(dll.GetSymbolAddress("no_such_symbol"), nullptr);
    EXPECT_NE(std::string(dll.GetError()).find("no_such_symbol"), std::string::npos) << dll.GetError();
    ASSERT_NE(dll.GetSymbolAddress("cos"), nullptr);
    EXPECT_EQ(dll.GetSymbolAddress("cos"), dlsym(dll.GetLibHandle(), "cos"));
    EXPECT_STREQ(dll.GetError(), "");

    EXPECT_TRUE(dll.Unload());
    EXPECT_FALSE(dll.IsLoaded());
    EXPECT_TRUE(dll.Load(nullptr, -1)) << "the path and mode noted";
    EXPECT_EQ(dll.GetMode(), RTLD_NOW);
    static_assert(!std::is_copy_constructible_v<uDll> && !std::is_copy_assignable_v<uDll>,
                  "two would close one handle");
}

// This program refers to the marker, so the marker may lie in it.
TEST(uDll, NamesThisLibrary) {
    EXPECT_EQ(_anyAddressInThisModuleWillDo, nullptr);
    uDll dll(kLibrary, -1);
    std::string path = "<";
    EXPECT_EQ(dll.GetModulePath(path), "<") << "nothing is loaded";
    ASSERT_TRUE(dll.Load(nullptr, -1));
    EXPECT_NE(dll.GetModulePath(path).find("/libTalvoraFileChannelDriver.so"), std::string::npos) << path;
    EXPECT_EQ(path[0], '<') << "appended";
}

TEST(uDll, LogsWhatItLooksFor) {
    const std::string here = std::filesystem::current_path();
    const LogCapture log(3);
    setenv("LD_LIBRARY_PATH", "/a:/b", 1);
    uDll dll(nullptr, -1);
    EXPECT_FALSE(dll.FindAndLoad("no_such", -1));
    const std::string expected = R"(  F    source_utilities/uDll.cpp #191  FindAndLoad(...)
M     <time> uDll:  request to load "no_such" in mode -1
M     <time> uDll:  GetPlatformName returned "libno_such.so"
M     <time> uDll:  Working Directory is: ")" +
                                 here + R"("
M     <time> uDll:  LD_LIBRARY_PATH=/a:/b
M     <time> uDll: )" + dll.GetError() +
                                 "\n";
    EXPECT_EQ(log.Text(), expected);
    std::string gone = (std::filesystem::temp_directory_path() / "orm-gone-XXXXXX").string();
    ASSERT_EQ(chdir(mkdtemp(gone.data())), 0);
    rmdir(gone.c_str());
    EXPECT_TRUE(dll.FindAndLoad(kLibrary, RTLD_NOW));
    EXPECT_EQ(chdir(here.c_str()), 0);
    unsetenv("LD_LIBRARY_PATH");
    EXPECT_NE(log.Text().find("uDll:  Working Directory is: \"\"\n"), std::string::npos) << log.Text();
}

}  // namespace
