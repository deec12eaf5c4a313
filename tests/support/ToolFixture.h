// The command-line tool, run in a folder of its own.
#pragma once

#include "support/Process.h"

namespace test {

struct ToolFixture : testing::Test {
    // What stands before the tool on the command line are settings, or a program that runs it.
    Result Tool(const std::string& arguments, const std::string& before = "") const {
        return test::Run(m_folder.Path(), "HOME=/nonexistent", before + ORM_TOOL " " + arguments);
    }

    // Before the tool: it runs with nobody's rights, so that permissions count.
    const std::string m_asNobody = getuid() == 0 ? "setpriv --reuid=65534 --regid=65534 --clear-groups " : "";
    WorkingFolder m_folder;
};

}  // namespace test
