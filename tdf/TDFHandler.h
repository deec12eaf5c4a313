// Reading TDF files: the containers in which captured traces are kept. docs/tdf.5.md describes the format.
#pragma once

#include <cstdio>

#include "source_utilities/Export.h"

namespace Orm {
namespace Lux {
namespace Trace {

// Operations on TDF files. The class has no state: make an instance where one is needed. An operation that takes a path
// opens the file and has closed it again when it returns or throws; it reads the file without changing it.
//
// Units:   positions and lengths are bytes; positions count from the start of the file. All are 32 bits wide, and files
//          of 4 GiB or more are outside the format.
// Names:   a section is found by its name, byte for byte, and its version. A null name is no section's. Of several
//          equal sections the first in the file is found. The search ends at damage: a section longer than 128 MiB or
//          than the format can address, one shorter than its own header, a name longer than 4095 bytes, a header that
//          the file's end cuts. A section whose data the end of the file cuts is found, with the length that it states.
// Errors:  Orm::Lux::Corva::cCorvaError of severity 2 with the text stated; predicates answer false and never throw. A
//          directory counts as a file that cannot be opened. A FIFO or device never makes the caller wait.
// Threads: calls may overlap, on one file too.
class ORM_EXPORT TDFHandler {
public:
    TDFHandler();
    ~TDFHandler();

    // Returns: whether path names a file that can be opened for reading. False for null.
    bool IsFileAvailable(const char* path);

    // Returns: whether path ends in a dot and extension, in any mix of ASCII upper and lower case: "a.TDF" and ".tdf"
    //          have the extension "tdf", "tdf" has not. False for a null argument.
    bool HasExtension(const char* path, const char* extension);

    // Returns: whether path has the extension "tdf" and names a file that begins with the TDF identifier.
    bool ISTDF(const char* path);

    // Searches from where the stream stands, which is where a section begins: behind the identifier, usually.
    // dataLength: 0 during the search, then the section's data length; unchanged when stream is null.
    // Returns: true when the section is found: the stream then stands at its data. Otherwise false, with the stream
    //          anywhere.
    bool SeekSectionData(FILE* stream, const char* name, unsigned int version, unsigned int& dataLength);

    // Stores the length of a section's data. The file may have any name.
    // dataLength: 0 from the start of the call.
    // Errors: "File name passed to load file is not valid.", "Could not open TDF file as specified.",
    //         "Invalid TDF format.", "Section size cannot be located in the file.".
    void GetSectionDataLengthInBytes(const char* path, const char* name, unsigned int version,
                                     unsigned int& dataLength);

    // Copies the first bytes of a section's data, as many as the buffer takes and the file has.
    // bytesRead: 0 from the start of the call; fewer than the section's length where the end of the file cuts it.
    // Errors: "File name passed to load is not valid.", "TDF file extension must be .tdf.",
    //         "No buffer allocated to load section data." (null, or a size of 0), "Could not open TDF file as
    //         specified.", "Invalid TDF format.", name + " section cannot be located in the file.",
    //         "Read I/O error - section data corrupted." (the buffer is then unspecified).
    void LoadSectionData(const char* path, const char* name, unsigned int version, void* buffer,
                         unsigned int bufferSize, unsigned int& bytesRead);

    // Stores where a section's data begins and how long it is.
    // position:   written on success alone.
    // dataLength: unchanged by a failure before the search, 0 when the search fails.
    // Errors: "File name passed to load is not valid.", "TDF file extension must be .tdf.", "Could not open TDF file
    //         as specified.", "Invalid TDF format.", name + " section cannot be located in the file.".
    void GetSectionDataPosition(const char* path, const char* name, unsigned int version, unsigned int& position,
                                unsigned int& dataLength);
};

}  // namespace Trace
}  // namespace Lux
}  // namespace Orm

// Returns: the file's size in bytes, of which the low 32 bits; 0 when it cannot be opened or has no size. Never throws.
ORM_EXPORT unsigned int FileSize(const char* path);
