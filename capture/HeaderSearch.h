// Searching for single sections that no chain leads to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "capture/InputFile.h"

namespace orm_trace {

inline constexpr std::size_t kMaxTextName = 255;  // bytes

// Whether a section's name is one that people give: text, and not long. What data holds by chance is not.
bool IsTextName(std::string_view name);

// What a header says of its section. The length may be anything.
struct NamedHeader {
    std::uint32_t length = 0;  // as it says
    std::uint32_t version = 0;
    std::string name;
};

// Each search looks at a byte once, and at some twice, whatever they hold; it takes memory for a chunk of the file.
//
// Errors: each operation throws Error (kFailed) for what cannot be read.
class HeaderSearch {
public:
    explicit HeaderSearch(const InputFile& file) : m_file(file) {}

    // Returns: the header at this offset, when it is whole and its name is text.
    std::optional<NamedHeader> ReadNamed(std::uint64_t at);

    // Looks in [from, bound) for the first section that need not be part of a chain; bound is the beginning of another
    // section, or the size of the file. Its header is well-formed, its name is text of two bytes or more, and either
    //
    //   the next section follows it, with a name that is text or a header that is well-formed; or it ends at bound
    //   with isSingle, nothing follows, but no other such header lies within it; nor before it, if the file ends within it
    std::optional<std::uint64_t> Find(std::uint64_t from, std::uint64_t bound, bool isSingle);

    // Looks in [from, to), the bytes of one section, for the first section as above that shows that the bytes cannot all
    // belong to that one: it, or a section further on that it leads to, reaches beyond `to`; or, when `to` is not within
    // the file, it leads to at least one more. One that nothing follows shows it only if it is the only header.
    //
    // A TDF file that is the data of a section shows nothing: its sections begin after an identifier. (Find takes them for
    // sections: it is asked where no length can be trusted.)
    std::optional<std::uint64_t> FindAcross(std::uint64_t from, std::uint64_t to);

private:
    // What is at the offset where a section ends.
    struct Next {
        bool isHeader = false;                  // that could be one of a section, though its length may be wild
        std::optional<std::uint64_t> end = {};  // of the section, if the header is well-formed
    };

    template <class Visit> void ForEach(std::uint64_t from, const std::uint64_t& to, Visit visit);
    Next ReadNext(std::uint64_t at);
    bool FollowsIdentifier(std::uint64_t at);
    std::span<const unsigned char> Scan(std::uint64_t at);
    std::span<const unsigned char> Look(std::uint64_t at, std::size_t size);

    const InputFile& m_file;
    std::vector<unsigned char> m_chunk;   // of the file, that is scanned
    std::uint64_t m_chunkBegin = 0;       // in the file
    std::size_t m_chunkSize = 0;          // bytes read
    std::vector<unsigned char> m_header;  // elsewhere
};

}  // namespace orm_trace
