#include "source_utilities/uEnvironment.h"

#include <gtest/gtest.h>

#include <functional>

#include "source_utilities/source_utilities_error.h"
#include "support/Files.h"

namespace {

using ORM_LUX::uEnvironment;

std::string ErrorOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const ORM_LUX::source_utilities_error& error) {
        return error.what();
    }
    return "";
}

TEST(uEnvironment, ReadsAndSetsVariables) {
    EXPECT_STREQ(uEnvironment::GetVar("ORM_TEST_UNSET"), "");
    EXPECT_EQ(uEnvironment::SetVar("ORM_TEST", "1") + uEnvironment::SetVar("ORM_TEST", "2"), 0);
    EXPECT_STREQ(uEnvironment::GetVar("ORM_TEST"), "2");
    EXPECT_EQ(uEnvironment::SetVar("A=B", "x"), -1);
    EXPECT_EQ(ErrorOf([] { uEnvironment::GetVar(nullptr); }), "failed set an environment variable name to null");
    EXPECT_EQ(ErrorOf([] { uEnvironment::SetVar(nullptr, nullptr); }),
              "failed set an environment variable name to null");
    EXPECT_EQ(ErrorOf([] { uEnvironment::SetVar("A", nullptr); }), "failed set an environment variable value to null");
}

TEST(uEnvironment, EditsPaths) {
    const struct {
        const char* path;
        const char* normal;
        const char* parent;
    } rows[] = {{"a\\\\b////c", "a/b/c", "a\\\\b///"},
                {"//a", "/a", "/"},
                {"/a/b/c", "/a/b/c", "/a/b"},
                {"/a", "/a", ""},
                {"a/b/", "a/b/", "a/b"},
                {"abc", "abc", ""},
                {"", "", ""},
                {"/////////", "/", "////////"}};
    for (const auto& row : rows) {
        std::string path = row.path;
        uEnvironment::NormalizeDirSep(path);
        EXPECT_EQ(path, row.normal);
        std::string parent = row.path;
        uEnvironment::GetParentDir(parent, parent.c_str());
        EXPECT_EQ(parent, row.parent);
    }
    const struct {
        const char* path;
        const char* name;
        const char* joined;
    } joins[] = {{"", "a//b", "a/b"}, {"x/", "y", "x/y"}, {"x", "y", "x/y"},
                 {"x", "/y", "x/y"},  {"\\x", "", "/x/"}, {"x", nullptr, "x/"}};
    for (const auto& row : joins) {
        std::string path = row.path;
        uEnvironment::JoinPaths(path, row.name);
        EXPECT_EQ(path, row.joined);
    }
    std::string self;
    uEnvironment::GetCurrentExecutablePath(self);
    EXPECT_EQ(self, std::filesystem::read_symlink("/proc/self/exe"));
}

TEST(uEnvironment, MakesDirectories) {
    const test::TemporaryFolder folder;
    EXPECT_EQ(uEnvironment::MakeDirectory((folder / "a/b//c").c_str()), 0);
    EXPECT_TRUE(std::filesystem::is_directory(folder / "a/b/c"));
    EXPECT_EQ(uEnvironment::MakeDirectory((folder / "a/b/c/").c_str()), -1) << "there already";
    folder.Write("file", "");
    EXPECT_EQ(uEnvironment::MakeDirectory((folder / "file/d").c_str()), -1);
    EXPECT_EQ(uEnvironment::MakeDirectory(nullptr) + uEnvironment::MakeDirectory(""), -2);
}

TEST(uEnvironment, NamesTheTraceDirectories) {
    const test::TemporaryFolder folder;
    const std::string home = uEnvironment::GetVar("HOME");
    std::string dir;
    const std::string root = folder / "u/.ORM-trace";
    for (const std::string& spelling : {folder / "u", folder / "u/", folder / "u\\\\//"}) {
        setenv("HOME", spelling.c_str(), 1);
        EXPECT_EQ(GetTraceUserDirectory(dir), root);
        EXPECT_FALSE(std::filesystem::exists(root));
    }
    EXPECT_EQ(uEnvironment::GetTraceUserSettingsDirectory(dir), root + "/settings");
    EXPECT_TRUE(std::filesystem::is_directory(root + "/settings"));
    EXPECT_EQ(uEnvironment::GetTraceTemporaryDataDirectory(dir), root + "/data");
    EXPECT_TRUE(std::filesystem::is_directory(root + "/data"));
    std::filesystem::remove_all(root);
    EXPECT_EQ(uEnvironment::GetTraceLoggingDirectory(dir), root);
    EXPECT_TRUE(std::filesystem::is_directory(root));
    setenv("HOME", "/", 1);
    EXPECT_STREQ(GetTraceUserDirectory(dir), "/.ORM-trace");
    for (const bool isSet : {true, false}) {
        setenv("HOME", "", 1);
        if (!isSet) unsetenv("HOME");
        EXPECT_EQ(ErrorOf([&] { uEnvironment::GetTraceLoggingDirectory(dir); }),
                  "failed to read environment variable \"HOME\"");
    }
    setenv("HOME", home.c_str(), 1);
}

TEST(uEnvironment, ChangesTheDirectoryForAScope) {
    const test::TemporaryFolder folder;
    std::filesystem::create_directory(folder / "in");
    const auto here = [] {
        std::string dir;
        return std::string(uEnvironment::GetWorkingDirectory(dir));
    };
    const std::string before = here();
    {
        uEnvironment::ScopedDirectoryChanger changer(folder.Path().c_str());
        EXPECT_EQ(here(), folder.Path());
        EXPECT_EQ(ErrorOf([&] { changer.Change("in"); }),
                  "can't temporarily change the working directory again until its restored");
        EXPECT_EQ(here(), folder.Path());
        changer.Change(nullptr);
        changer.Restore();
        EXPECT_EQ(here(), before);
        EXPECT_EQ(uEnvironment::SetWorkingDirectory(folder.Path().c_str()), 0);
        changer.Restore();
        EXPECT_EQ(here(), folder.Path()) << "restored once";
        changer.Change("in");
        EXPECT_EQ(ErrorOf([&] { uEnvironment::ScopedDirectoryChanger gone("gone"); }),
                  "failed to temporarily change the working directory to \"gone\"");
    }
    EXPECT_EQ(here(), folder.Path()) << "by the destructor";
    EXPECT_EQ(uEnvironment::SetWorkingDirectory(nullptr) + uEnvironment::SetWorkingDirectory("/no/such"), -2);
    std::filesystem::remove(folder / "in");
    std::filesystem::create_directory(folder / "in");
    EXPECT_EQ(uEnvironment::SetWorkingDirectory((folder / "in").c_str()), 0);
    std::filesystem::remove(folder / "in");
    std::string kept = "kept";
    EXPECT_EQ(ErrorOf([&] { uEnvironment::GetWorkingDirectory(kept); }), "failed to get current working directory");
    EXPECT_EQ(kept, "kept");
    EXPECT_EQ(uEnvironment::SetWorkingDirectory(before.c_str()), 0);
}

}  // namespace
