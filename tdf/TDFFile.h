// Questions about one open TDF file. Private to the library.
#pragma once

#include <cstdint>
#include <cstdio>

namespace Orm::Lux::Trace {

// Every question is answered from the open file, never from its name, which may lead to another file by now. That the
// file cannot be read is an answer of its own.
//
// Ownership: the stream belongs to the caller, and stays open while the object is in use. Its position does not
//            matter, and is unspecified afterwards.
class TDFFile {
public:
    enum class Answer { kYes, kNo, kUnreadable };

    // Where a section's data begins and how long it is, as the section's header states, in bytes.
    struct Data {
        std::uint32_t offset = 0;
        std::uint32_t length = 0;
    };

    explicit TDFFile(std::FILE* stream) noexcept : m_stream(stream) {}

    // Returns: whether the file begins with the TDF identifier. A file that is not a regular one and cannot be read by
    //          position, such as a FIFO, does not.
    Answer HasIdentifier() const noexcept;

    // Looks for the first section with this name and version, from the offset start on. A null name matches no section.
    // data: written for kYes only.
    Answer Find(const char* name, std::uint32_t version, std::uint64_t start, Data& data) const noexcept;

    // The same from the identifier on, for callers that need the section. The search needs no memory.
    // Errors: cCorvaError: notFound, or, when that is null, name + " section cannot be located in the file.";
    //         "Read I/O error - section data corrupted." where the file cannot be read.
    Data Require(const char* name, std::uint32_t version, const char* notFound = nullptr) const;

private:
    std::FILE* m_stream;
};

}  // namespace Orm::Lux::Trace
