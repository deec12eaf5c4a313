// A driver as nobody should write one. What it does wrong, STRANGE in the environment says.
#include <cstdlib>
#include <string_view>

#include "driver/TalvoraFileChannelDriver.h"

namespace {

bool Does(std::string_view what) {
    const char* strange = std::getenv("STRANGE");
    return strange != nullptr && strange == what;
}

struct StrangeDriver : Orm::Lux::Trace::TalvoraFileChannelDriver {
    void SaveFile(std::string, Orm::Lux::Trace::eTraceDataFileType) override {
        if (Does("throw")) throw 42;
    }
};

}  // namespace

extern "C" __attribute__((visibility("default"))) Orm::Lux::Trace::CChannelDriver* CreateChannelDriver() {
    return Does("null") ? nullptr : new StrangeDriver;
}
extern "C" __attribute__((visibility("default"))) void DestroyChannelDriver(Orm::Lux::Trace::CChannelDriver* driver) {
    delete driver;
}
