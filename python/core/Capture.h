// A capture that Python has open.
#pragma once

#include <pybind11/numpy.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "capture/InputFile.h"
#include "capture/SampleFile.h"

namespace orm_trace {

// Bytes of a file.
struct ByteRange {
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
};

// An open file, read by position.
//
// Threads: any number may read. A child process that is forked reads with the same descriptor, which does not matter.
class OpenFile {
public:
    // Errors: Error (kInput).
    explicit OpenFile(const std::string& path);

    const InputFile& Input() const noexcept { return m_input; }
    // Nanoseconds since the beginning of 1970, when the file was opened.
    std::int64_t ModificationTime() const noexcept { return m_modified; }

    // Fills the buffer. Errors: FormatFailure, when the file became shorter; Error (kFailed).
    void Read(std::uint64_t offset, std::span<char> buffer) const;
    void Read(std::uint64_t offset, std::span<std::uint64_t> words) const;

    struct State {
        std::uint64_t size = 0;     // bytes
        std::int64_t modified = 0;  // nanoseconds since the beginning of 1970
    };
    // Errors: Error (kFailed).
    State CurrentState() const;

private:
    InputFile m_input;
    std::int64_t m_modified = 0;
};

// The same, until Python closes it: what is going on in other threads then ends normally.
class Capture {
public:
    // What was known when the file was opened, and stays when it is closed.
    struct Facts {
        std::string path;
        std::string absolutePath;   // by the working directory of that time
        std::uint64_t size = 0;     // bytes
        std::int64_t modified = 0;  // nanoseconds since the beginning of 1970
        bool hasIdentifier = false;
        bool isNamedTdf = false;
    };

    // path: as the system has it. Errors: Error (kInput).
    explicit Capture(const std::string& path);

    const Facts& Known() const noexcept { return m_facts; }

    // Errors: ValueError, when it is closed.
    std::shared_ptr<const OpenFile> File() const;
    bool IsClosed() const noexcept { return m_file == nullptr; }
    void Close() noexcept { m_file.reset(); }

    // Returns: the size and the time of change that the file has now. Errors: Error.
    pybind11::tuple CurrentState() const;

    // Returns: where the whole samples are that the file had when it was opened; nothing for a TDF file that has no section for them.
    // Errors:  Error.
    std::optional<ByteRange> Samples() const;

    // Returns: the sections as tuples (name, version, offset, length, data offset, data available), and the faults as
    //          tuples (kind, offset, index, name, message). Errors: Error.
    pybind11::tuple Sections() const;

    // Returns: the first section of this name, and of this version if one is given, as such a tuple, or None.
    // Errors:  Error.
    pybind11::object FindSection(const std::string& name, std::optional<std::uint32_t> version) const;

    // Errors: FormatFailure, when the file does not have all of them; Error (kFailed).
    pybind11::bytes ReadBytes(const ByteRange& range) const;

    // Fills an array with the bytes from an offset on. Errors: the same, and those of signal handlers.
    void ReadWords(std::uint64_t offset, pybind11::array_t<std::uint64_t, pybind11::array::c_style>& words) const;

    // Returns: words from an offset on, as a read-only array that shows the file, also when it is closed.
    // Errors:  FormatFailure, when the file does not have all of them; Error (kFailed).
    pybind11::array_t<std::uint64_t> MapWords(std::uint64_t offset, std::uint64_t count) const;

private:
    std::shared_ptr<const OpenFile> m_file;
    Facts m_facts;
};

}  // namespace orm_trace
