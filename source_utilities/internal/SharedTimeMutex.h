// The lock around the process's one uTime. Private to the library.
#pragma once

#include "source_utilities/uMutex.h"

namespace ORM_LUX {

// Returns: the mutex that every user of uTime inside the library holds around GetLocal and the reading after it: the
//          loggers of several threads, and the start-up. It is never destroyed: threads may log until the process ends.
uMutex& SharedTimeMutex() noexcept;

}  // namespace ORM_LUX
