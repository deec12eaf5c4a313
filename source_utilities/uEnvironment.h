// The process environment: variables, directories, path text, and the directories of the trace tools.
#pragma once

#include <string>

#include "source_utilities/Export.h"

namespace ORM_LUX {

// Environment helpers without state. Operations that fill a string replace its whole content, and those that return a
// const char* return that string's text.
// Errors:  source_utilities_error, as stated; the string is then unspecified unless stated otherwise.
// Threads: the operations act on process-wide state (variables, working directory) without a lock; they are meant for
//          start-up code.
class ORM_EXPORT uEnvironment {
public:
    // Returns: the variable's value, "" when it is not set. Valid until the environment changes.
    // Errors:  a null name.
    static const char* GetVar(const char* name);

    // Sets the variable, replacing its value. Returns: 0, or -1 when the system refuses.
    // Errors:  a null name (checked first), a null value.
    static int SetVar(const char* name, const char* value);

    // Errors: the directory cannot be read, for example because it was removed or its path has 4096 characters or more;
    //         dir keeps its content.
    static const char* GetWorkingDirectory(std::string& dir);
    // Returns: 0, or -1 when the directory cannot be changed to.
    static int SetWorkingDirectory(const char* path);

    // Creates every directory along path that does not exist, with mode 0777 less the umask.
    // Returns: 0 when this call created the last one; -1 when it existed, could not be created, or path is null or
    //          empty.
    static int MakeDirectory(const char* path);

    // Turns every backslash into "/" and every run of slashes into one.
    static void NormalizeDirSep(std::string& path);
    // parent becomes the text of path before its last "/": "/a/b" for "/a/b/c"; "" without a "/".
    static void GetParentDir(std::string& parent, const char* path);
    // Appends name to path with one "/" between them (without it if path is empty) and normalises the result. A null
    // name counts as empty.
    static void JoinPaths(std::string& path, const char* name);

    // The per-user directories HOME/.ORM-trace, HOME/.ORM-trace/settings and HOME/.ORM-trace/data: normalised, without
    // a slash at the end, created if they do not exist. A failure to create one is not reported. Errors: HOME is unset
    // or empty.
    static const char* GetTraceLoggingDirectory(std::string& dir);
    static const char* GetTraceUserSettingsDirectory(std::string& dir);
    static const char* GetTraceTemporaryDataDirectory(std::string& dir);

    // path becomes the path of the running program, at most 1023 characters of it; "" when it cannot be read.
    static void GetCurrentExecutablePath(std::string& path);

    // Changes the working directory for a scope. It is the directory of the whole process, other threads included.
    class ORM_EXPORT ScopedDirectoryChanger {
    public:
        // As Change.
        ScopedDirectoryChanger(const char* dir);
        // As Restore.
        virtual ~ScopedDirectoryChanger();
        ScopedDirectoryChanger(const ScopedDirectoryChanger&) = delete;
        ScopedDirectoryChanger& operator=(const ScopedDirectoryChanger&) = delete;

        // Stores the working directory and changes to dir. A null dir does nothing.
        // Errors: a directory is stored already; the working directory cannot be read; dir cannot be changed to (the
        //         stored directory then stays stored).
        void Change(const char* dir);
        // Changes back to the stored directory, if any, and clears it. A failure is not reported.
        void Restore();

        std::string m_savedDirectory;
    };
};

}  // namespace ORM_LUX

// dir becomes the root of the trace directories, HOME/.ORM-trace, which is not created. Returns: its text.
// Errors: ORM_LUX::source_utilities_error when HOME is unset or empty.
ORM_EXPORT const char* GetTraceUserDirectory(std::string& dir);
