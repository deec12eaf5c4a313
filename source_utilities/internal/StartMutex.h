// The lock around the start of logging. Private to the library.
#pragma once

#include "source_utilities/uMutex.h"

namespace ORM_LUX {

// Returns: the mutex that is held while logging starts or its setting changes, in any logging system of the process.
//          The environment does not change while it is read, as long as code that writes to it holds the mutex too.
uMutex& StartMutex() noexcept;

}  // namespace ORM_LUX
