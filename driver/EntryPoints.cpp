// The C functions with which a host creates and destroys a driver.
#include <memory>

#include "driver/StartUp.h"
#include "driver/TalvoraFileChannelDriver.h"

extern "C" Orm::Lux::Trace::CChannelDriver* CreateChannelDriver() {
    auto driver = std::make_unique<Orm::Lux::Trace::TalvoraFileChannelDriver>();
    Orm::Lux::Trace::StartUp();
    return driver.release();
}

extern "C" void DestroyChannelDriver(Orm::Lux::Trace::CChannelDriver* driver) { delete driver; }
