#include "source_utilities/source_utilities_error.h"

namespace ORM_LUX {

source_utilities_error::source_utilities_error(const std::string& message) : std::runtime_error(message) {}

source_utilities_error::~source_utilities_error() = default;

}  // namespace ORM_LUX
