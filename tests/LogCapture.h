// The process's log, switched on for a scope and read back.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "source_utilities/uLogSystem.h"

// Lines go to a file of a fresh temporary directory while this exists; afterwards logging is off. One at a time.
class LogCapture {
public:
    explicit LogCapture(int level) {
        m_system.InitLogEx("log.txt", 1, mkdtemp(m_directory.data()));
        m_system.m_pLogger->SetFileName((m_directory + "/log.txt").c_str(), true);
        m_system.m_pLogger->EnableOutput(true);
        m_system.m_loggingLevel = level;
    }
    ~LogCapture() {
        m_system.m_loggingLevel = 0;
        m_system.m_pLogger->EnableOutput(false);
        std::filesystem::remove_all(m_directory);
    }
    // Returns: what was logged so far, with "<time>" for the times of day.
    std::string Text() const {
        std::string text;
        std::ifstream file(m_directory + "/log.txt");
        for (std::string line; std::getline(file, line); text += line + '\n') {
            if (line.find(" | ") == 6 + 12) line.replace(6, 12 + 2, "<time>");
        }
        return text;
    }

private:
    ORM_LUX::uLogSystem& m_system = *ORM_LUX::uLogSystem::GetLogSystem();
    std::string m_directory = (std::filesystem::temp_directory_path() / "orm-log-XXXXXX").string();
};
