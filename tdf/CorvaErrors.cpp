#include "tdf/CorvaErrors.h"

#include "corva/cCorvaError.h"

namespace Orm::Lux::Trace {

using Corva::cCorvaError;

void ThrowCorvaError(const std::string& message) { throw cCorvaError(message, cCorvaError::Severity_Error); }

void ThrowCorvaRefusal(const char* source, const char* message) {
    throw cCorvaError(source, message, cCorvaError::Severity_Information);
}

std::string TextOf(const cCorvaError& error) { return error.what(); }

}  // namespace Orm::Lux::Trace
