// A host in C++17 that knows the public headers alone.
#include <dlfcn.h>

#include <cstdio>

#include "corva/cCorvaError.h"
#include "driver/CChannelDriver.h"

int main(int, char** argv) {
    void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return std::puts(dlerror()), 1;
    using Orm::Lux::Trace::CChannelDriver;
    const auto create = reinterpret_cast<CChannelDriver* (*)()>(dlsym(library, "CreateChannelDriver"));
    const auto destroy = reinterpret_cast<void (*)(CChannelDriver*)>(dlsym(library, "DestroyChannelDriver"));
    CChannelDriver* driver = create();
    int result = 1;
    try {
        driver->StartRecording(true);
    } catch (const Orm::Lux::Corva::cCorvaError& error) {
        result = error.GetSeverity() == Orm::Lux::Corva::cCorvaErrorIF::Severity_Error ? 0 : 1;
    }
    destroy(driver);
    return dlclose(library) == 0 ? result : 1;
}
