#include "source_utilities/internal/StartMutex.h"

#include "source_utilities/internal/NeverDestroyed.h"

namespace ORM_LUX {

uMutex& StartMutex() noexcept {
    static NeverDestroyed<uMutex> mutex;
    return mutex.value;
}

}  // namespace ORM_LUX
