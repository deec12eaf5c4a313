// Starting, stopping and finding processes.
#pragma once

#include "source_utilities/Export.h"

namespace ORM_LUX {

// Process helpers without state.
// Errors:  nothing throws; a failure is the result 0 or false.
// Threads: every operation may be called from any thread.
class ORM_EXPORT uProcess {
public:
    // Starts program, searched on PATH, with one argument, or without one if argument is null. The last argument is
    // ignored. The process is a child of the caller, who must wait for it (TerminateProcess does).
    // Returns: the child's id, 0 for a null program or when no process could be created. A program that cannot be run
    //          is not reported here: its child ends with exit status 127.
    static unsigned long InvokeProcess(const char* program, const char* argument, bool);

    // Asks the process to end (SIGTERM) and waits until it has.
    // Returns: true when the signal was sent and the process was waited for; false for an id that names no single
    //          process (0, or one beyond the range of ids), when the signal is refused, and for a process that is not a
    //          child of the caller (the signal was sent to it nevertheless).
    static bool TerminateProcess(unsigned long pid);

    // Returns: pid when a process with that id exists, else 0.
    static unsigned long LookupProcess(unsigned long pid);

    // Finds a process by the path of its program. Processes that the caller may not inspect are skipped. The last
    // argument is ignored.
    // Returns: the id of the first process found whose program's path contains name; 0 for a null name or no match.
    static unsigned long LookupProcess(const char* name, unsigned long);

    // Returns: the id of this process.
    static unsigned long GetPid();
};

}  // namespace ORM_LUX
