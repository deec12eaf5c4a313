// The one place where the library makes and reads errors of the tools library. Private to the library.
#pragma once

#include <string>

namespace Orm::Lux::Corva {
class cCorvaError;
}

namespace Orm::Lux::Trace {

// Throws a cCorvaError of severity 2 with this text.
[[noreturn]] void ThrowCorvaError(const std::string& message);

// Throws a cCorvaError of severity 0, the refusal of a request that is no failure.
[[noreturn]] void ThrowCorvaRefusal(const char* source, const char* message);

// Returns: the error's text.
std::string TextOf(const Corva::cCorvaError& error);

}  // namespace Orm::Lux::Trace
