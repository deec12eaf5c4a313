// Looking for single sections where no chain leads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tools/orm-trace/InputFile.h"

namespace orm_trace {

// All of these look at each byte once or twice, whatever they hold. Errors: Failure.

inline constexpr std::size_t kMaxTextName = 255;  // bytes

// Whether a section's name is one that people give: text, and not long. What data has by chance is not.
bool IsTextName(std::string_view name);

// What a header says of its section, whose length may be anything.
struct NamedHeader {
    std::uint32_t length = 0;  // as it says
    std::uint32_t version = 0;
    std::string name;
};

// Returns: the header at this position, when it is whole and its name is text.
std::optional<NamedHeader> ReadNamedHeader(const InputFile& file, std::uint64_t at);

// Looks in [from, bound) for the first section that need not be part of a chain; bound is the beginning of another
// section, or the size of the file. Its header is well-formed, its name is text of two bytes or more, and either
//
//   the next section follows it, with a name that is text or a header that is well-formed; or bound
//   with `alone`, nothing follows, but no other such header lies within it
std::optional<std::uint64_t> FindSection(const InputFile& file, std::uint64_t from, std::uint64_t bound, bool alone);

// Looks in [from, to), which a section has for itself, for the first one as above that shows that this is wrong: it, or a
// section further on that it leads to, reaches beyond `to`, or, when `to` is beyond the end of the file, it leads to
// another one at least. One that is followed by nothing shows it only if no other header is there.
//
// A TDF file that is the data of a section shows nothing: its sections begin behind an identifier.
std::optional<std::uint64_t> FindSectionAcross(const InputFile& file, std::uint64_t from, std::uint64_t to);

}  // namespace orm_trace
