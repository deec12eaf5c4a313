// Appending sections to one open TDF file. Private to the library.
#pragma once

#include <cstdint>
#include <cstdio>

#include "tdf/OpenFile.h"
#include "tdf/TDFFile.h"

namespace Orm::Lux::Trace {

// A TDF file that is open for appending. Data is written before the length that covers it, and nothing is buffered:
// whatever ends the process leaves the sections that were complete, each with its bytes.
//
// Errors: cCorvaError with the text stated; what was written before stays.
class TDFAppender {
public:
    // Opens path for reading and writing, or for reading only where writing is not permitted. Never throws.
    explicit TDFAppender(const char* path) noexcept;

    // The open file, null where it cannot even be read.
    std::FILE* Stream() const noexcept { return m_stream.get(); }

    // Checks that a section of length bytes, header included, can be appended and will be found.
    // Errors: "Could not open TDF file as specified." (no permission to write), "File name passed to save file is not
    //         valid." (the file cannot be read), "TDF file is damaged: a section appended to it could not be found.",
    //         "TDF file would exceed 4 GiB.".
    void RequireRoom(std::uint64_t length) const;

    // As TDFHandler::SaveSectionHeader and SaveSectionData do.
    void AppendHeader(const char* name, std::uint32_t version, unsigned int& headerOffset);
    void AppendData(unsigned int headerOffset, const void* data, unsigned int elementSize, unsigned int elementCount,
                    unsigned int& sectionLength);

    // Closes the file. Errors: "Write error - size of TDF header.", when the system reports only now that a write has
    // failed.
    void Close();

private:
    void RequireWritable() const;

    FilePtr m_stream;
    bool m_isWritable;
};

}  // namespace Orm::Lux::Trace
