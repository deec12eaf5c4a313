// The result of a directory getter of the environment, without its exception. Private to the library.
#pragma once

#include <string>

#include "source_utilities/source_utilities_error.h"
#include "source_utilities/uEnvironment.h"

namespace ORM_LUX {

// Returns: the directory, "" if the getter throws because none exists.
inline std::string DirectoryText(const char* (*getter)(std::string&)) {
    std::string directory;
    try {
        getter(directory);
    } catch (const source_utilities_error&) {
        directory.clear();
    }
    return directory;
}

}  // namespace ORM_LUX
