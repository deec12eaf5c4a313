#include "source_utilities/internal/SharedTimeMutex.h"

#include "source_utilities/internal/NeverDestroyed.h"

namespace ORM_LUX {

uMutex& SharedTimeMutex() noexcept {
    static NeverDestroyed<uMutex> mutex;
    return mutex.value;
}

}  // namespace ORM_LUX
