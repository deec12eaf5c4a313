// Reading and writing TDF files: the containers of captured traces. docs/tdf.5.md describes the format.
#pragma once

#include <cstdio>

#include "source_utilities/Export.h"

namespace Orm {
namespace Lux {
namespace Trace {

// Operations on TDF files. The class has no state: create an instance where you need one. An operation that takes a
// path opens the file, and closes it before it returns or throws.
//
// Writing: create the file; then, for each section, append its header, and then its data, in as many chunks as you
//          like. Operations only append, except that they overwrite the length field of the last section. Nothing is
//          rolled back: what was written before a failure stays, after everything that was readable before. Every write
//          and the closing are checked; nothing is buffered. The limits of readers are not enforced.
// Opening: each operation opens the file once, and uses only that open file.
// Stack:   up to 28 KiB.
//
// Units:   positions and lengths are bytes; positions count from the start of the file. All are 32 bits wide, and files
//          of 4 GiB or more are outside the format.
// Names:   a section is found by its name, byte for byte, and its version. A null name matches no section. Of
//          several equal sections the first in the file is found. The search ends at damage: a section longer than 128
//          MiB or than the format can address, one shorter than its own header, a name longer than 4095 bytes, a header
//          that the end of the file cuts. A section whose data the end of the file cuts is found, with the length that
//          it states.
// Errors:  Orm::Lux::Corva::cCorvaError of severity 2 with the text stated, and std::bad_alloc; predicates return false
//          also if the file cannot be read, and never throw. A directory counts as a file that cannot be opened. A FIFO
//          or device never blocks. Opening waits for a file on which another process holds a lease. An interrupted
//          call is made again.
// Threads: calls that read may overlap, even on one file. A file that is written to must be used by only one thread and
//          one process at a time.
class ORM_EXPORT TDFHandler {
public:
    TDFHandler();
    ~TDFHandler();

    // Returns: whether path names a file that can be opened for reading. False for null.
    bool IsFileAvailable(const char* path);

    // Returns: whether path ends in a dot and extension, in any mix of ASCII upper and lower case: "a.TDF" and ".tdf"
    //          have the extension "tdf", "tdf" does not. False for a null argument.
    bool HasExtension(const char* path, const char* extension);

    // Returns: whether path has the extension "tdf" and names a file that begins with the TDF identifier.
    bool ISTDF(const char* path);

    // Searches from the stream's position, which must be the start of a section: usually after the identifier.
    // dataLength: 0 during the search, then the section's data length; unchanged when stream is null.
    // Returns: true if the section is found: the stream is then positioned at its data. Otherwise false, with the
    //          stream's position unspecified.
    bool SeekSectionData(FILE* stream, const char* name, unsigned int version, unsigned int& dataLength);

    // Stores the length of a section's data. The file may have any name.
    // dataLength: 0 from the start of the call.
    // Errors: "File name passed to load file is not valid.", "Could not open TDF file as specified." (its first bytes
    //         cannot be read), "Invalid TDF format.", "Section size cannot be located in the file.", "Read I/O error -
    //         section data corrupted." (the file cannot be read before the section).
    void GetSectionDataLengthInBytes(const char* path, const char* name, unsigned int version,
                                     unsigned int& dataLength);

    // Copies the first bytes of a section's data, as many as fit in the buffer and the file has.
    // bytesRead: 0 from the start of the call; fewer than the section's length where the end of the file cuts it.
    // Errors: "File name passed to load is not valid.", "TDF file extension must be .tdf.",
    //         "No buffer allocated to load section data." (null, or a size of 0), "Could not open TDF file as
    //         specified." (its first bytes cannot be read), "Invalid TDF format.", name + " section cannot be located
    //         in the file.", "Read I/O error - section data corrupted." (the buffer is then unspecified).
    void LoadSectionData(const char* path, const char* name, unsigned int version, void* buffer,
                         unsigned int bufferSize, unsigned int& bytesRead);

    // Stores where a section's data begins and how long it is.
    // position:   written on success only.
    // dataLength: unchanged by a failure before the search, 0 when the search fails.
    // Errors: "File name passed to load is not valid.", "TDF file extension must be .tdf.", "Could not open TDF file
    //         as specified." (its first bytes cannot be read), "Invalid TDF format.", name + " section cannot be
    //         located in the file.", "Read I/O error - section data corrupted." (the file cannot be read before the
    //         section).
    void GetSectionDataPosition(const char* path, const char* name, unsigned int version, unsigned int& position,
                                unsigned int& dataLength);

    // Creates a TDF file without sections; an existing file is emptied.
    // Errors: "Null file name to create TDF.", "TDF file extension must be .tdf.", "Could not create TDF file as
    //         specified.", "Write error -  TDF file identifier." (the file then holds a part of the identifier).
    void CreateTDFFile(const char* path);

    // Appends the header of a section without data at the end of the file. A null name makes a nameless section.
    // Whether the file is a TDF file and its chain of sections is intact is not checked: a section after damage is not
    // found.
    // headerOffset: 0 from the start of the call; the section's offset, once the file has been measured.
    // Errors: "File name passed to save file is not valid.", "Could not open TDF file as specified." (it cannot be
    //         opened for writing), "TDF file would exceed 4 GiB." (nothing has been written up to here),
    //         "Write error -  TDF section header size.", "Write error -  TDF section name and version.",
    //         "Write error - size of TDF header." (the length field is 0 then: the chain of sections ends there).
    void SaveSectionHeader(const char* path, const char* name, unsigned int version, unsigned int& headerOffset);

    // Appends data to the last section of the file: elementCount elements of elementSize bytes. The section is named
    // only by the offset of its header; name is not looked at. Leftovers of a failed append after the section's end are
    // overwritten, and what remains of them is cut off, once at least one byte was appended. If they parse as a
    // section, or begin with a header that has a printable name, the call fails and the file must be truncated first.
    // sectionLength: 0 from the start of the call; then the section's new length in bytes, header included.
    // Errors: "File name passed to save file is not valid.", "Section header offset to save data is not valid." (below
    //         4, or no section begins there: it is within one, or has no header that fits in the file), "No data to
    //         write TDF." (null data), "Could not open TDF file as specified.", "Write I/O error - unable to determine
    //         section length.", "Section to save data to is followed by another section.", "TDF file would exceed 4
    //         GiB." (nothing has been written up to here),
    //         "Write I/O error - unable to write section data.", "Write error - section data corrupted.", "Write error
    //         - size of TDF header." (the section has the length that it had before).
    void SaveSectionData(const char* path, const char* name, unsigned int headerOffset, void* data,
                         unsigned int elementSize, unsigned int elementCount, unsigned int& sectionLength);

    // Writes version, name length and name, which follow the length field of a section, where the stream stands. A null
    // name is written as a length of 0.
    // Returns: false at the first write that does not complete, and for a null stream; what follows it is not written.
    bool SaveNameVersion(FILE* stream, const char* name, unsigned int version);
};

}  // namespace Trace
}  // namespace Lux
}  // namespace Orm

// Returns: the low 32 bits of the file's size in bytes; 0 when it cannot be opened or has no size. Never throws.
ORM_EXPORT unsigned int FileSize(const char* path);
