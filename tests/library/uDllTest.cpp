#include "source_utilities/uDll.h"

#include <dlfcn.h>

#include "support/LogCapture.h"

namespace {

using ORM_LUX::uDll;

constexpr char kLibrary[] = "libm.so.6";

TEST(uDll, TranslatesNames) {
    // clang-format off
    const std::tuple<const char*, std::string, std::string> rows[] = {  // name, platform's, universal
        {"trace", "libtrace.so", "trace"}, {"libtrace.so", "libtrace.so", "trace"}, {".so", "lib.so.so", ".so"},
        {"a.so", "a.so", "o"}, {"ab.so", "ab.so", "so"}, {"abc.so", "abc.so", ""}, {"libm.so.6", "libm.so.6", "m.s"},
        {"", "lib.so", ""}};
    // clang-format on
    for (const auto& [name, platform, universal] : rows) {
        std::string out = "<";
        EXPECT_EQ(uDll::hasExtension(name), name == platform) << name;
        EXPECT_EQ(uDll::GetPlatformName(out, name), "<" + platform) << name;
        EXPECT_EQ(uDll::GetUniversalName(out = "<", name), "<" + universal) << name;
    }
    std::string out = "<";
    EXPECT_FALSE(uDll::hasExtension(nullptr));
    EXPECT_EQ(uDll::GetPlatformName(out, nullptr) + uDll::GetUniversalName(out, nullptr), "<<");
}

TEST(uDll, LoadsOneLibrary) {
    uDll dll(nullptr, -1);
    std::string path = "<";
    EXPECT_EQ(dll.GetMode(), RTLD_LAZY);
    EXPECT_FALSE(dll.Load(nullptr, -1) || dll.FindAndLoad(nullptr, -1) || dll.Unload() || dll.GetSymbolAddress("cos"));
    EXPECT_EQ(dll.GetModulePath(path), "<") << "nothing is loaded";
    EXPECT_FALSE(dll.Load("libno_such.so", -1));
    EXPECT_NE(std::string(dll.GetError()).find("libno_such.so"), std::string::npos) << dll.GetError();
    EXPECT_TRUE(dll.Load(kLibrary, RTLD_NOW));
    EXPECT_TRUE(dll.Load("libno_such.so", RTLD_LAZY)) << "loaded already";
    EXPECT_EQ(dll.GetPath() + std::string(dll.GetError()), kLibrary);
    EXPECT_EQ(dll.GetSymbolAddress("no_such_symbol"), nullptr);
    EXPECT_NE(std::string(dll.GetError()).find("no_such_symbol"), std::string::npos) << dll.GetError();
    ASSERT_NE(dll.GetSymbolAddress("cos"), nullptr);
    EXPECT_EQ(dll.GetSymbolAddress("cos"), dlsym(dll.GetLibHandle(), "cos"));
    EXPECT_STREQ(dll.GetError(), "");
    // This program refers to the marker, so the marker may lie in it.
    EXPECT_EQ(_anyAddressInThisModuleWillDo, nullptr);
    EXPECT_NE(dll.GetModulePath(path).find("/libTalvoraFileChannelDriver.so"), std::string::npos) << path;
    EXPECT_EQ(path[0], '<') << "appended";
    EXPECT_TRUE(dll.Unload() && !dll.IsLoaded() && dll.Load(nullptr, -1)) << "the path and mode noted";
    EXPECT_EQ(dll.GetMode(), RTLD_NOW);
    static_assert(!std::is_copy_constructible_v<uDll> && !std::is_copy_assignable_v<uDll>,
                  "two would close one handle");
}

TEST(uDll, LogsWhatItLooksFor) {
    const test::WorkingFolder folder;
    const test::LogCapture log(3);
    setenv("LD_LIBRARY_PATH", "/a:/b", 1);
    uDll dll(nullptr, -1);
    EXPECT_FALSE(dll.FindAndLoad("no_such", -1));
    EXPECT_EQ(log.Text(), R"(  F    source_utilities/uDll.cpp #191  FindAndLoad(...)
M     <time> uDll:  request to load "no_such" in mode -1
M     <time> uDll:  GetPlatformName returned "libno_such.so"
M     <time> uDll:  Working Directory is: ")" +
                              folder.Path() + R"("
M     <time> uDll:  LD_LIBRARY_PATH=/a:/b
M     <time> uDll: )" + dll.GetError() +
                              "\n");
    std::filesystem::remove(folder.Path());
    EXPECT_TRUE(dll.FindAndLoad(kLibrary, RTLD_NOW));
    unsetenv("LD_LIBRARY_PATH");
    EXPECT_NE(log.Text().find("uDll:  Working Directory is: \"\"\n"), std::string::npos) << log.Text();
}

}  // namespace
