// A stdio stream with its path, its mode and a lock.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <string>

#include "source_utilities/Export.h"
#include "source_utilities/uMutex.h"

namespace ORM_LUX {

// Wraps one stdio stream. An object is created closed; Open opens it, Close closes it.
// Ownership: the destructor does not close the stream: the code that opened it calls Close first.
// Errors:    nothing throws. On an object that is not open each operation returns the value stated, at once; otherwise
//            it returns the result of the stdio call.
// Threads:   the operations on the stream may be called from several threads at once. Opening, closing and erasing may
//            not overlap them.
class ORM_EXPORT uFile {
public:
    // Stores path (null counts as empty) and mode; opens nothing.
    // Ownership: mode is not copied, and must outlive the object. It may be null.
    uFile(const char* path, const char* mode);
    virtual ~uFile();
    uFile(const uFile&) = delete;
    uFile& operator=(const uFile&) = delete;

    // Replaces the path unless the new one is null, replaces the mode even by null, and opens the file.
    // REQUIRES: closed; a stream that is still open is replaced without being closed.
    // Returns:  whether the file is open afterwards.
    bool Open(const char* path, const char* mode);
    // Opens the stored path in the stored mode. Returns: false when the path is empty or the mode null.
    bool Open();
    // Opens path in mode ("r" when mode is null or empty) without storing either: as fopen does, repeated if a signal
    // interrupts it. The descriptor is close-on-exec and never 0, 1 or 2, whichever standard streams the host has
    // closed.
    bool OpenInternal(const char* path, const char* mode);
    // Returns: whether a stream was open. It is closed afterwards, even if closing reported an error.
    bool Close();

    bool IsOpen() const;

    // Empties the file on disk; a file that was open is open again afterwards, in its stored mode. Does nothing when no
    // stream is open or the path is empty.
    void Erase();

    // Valid until: the next Open.
    const char* GetPath() const;
    const char* GetOpenMode() const;

    // Units: bytes. Returns: the bytes read or written; 0 when not open.
    unsigned long Read(void* buffer, unsigned long size);
    unsigned int Write(const void* buffer, unsigned long size);

    // Writes text without its terminator. Returns: false if that failed or the file is not open.
    bool WriteString(const char* text);
    // Reads up to the end of a line, newline included, at most size - 1 characters, and terminates them. Only the
    // low 32 bits of size count.
    // Returns: true when something was read; never for a size of 1, which has room for the terminator only.
    bool ReadString(char* buffer, unsigned long size);

    // Returns: the characters written, negative on an error, 0 when not open.
    long Printf(const char* format, ...) __attribute__((format(printf, 2, 3)));
    long Printf(const char* format, va_list& args) __attribute__((format(printf, 2, 0)));

    // Each returns true on success, false when not open.
    bool Flush();
    bool SeekToBegin();
    bool SeekToEnd();
    bool GetPosition(fpos_t& position);
    bool SetPosition(fpos_t position);

    // The stream's indicators. An object that is not open is not at its end (false) and has an error (true).
    bool IsEof() const;
    bool IsError() const;
    void ClearError();

    // Units:   bytes.
    // Returns: the distance from the present position, which is kept, to the end of the file: the file's size right
    //          after opening. 0 when not open, and for a stream without positions.
    long GetSize();

    // Sets the position's offset to 0 and keeps its other fields.
    void ZeroFILEPOS(fpos_t& position);
    // Returns: the offset of a minus the offset of b, in bytes.
    long DifferenceFILEPOS(fpos_t a, fpos_t b);

    bool m_isOpen;
    std::string m_path;
    const char* m_mode;
    FILE* m_stream;
    uMutex m_lock;
};

}  // namespace ORM_LUX
