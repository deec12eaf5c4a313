#include "source_utilities/SharedTime.h"

namespace ORM_LUX {

uMutex& SharedTimeMutex() {
    static uMutex& mutex = *new uMutex;
    return mutex;
}

}  // namespace ORM_LUX
