// A host outside the tree, host DRIVER: loads the driver privately and for all, catches its error by its type, and says
// whose error class it has got.
#include <dlfcn.h>

#include <cstdio>

#include "corva/cCorvaError.h"
#include "driver/CChannelDriver.h"

int main(int argc, char** argv) {
    for (int mode : {RTLD_LOCAL, RTLD_GLOBAL}) {
        void* library = dlopen(argv[argc - 1], RTLD_NOW | mode);
        if (library == nullptr) return std::puts(dlerror()), 1;
        auto create = reinterpret_cast<decltype(&CreateChannelDriver)>(dlsym(library, "CreateChannelDriver"));
        auto destroy = reinterpret_cast<decltype(&DestroyChannelDriver)>(dlsym(library, "DestroyChannelDriver"));
        Orm::Lux::Trace::CChannelDriver* driver = create();
        try {
            driver->StopRecording();
        } catch (const Orm::Lux::Corva::cCorvaError& error) {
            std::printf("%s: %s\n", dlsym(RTLD_DEFAULT, "OrmCorvaStandIn") != nullptr ? "stand-in" : "real",
                        error.what());
        }
        destroy(driver);
        dlclose(library);
    }
}
