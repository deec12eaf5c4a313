// Where the samples of a capture were cut from.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "capture/InputFile.h"

namespace orm_trace {

// What the section "orm-trace/origin":1 says. Its data is a JSON object with the members "file", "first_sample", "count"
// and "tool_version"; the numbers are strings of decimal digits. A name that is not UTF-8 is escaped in "file", and "file_hex"
// has its bytes.
struct Origin {
    static constexpr char kSection[] = "orm-trace/origin";
    static constexpr std::uint32_t kVersion = 1;

    std::string file;         // name, without its folder
    std::uint64_t first = 0;  // index in that file of the first sample
    std::uint64_t count = 0;  // samples
    std::string version;      // of the tool

    // Returns: the origin that a TDF file has, nothing if it has no such section.
    // Errors:  Error (kInput): the section is damaged, or is not of this form.
    static std::optional<Origin> Find(const InputFile& file);

    // Returns: the section's data.
    std::string Data() const;
};

}  // namespace orm_trace
