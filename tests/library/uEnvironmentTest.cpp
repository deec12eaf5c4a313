#include "source_utilities/uEnvironment.h"

#include "source_utilities/source_utilities_error.h"
#include "support/Files.h"

namespace {

using ORM_LUX::uEnvironment;
using std::filesystem::is_directory;

template <class Call> std::string ErrorOf(Call call) { return test::ErrorOf<ORM_LUX::source_utilities_error>(call); }

TEST(uEnvironment, ReadsAndSetsVariables) {
    EXPECT_EQ(uEnvironment::SetVar("ORM_TEST", "1") + uEnvironment::SetVar("ORM_TEST", "2"), 0);
    EXPECT_EQ(test::Show(uEnvironment::GetVar("ORM_TEST_UNSET"), uEnvironment::GetVar("ORM_TEST")), " 2");
    EXPECT_EQ(uEnvironment::SetVar("A=B", "x"), -1);
    const std::string error = "failed set an environment variable ";
    EXPECT_EQ(ErrorOf([] { uEnvironment::GetVar(nullptr); }), error + "name to null");
    EXPECT_EQ(ErrorOf([] { uEnvironment::SetVar(nullptr, nullptr); }), error + "name to null");
    EXPECT_EQ(ErrorOf([] { uEnvironment::SetVar("A", nullptr); }), error + "value to null");
}

TEST(uEnvironment, EditsPaths) {
    // clang-format off
    const std::tuple<const char*, const char*, const char*> rows[] = {  // path, normal form, parent
        {"a\\\\b////c", "a/b/c", "a\\\\b///"}, {"//a", "/a", "/"}, {"/a/b/c", "/a/b/c", "/a/b"}, {"/a", "/a", ""},
        {"a/b/", "a/b/", "a/b"}, {"abc", "abc", ""}, {"", "", ""}, {"/////////", "/", "////////"}};
    const std::tuple<const char*, const char*, const char*> joins[] = {
        {"", "a//b", "a/b"}, {"x/", "y", "x/y"}, {"x", "y", "x/y"}, {"x", "/y", "x/y"}, {"\\x", "", "/x/"},
        {"x", nullptr, "x/"}};
    // clang-format on
    for (const auto& [text, normal, parent] : rows) {
        std::string path = text;
        uEnvironment::NormalizeDirSep(path);
        EXPECT_EQ(path, normal);
        uEnvironment::GetParentDir(path = text, path.c_str());
        EXPECT_EQ(path, parent) << text;
    }
    for (const auto& [text, name, joined] : joins) {
        std::string path = text;
        uEnvironment::JoinPaths(path, name);
        EXPECT_EQ(path, joined);
    }
    std::string self;
    uEnvironment::GetCurrentExecutablePath(self);
    EXPECT_EQ(self, std::filesystem::read_symlink("/proc/self/exe"));
}

TEST(uEnvironment, MakesDirectories) {
    const test::WorkingFolder folder;
    EXPECT_EQ(uEnvironment::MakeDirectory((folder / "a/b//c").c_str()), 0);
    EXPECT_TRUE(is_directory("a/b/c"));
    folder.Write("file", "");
    for (const char* path : {"a/b/c/", "file/d", "", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(uEnvironment::MakeDirectory(path), -1) << path;
    }
    // Without an end, if each component cost as much as the path is long.
    std::string deep = "file";
    for (int n = 0; n < 2'000'000; ++n) deep += "/d";
    EXPECT_EQ(uEnvironment::MakeDirectory(deep.c_str()), -1);
    EXPECT_EQ(uEnvironment::MakeDirectory(("e/" + std::string(300, 'x') + "/../f").c_str()), -1);
    EXPECT_EQ(uEnvironment::MakeDirectory("e/../g"), 0);
    EXPECT_EQ(uEnvironment::MakeDirectory("h//"), -1) << "the last attempt finds it";
    EXPECT_TRUE(is_directory("e") && is_directory("g") && is_directory("h"));
    const std::string home = uEnvironment::GetVar("HOME");
    std::string dir;
    for (const char* spelling : {"u", "u/", "u\\\\//"}) {
        setenv("HOME", spelling, 1);
        EXPECT_STREQ(GetTraceUserDirectory(dir), "u/.ORM-trace");
    }
    EXPECT_FALSE(std::filesystem::exists("u"));
    EXPECT_STREQ(uEnvironment::GetTraceLoggingDirectory(dir), "u/.ORM-trace");
    EXPECT_TRUE(is_directory("u/.ORM-trace"));
    EXPECT_STREQ(uEnvironment::GetTraceUserSettingsDirectory(dir), "u/.ORM-trace/settings");
    EXPECT_STREQ(uEnvironment::GetTraceTemporaryDataDirectory(dir), "u/.ORM-trace/data");
    EXPECT_TRUE(is_directory("u/.ORM-trace/settings") && is_directory("u/.ORM-trace/data"));
    setenv("HOME", "/", 1);
    EXPECT_STREQ(GetTraceUserDirectory(dir), "/.ORM-trace");
    unsetenv("HOME");
    EXPECT_EQ(ErrorOf([&] { uEnvironment::GetTraceLoggingDirectory(dir); }),
              "failed to read environment variable \"HOME\"");
    setenv("HOME", home.c_str(), 1);
}

TEST(uEnvironment, ChangesTheDirectoryForAScope) {
    const test::WorkingFolder folder;
    std::filesystem::create_directory("in");
    std::string dir;
    {
        uEnvironment::ScopedDirectoryChanger changer("in");
        EXPECT_EQ(uEnvironment::GetWorkingDirectory(dir), folder / "in");
        EXPECT_EQ(ErrorOf([&] { changer.Change("/"); }),
                  "can't temporarily change the working directory again until its restored");
        changer.Change(nullptr);
        EXPECT_EQ(uEnvironment::GetWorkingDirectory(dir), folder / "in");
        changer.Restore();
        EXPECT_EQ(uEnvironment::GetWorkingDirectory(dir), folder.Path());
        EXPECT_EQ(uEnvironment::SetWorkingDirectory("/"), 0);
        changer.Restore();
        EXPECT_STREQ(uEnvironment::GetWorkingDirectory(dir), "/") << "restored once";
        changer.Change((folder / "in").c_str());
        EXPECT_EQ(ErrorOf([&] { uEnvironment::ScopedDirectoryChanger gone("gone"); }),
                  "failed to temporarily change the working directory to \"gone\"");
    }
    EXPECT_STREQ(uEnvironment::GetWorkingDirectory(dir), "/") << "by the destructor";
    EXPECT_EQ(uEnvironment::SetWorkingDirectory(nullptr) + uEnvironment::SetWorkingDirectory("/no/such"), -2);
    EXPECT_EQ(uEnvironment::SetWorkingDirectory((folder / "in").c_str()), 0);
    std::filesystem::remove(folder / "in");
    EXPECT_EQ(ErrorOf([&] { uEnvironment::GetWorkingDirectory(dir); }), "failed to get current working directory");
    EXPECT_EQ(dir, "/") << "kept";
}

}  // namespace
