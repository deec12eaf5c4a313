// The lock around the process's only uTime. Private to the library.
#pragma once

#include "source_utilities/uMutex.h"

namespace ORM_LUX {

// Returns: the mutex that every user of uTime inside the library (loggers of several threads, the start-up) holds
//          around GetLocal and reading the fields. It is never destroyed: threads may log until the process ends.
uMutex& SharedTimeMutex() noexcept;

}  // namespace ORM_LUX
