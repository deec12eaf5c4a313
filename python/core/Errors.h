// Errors of the core as Python's exceptions.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace orm_trace {

// A file that does not have what it should: orm_trace.FormatError.
class FormatFailure : public std::runtime_error {
public:
    FormatFailure(std::string path, std::optional<std::uint64_t> offset, const std::string& reason)
        : std::runtime_error(reason), m_path(std::move(path)), m_offset(offset) {}

    const std::string& Path() const noexcept { return m_path; }
    const std::optional<std::uint64_t>& Offset() const noexcept { return m_offset; }

private:
    std::string m_path;
    std::optional<std::uint64_t> m_offset;
};

// Makes FormatFailure a FormatError, and Error what its kind is: OSError with the number of the system's error, FormatError
// for a file that is not what it should be, ValueError for an argument.
void RegisterErrors();

}  // namespace orm_trace
