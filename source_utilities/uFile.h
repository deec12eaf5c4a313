// A stdio stream with its path, its mode and a lock.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <string>

#include "source_utilities/Export.h"
#include "source_utilities/uMutex.h"

namespace ORM_LUX {

// Wraps one stdio stream. An object is made closed; Open opens it, Close closes it.
// Ownership: the destructor does not close the stream: its user calls Close first.
// Errors:    nothing throws; on an object that is not open each operation answers at once with the value stated, else
//            with what the stdio call says.
// Threads:   the operations on the stream may be called from several threads at once. Opening, closing and erasing may
//            not overlap them.
class ORM_EXPORT uFile {
public:
    // Notes path (null counts as empty) and mode; opens nothing.
    // Ownership: mode is not copied and outlives the object. It may be null.
    uFile(const char* path, const char* mode);
    virtual ~uFile();
    uFile(const uFile&) = delete;
    uFile& operator=(const uFile&) = delete;

    // Replaces the path unless the new one is null, replaces the mode whatever it is, and opens the file.
    // REQUIRES: closed; a stream still held is replaced without being closed.
    // Returns:  whether the file is open now.
    bool Open(const char* path, const char* mode);
    // Opens the noted path in the noted mode. Returns: false when the path is empty or the mode null.
    bool Open();
    // Opens path in mode ("r" when mode is null or empty) without noting either: as fopen does, again where a signal
    // interrupted it. The descriptor is close-on-exec and never 0, 1 or 2, whichever standard streams the host has
    // closed.
    bool OpenInternal(const char* path, const char* mode);
    // Returns: whether there was a stream to close. It is gone afterwards, also when closing it failed.
    bool Close();

    bool IsOpen() const;

    // Empties the file on disk; one that was open is open again afterwards, in its noted mode. Does nothing when no
    // stream is held or the path is empty.
    void Erase();

    // Valid until: the next Open.
    const char* GetPath() const;
    const char* GetOpenMode() const;

    // Units: bytes. Returns: the bytes read or written; 0 when not open.
    unsigned long Read(void* buffer, unsigned long size);
    unsigned int Write(const void* buffer, unsigned long size);

    // Writes text without its terminator. Returns: false when it failed or the file is not open.
    bool WriteString(const char* text);
    // Reads up to the end of a line, newline included, at most size - 1 characters, and terminates them. Of size the
    // low 32 bits count.
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
    //          after opening. 0 when not open, and for what has no position.
    long GetSize();

    // Sets the position's offset to 0 and leaves the rest of it.
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
