// Reading and writing TDF files: the containers in which captured traces are kept. docs/tdf.5.md describes the format.
#pragma once

#include <cstdio>

#include "source_utilities/Export.h"

namespace Orm {
namespace Lux {
namespace Trace {

// Operations on TDF files. The class has no state: make an instance where one is needed. An operation that takes a path
// opens the file and has closed it again when it returns or throws.
//
// Writing: create the file; then, for each section, append its header, and to that its data, in as many pieces as you
//          like. A file is only ever appended to, but for the one length field of its last section. There is no
//          rollback: what was written before a failure stays, after everything that could be read before. Every write
//          and the closing are checked; nothing is buffered. The limits of readers are not enforced.
// Opening: each operation opens the file once, and asks only the file that is open.
// Stack:   up to 28 KiB.
//
// Units:   positions and lengths are bytes; positions count from the start of the file. All are 32 bits wide, and files
//          of 4 GiB or more are outside the format.
// Names:   a section is found by its name, byte for byte, and its version. A null name is no section's. Of several
//          equal sections the first in the file is found. The search ends at damage: a section longer than 128 MiB or
//          than the format can address, one shorter than its own header, a name longer than 4095 bytes, a header that
//          the file's end cuts. A section whose data the end of the file cuts is found, with the length that it states.
// Errors:  Orm::Lux::Corva::cCorvaError of severity 2 with the text stated, and std::bad_alloc; predicates answer false,
//          also where they could not look, and never throw. A directory counts as a file that cannot be opened. A FIFO
//          or device never blocks. A file that another process holds a lease on is waited for. An interrupted call is
//          made again.
// Threads: calls that read may overlap, on one file too. A file that is written to is used by one thread at a time, and
//          by one process.
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

    // Searches from where the stream stands, which is where a section begins: after the identifier, usually.
    // dataLength: 0 during the search, then the section's data length; unchanged when stream is null.
    // Returns: true when the section is found: the stream then stands at its data. Otherwise false, with the stream
    //          anywhere.
    bool SeekSectionData(FILE* stream, const char* name, unsigned int version, unsigned int& dataLength);

    // Stores the length of a section's data. The file may have any name.
    // dataLength: 0 from the start of the call.
    // Errors: "File name passed to load file is not valid.", "Could not open TDF file as specified." (its first bytes
    //         cannot be read), "Invalid TDF format.", "Section size cannot be located in the file.", "Read I/O error -
    //         section data corrupted." (the file cannot be read before the section).
    void GetSectionDataLengthInBytes(const char* path, const char* name, unsigned int version,
                                     unsigned int& dataLength);

    // Copies the first bytes of a section's data, as many as the buffer takes and the file has.
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

    // Makes a TDF file without sections; a file that exists is emptied.
    // Errors: "Null file name to create TDF.", "TDF file extension must be .tdf.", "Could not create TDF file as
    //         specified.", "Write error -  TDF file identifier." (the file then holds a part of the identifier).
    void CreateTDFFile(const char* path);

    // Appends the header of a section without data at the end of the file. A null name makes a nameless section. It is
    // not tested whether the file is a TDF file, nor whether its chain of sections is whole: after damage no section
    // is found.
    // headerOffset: 0 from the start of the call; where the section begins, once the file has been measured.
    // Errors: "File name passed to save file is not valid.", "Could not open TDF file as specified." (it cannot be
    //         opened for writing), "TDF file would exceed 4 GiB." (nothing has been written up to here), "Write error -  TDF
    //         section header size.", "Write error -  TDF section name and version.", "Write error - size of TDF
    //         header." (the length field is 0 then: the chain of sections ends there).
    void SaveSectionHeader(const char* path, const char* name, unsigned int version, unsigned int& headerOffset);

    // Appends data to the last section of the file: elementCount elements of elementSize bytes. The section is named
    // only by the offset of its header; name is not looked at. Leftovers of a failed append after the section's end are
    // overwritten, and what remains of them is cut off, once at least one byte was appended. If they parse as a section,
    // or begin with a header that has a printable name, the call fails and the file must be truncated first.
    // sectionLength: 0 from the start of the call; then the section's new length in bytes, header included.
    // Errors: "File name passed to save file is not valid.", "Section header offset to save data is not valid." (below
    //         4, or no section of this file begins there), "No data to write TDF." (null data), "Could not open TDF
    //         file as specified.", "Write I/O error - unable to determine section length.", "Section to save data to is
    //         followed by another section.", "TDF file would exceed 4 GiB." (nothing has been written up to here),
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

// Returns: the file's size in bytes, of which the low 32 bits; 0 when it cannot be opened or has no size. Never throws.
ORM_EXPORT unsigned int FileSize(const char* path);
