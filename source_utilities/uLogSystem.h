// The process's logging system.
#pragma once

#include <map>
#include <string>

#include "source_utilities/Export.h"
#include "source_utilities/uLogger.h"

namespace ORM_LUX {

// Holds the default logger, through which every component of the library writes, and the level that decides what is
// written: above 0 ordinary and error lines, above 2 function entries too.
//
// The setting, a number from the environment or an argument, decides what happens:
//
//   setting    to the file  to standard output  debug-window flag  level afterwards
//   1          on           unchanged           unchanged          1
//   2          on           on                  unchanged          1
//   3          on           unchanged           unchanged          2
//   4          on           on                  unchanged          2
//   5          on           on                  on                 2
//   6          on           on                  on                 3
//   any other  off          unchanged           unchanged          the setting itself; by SetLoggingLevel: unchanged
//
// Errors:  only std::bad_alloc; nothing has changed then.
// Threads: the operations may be called from any thread, while others run, while CreateChannelDriver runs, and while
//          threads log. Starting reads the environment, which must not be changed at that time. After fork() while
//          another thread starts or sets logging, the child must call neither these nor CreateChannelDriver before
//          exec: a lock may be held forever.
class ORM_EXPORT uLogSystem {
public:
    // Returns: the process's only system, created on first use. Valid until the process ends.
    static uLogSystem* GetLogSystem();

    uLogSystem();
    ~uLogSystem();
    uLogSystem(const uLogSystem&) = delete;
    uLogSystem& operator=(const uLogSystem&) = delete;

    // Starts logging into fileName, in the directory that the variable dirVarName holds (the working directory when it
    // is unset or empty, or the name null), with the setting that levelVarName holds (unset, empty or not a number:
    // 0). With useLookup, the logger registered under fileName, if any, becomes the default logger again; without it,
    // an existing default logger is kept. In both cases nothing else changes, and the variables are not read. Otherwise
    // writes the settings directory and the data directory to the log; with HOME unset these lines name no directory.
    // Logger and level are those of the whole process: a plug-in that starts a log of its own while levelVarName is
    // unset silences the driver as well, until a level is set.
    // Returns: false, and nothing changes, when fileName or levelVarName is null.
    bool InitLog(const char* fileName, const char* levelVarName, const char* dirVarName, bool useLookup);

    // The same from arguments. Registers nothing, writes no lines; a null dirName means the working directory. Nothing
    // changes if a default logger exists.
    // Returns: false when fileName is null.
    bool InitLogEx(const char* fileName, int setting, const char* dirName);

    // Applies a setting to the default logger. Does nothing without a default logger.
    void SetLoggingLevel(int setting);

    // Returns: the logger that InitLog registered under exactly this name, or null. Ownership stays here.
    uLogger* LookupLogger(const char* name);

    uLogger* m_pLogger;  // the default logger, owned
    int m_loggingLevel;
    bool m_useLoggerLookup;
    int m_refCount;
    std::map<std::string, uLogger*> m_loggers;
    static uLogSystem* m_pSystem;

private:
    void Start(const std::string& path, int setting, const char* registeredName);
};

}  // namespace ORM_LUX
