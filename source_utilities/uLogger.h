// A log file.
#pragma once

#include <cstdarg>
#include <ctime>
#include <string>

#include "source_utilities/Export.h"
#include "source_utilities/uFile.h"
#include "source_utilities/uMutex.h"

namespace ORM_LUX {

// Writes lines to a file of its own: six characters of level letters, a time stamp, the message and one newline. Each
// line is written and flushed at once, so a log is complete up to its last line even when the process dies. The file is
// opened at the first line.
// Errors:  nothing throws after construction. Writing a line keeps errno; the other operations may change it. If the
//          file cannot be opened or written to, the line is lost, and the next line tries again. Writing a line
//          removes nothing from the file, because other processes may write to it: if part of a lost line was written,
//          it stays, and this logger's next line begins with a newline. A written line is in one piece, up to its
//          newline; part of a line of another process may come directly before it.
// Threads: lines, SetFileName, EnableOutput, Clear and Flush may come from any thread; lines never interleave. A signal
//          handler must not log. A thread that holds a lock which lines need (that of m_file or, if lines are printed
//          too, of stdout, by flockfile) must not log: another thread may wait for that lock and hold this logger's
//          own. After fork() while another thread logs, the child must not log before exec: a lock may be held forever.
class ORM_EXPORT uLogger {
public:
    // The kinds of a line, a set of bits. Each prints its letter in its own column.
    enum : unsigned {
        LOG_M = 1,   // M: ordinary trace lines
        LOG_W = 2,   // W: warnings; not used by the library itself
        LOG_F = 4,   // F: function entry
        LOG_A = 8,   // A: not used by the library itself
        LOG_E = 16,  // E: errors
    };

    // The time stamp after the letters, here for 16 November 2026, 15:52:03 and 47 ms. Other values count as TD_NONE.
    enum TIME_DATE : int {
        TD_NONE = 0,       // " "
        TD_DATE = 1,       // "11/16/26 | "
        TD_TIME = 2,       // "15:52:03:047 | "
        TD_DATE_TIME = 3,  // "11/16/26 15:52:03:047 | "
    };

    // Logs to "KVB_log.txt" in the working directory; the first line empties that file.
    uLogger();
    // append: lines are added to what the file holds; otherwise each opening empties it. A null fileName counts as
    // empty. Opens nothing.
    uLogger(const char* fileName, bool append);
    virtual ~uLogger();
    uLogger(const uLogger&) = delete;
    uLogger& operator=(const uLogger&) = delete;

    // Replaces name and mode; closes a file that was open, and opens the new one at once.
    // Returns: whether the new file is open; if memory for the name runs out, nothing changes, and whether a file is open.
    bool SetFileName(const char* fileName, bool append);
    // Closes the file if it is open, and opens it. Returns: whether it is open. Threads: not while other threads log.
    bool OpenFile();
    // Returns: whether a file was open. Threads: not while other threads log.
    bool CloseFile();
    // Switches writing on or off; off also closes the file. Returns: the setting before.
    bool EnableOutput(bool on);
    // on: each line is printed on standard output too. A failure to print is not reported, and raises no signal; a full
    // pipe blocks.
    void EnableLogToStdio(bool on);
    // Stored, without an effect on this platform.
    void EnableLogDbgOutWindow(bool on);
    // Empties the file if it is open.
    void Clear();

    void Flush();

    // Returns: the file's path as given. Valid until the next SetFileName.
    const char* GetName() const;

    // Writes one line. format and what follows are printf's. A line end at the end of the message (LF, CR or both in
    // either order) is replaced by the line's own. A message that exceeds the line buffer of 4096 bytes is cut. A level
    // of 0 or a null format writes nothing.
    void Log(unsigned level, TIME_DATE td, const char* format, ...) __attribute__((format(printf, 4, 5)));
    void Log(unsigned level, TIME_DATE td, const char* format, va_list& args) __attribute__((format(printf, 4, 0)));
    // The same with LOG_M and TD_NONE.
    void Log(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void Log(const char* format, va_list& args) __attribute__((format(printf, 2, 0)));
    // Writes a line that consists only of level letters, date and time.
    void LogTimeStamp();
    // Writes the file name of this library to the log of the process, if that is switched on.
    static void LogModuleInfo();

    // Formats t as "11/16/26 15:52:03". Returns: the characters written, 0 when they do not fit.
    int SprintfTime(char* buf, int size, const tm* t);

    // The steps of a line. Each returns the count of characters written, the terminator not counted; the first two stay
    // within size.
    int SprintfLevel(unsigned level, char* buf, int size);
    int SprintfCurrentTime(char* buf, int size, TIME_DATE td);
    // Ends the line and writes it. Returns 0 if the complete line is not in the file, unless lines are printed too.
    // REQUIRES: as LineEnd.
    // Threads: not while other threads log.
    int AddToLog(char* line, int length);
    // Makes line, of length characters (0: up to its terminator), end in exactly one newline.
    // REQUIRES: room for two more characters.
    int LineEnd(char* line, int length);

    uFile m_file;  // anything that the host writes to it comes before the next line
    std::string m_fileName;
    bool m_outputEnabled;
    bool m_logToStdio;
    bool m_logDbgOutWindow;
    bool m_append;
    bool m_nameValid;
    bool m_fileOpen;
    uMutex m_mutex;
    int m_bufSize;
    char* m_pBuf;
    unsigned int m_levelMask;  // lines are written while it is not 0
};

}  // namespace ORM_LUX
