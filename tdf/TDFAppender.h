// Appending sections to one open TDF file. Private to the library.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <cstdio>

#include "tdf/FileIO.h"
#include "tdf/TDFFile.h"

namespace Orm::Lux::Trace {

// A TDF file that is open for appending. Data is written before the length that covers it, and nothing is buffered:
// whatever ends the process leaves the sections that were complete, each with its bytes.
//
// Errors: cCorvaError with the text stated; what was written before stays.
class TDFAppender {
public:
    // Opens path for reading and writing, or for reading only where writing is not permitted.
    // Ownership: path belongs to the caller and outlives the object.
    explicit TDFAppender(const char* path) noexcept;

    // Whether path leads to a file that can at least be read.
    bool IsOpen() const noexcept { return m_stream != nullptr; }

    // Returns: whether path leads to a regular file with the TDF identifier.
    // Errors: "File name passed to save file is not valid.", if the file cannot be read.
    bool IsTDF() const;

    // Returns: whether the stream is open on this file too; and whether path still leads to it.
    bool IsSameFile(std::FILE* stream) const noexcept;
    bool IsNamed() const noexcept;

    // Checks that a section of length bytes, header included, can be appended and will be found.
    // Errors: "Could not open TDF file as specified." (it cannot be written to), "File name passed to save file is not
    //         valid." (the file cannot be read), "TDF file is damaged: a section appended to it could not be found.",
    //         "TDF file would exceed 4 GiB.".
    void RequireRoom(std::uint64_t length) const;

    // As TDFHandler::SaveSectionHeader and SaveSectionData do.
    void AppendHeader(const char* name, std::uint32_t version, unsigned int& headerOffset);
    void AppendData(unsigned int headerOffset, const void* data, unsigned int elementSize, unsigned int elementCount,
                    unsigned int& sectionLength);

    // Closes the file. Errors: "Write error - size of TDF header.", if the system reports only now that a write has
    // failed.
    void Close();

private:
    void RequireWritable() const;
    bool IsThisFile(const struct stat& other) const noexcept;

    const char* m_path;
    FilePtr m_stream;
    bool m_isWritable;
    int m_error = 0;            // why the file could not be opened
    std::uint64_t m_begun = 0;  // offset of the section that AppendHeader made; 0: none
};

}  // namespace Orm::Lux::Trace
