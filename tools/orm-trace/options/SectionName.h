// Names of sections on the command line.
#pragma once

#include <string>
#include <string_view>

#include "capture/Error.h"
#include "capture/Text.h"

namespace orm_trace {

// Returns: the name's bytes, which may be written as the tool shows them. Errors: Error (kArgument).
inline std::string SectionName(std::string_view text) {
    const auto name = Unescaped(text);
    if (!name)
        throw Error(ErrorKind::kArgument, std::string(text), "has a backslash that begins neither \\xHH nor \\\\");
    return *name;
}

}  // namespace orm_trace
