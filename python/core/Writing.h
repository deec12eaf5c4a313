// Writing TDF files, as orm-trace create and append do.
#pragma once

#include <pybind11/pybind11.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "capture/SectionSource.h"
#include "python/core/Capture.h"

namespace orm_trace {

// A section to be written. Its data is a buffer of Python, or a range of a capture.
class NewSection {
public:
    // Errors: Error (kArgument), for a name or a length with which readers would not find it; BufferError, for data that is
    //         not contiguous; ValueError, when the capture is closed.
    NewSection(std::string name, std::uint32_t version, const pybind11::buffer& data);
    NewSection(std::string name, std::uint32_t version, const Capture& capture, const ByteRange& data);

    // Needs no lock of Python.
    SectionSource& Source() noexcept { return m_source; }

private:
    std::shared_ptr<pybind11::buffer_info> m_data;
    SectionSource m_source;
};

// Both write all of it or nothing. Python's lock is released; in the main thread, signal handlers run and may end the work.
// One call at a time, and each section once.
//
// Errors: those of capture/, FormatFailure, and those of signal handlers.

// Creates a TDF file. replace: a regular file of that name may exist.
void Create(const std::string& path, const std::vector<NewSection*>& sections, bool replace);

// Appends a section to a TDF file. Errors: also Error (kArgument), when the file has such a section.
void Append(const std::string& path, NewSection& section);

}  // namespace orm_trace
