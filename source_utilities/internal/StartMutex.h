// The lock around starting. Private to the library.
#pragma once

#include "source_utilities/uMutex.h"

namespace ORM_LUX {

// Returns: the mutex that is held while logging starts or its setting changes, in any logging system of the process:
//          what is read of the environment then does not change under the reader, as long as those who write it hold it
//          too.
uMutex& StartMutex() noexcept;

}  // namespace ORM_LUX
