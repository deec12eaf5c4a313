// The process's logging system.
#pragma once

#include <map>
#include <string>

#include "source_utilities/Export.h"
#include "source_utilities/uLogger.h"

namespace ORM_LUX {

// Holds the default logger, through which every component of the library writes, and the level that decides whether it
// does: above 0 ordinary and error lines, above 2 function entries too.
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
// Errors:  only std::bad_alloc; the system is then as it was before.
// Threads: the operations may be called from any thread, beside each other, CreateChannelDriver and lines. Starting reads
//          the environment, which must not change at that time. A child that is forked while another thread starts or
//          sets logging may find a lock that is never released: before exec it must not call these or CreateChannelDriver.
class ORM_EXPORT uLogSystem {
public:
    // Returns: the process's one system, made on first use. Valid until the process ends.
    static uLogSystem* GetLogSystem();

    uLogSystem();
    ~uLogSystem();
    uLogSystem(const uLogSystem&) = delete;
    uLogSystem& operator=(const uLogSystem&) = delete;

    // Starts logging into fileName, in the directory that the variable dirVarName holds (the working directory when it
    // is unset or empty, or the name null), with the setting that levelVarName holds (unset, empty or no number: 0).
    // With useLookup, the logger registered under fileName is the default logger again, if there is one; without it,
    // an existing default logger is kept. Then nothing else changes, and the variables are not read. Writes the settings
    // and the data directory into the log; with HOME unset these lines name none. Logger and level are those of the whole
    // process: a plug-in that starts a log of its own while levelVarName is unset silences the driver as well, until
    // a level is set. Returns: false, and nothing changes, when fileName or levelVarName is null.
    bool InitLog(const char* fileName, const char* levelVarName, const char* dirVarName, bool useLookup);

    // The same from arguments. Registers nothing, writes no lines; a null dirName means the working directory. Nothing
    // changes where there is a default logger already.
    // Returns: false when fileName is null.
    bool InitLogEx(const char* fileName, int setting, const char* dirName);

    // Applies a setting to the default logger. Does nothing without one.
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
