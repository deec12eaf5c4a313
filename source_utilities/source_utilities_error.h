// The exception of the support library.
#pragma once

#include <stdexcept>
#include <string>

#include "source_utilities/Export.h"

namespace ORM_LUX {

// Thrown by the support library for misuse (a null name, a working directory that cannot be changed to); the base of
// uString::error. what() is a fixed English text, in some cases with a name in it.
class ORM_EXPORT source_utilities_error : public std::runtime_error {
public:
    explicit source_utilities_error(const std::string& message);
    ~source_utilities_error() override;
};

}  // namespace ORM_LUX
