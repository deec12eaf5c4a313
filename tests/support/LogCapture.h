// The process's log, switched on for a scope and read back.
#pragma once

#include "source_utilities/uLogSystem.h"
#include "support/Files.h"

namespace test {

// Lines go to a file of their own while this exists; afterwards logging is off. One at a time.
struct LogCapture {
    explicit LogCapture(int level) {
        system.InitLogEx("log", 1, folder.Path().c_str());
        system.m_pLogger->SetFileName((folder / "log").c_str(), true);
        system.m_pLogger->EnableOutput(true);
        system.m_loggingLevel = level;
    }
    ~LogCapture() {
        system.m_loggingLevel = 0;
        system.m_pLogger->EnableOutput(false);
    }
    // Returns: what was logged so far, with "<time>" for the times of day.
    std::string Text() const {
        std::string text, line;
        for (std::ifstream file(folder / "log"); std::getline(file, line); text += line + '\n') {
            if (line.find(" | ") == 6 + 12) line.replace(6, 12 + 2, "<time>");
        }
        return text;
    }

    ORM_LUX::uLogSystem& system = *ORM_LUX::uLogSystem::GetLogSystem();
    TemporaryFolder folder;
};

}  // namespace test
