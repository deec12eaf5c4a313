// The command-line tool, run in a folder of its own.
#pragma once

#include "support/Process.h"

namespace test {

struct ToolFixture : testing::Test {
    // What stands before the tool on the command line are settings, or a program that runs it.
    Result Tool(const std::string& arguments, const std::string& before = "",
                const std::string& tool = ORM_TOOL) const {
        return test::Run(m_folder.Path(), "HOME=" + m_home.Path(), before + tool + " " + arguments);
    }

    // The same without the rights of root, so that permissions count. Nobody may be kept out of the folder of the build:
    // he runs a copy of the tool and its libraries.
    Result ToolAsNobody(const std::string& arguments) const {
        if (getuid() != 0) return Tool(arguments);
        static const TemporaryFolder copy;
        const std::string tool = copy / "bin/orm-trace";
        for (const auto& [file, path] : {std::pair(ORM_TOOL, tool),
                                         {ORM_CORVA_LIBRARY, copy / "lib/libcorva.so"},
                                         {ORM_DRIVER_LIBRARY, copy / "lib/libTalvoraFileChannelDriver.so"}}) {
            std::filesystem::create_directories(std::filesystem::path(path).parent_path());
            std::filesystem::copy_file(file, path, std::filesystem::copy_options::skip_existing);
        }
        return Tool(arguments, "setpriv --reuid=65534 --regid=65534 --clear-groups ", tool);
    }

    TemporaryFolder m_home;  // of the tool
    WorkingFolder m_folder;
};

}  // namespace test
