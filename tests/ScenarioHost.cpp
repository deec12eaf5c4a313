// A host for start-up scenarios: loads the library, then carries out its arguments as a script and says what happened.
//
//   scenario-host LIBRARY [create | destroy | destroy-null | load FILE TYPE | count | read START COUNT | operations |
//                          get NAME | set NAME VALUE | reopen]...
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "corva/cCorvaError.h"
#include "driver/CChannelDriver.h"

namespace Orm::Lux::Trace {
struct _ChannelAttribute {
    int untouched = 7;
};
struct _TraceChannelStatus {
    int untouched = 7;
};
}  // namespace Orm::Lux::Trace

namespace {

using namespace Orm::Lux::Trace;

void Try(const char* what, const std::function<void()>& call) {
    try {
        call();
        std::printf("%s: done\n", what);
    } catch (const Orm::Lux::Corva::cCorvaErrorIF& error) {
        std::printf("%s: error %d: %s\n", what, error.GetSeverity(), error.what());
    }
}

void Operations(CChannelDriver& driver) {
    _ChannelAttribute attribute;
    _TraceChannelStatus status;
    int a = 1;
    int b = 2;
    std::string text = "kept";
    Try("GetAttribute", [&] { driver.GetAttribute(nullptr, attribute); });
    Try("GetUserConfiguration", [&] { driver.GetUserConfiguration(); });
    Try("SetConfiguration", [&] { driver.SetConfiguration("x"); });
    Try("StartRecording", [&] { driver.StartRecording(true); });
    Try("StopRecording", [&] { driver.StopRecording(); });
    Try("ResumeRecording", [&] { driver.ResumeRecording(); });
    Try("GetChannelStatus", [&] { driver.GetChannelStatus(status); });
    driver.GetProgress(a, b, text);
    std::printf("stamp '%s', cpu %s, untouched %d %d %d %d %s\n",
                driver.GetTODStamp(eTODStampType{}, 1, 2, 3, 4).c_str(), driver.CpuName() == nullptr ? "none" : "some",
                attribute.untouched, status.untouched, a, b, text.c_str());
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> script(argv + 2, argv + argc);
    void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return std::printf("%s\n", dlerror()), 1;
    auto create = reinterpret_cast<CChannelDriver* (*)()>(dlsym(library, "CreateChannelDriver"));
    auto destroy = reinterpret_cast<void (*)(CChannelDriver*)>(dlsym(library, "DestroyChannelDriver"));
    std::vector<CChannelDriver*> drivers;
    for (std::size_t n = 0; n < script.size(); ++n) {
        const std::string& word = script[n];
        if (word == "create") {
            drivers.push_back(create());
        } else if (word == "destroy") {
            destroy(drivers.back());
            drivers.pop_back();
        } else if (word == "destroy-null") {
            destroy(nullptr);
        } else if (word == "reopen") {
            dlclose(library);
            library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
            create = reinterpret_cast<CChannelDriver* (*)()>(dlsym(library, "CreateChannelDriver"));
        } else if (word == "load") {
            const auto type = static_cast<eTraceDataFileType>(std::atoi(script[n + 2].c_str()));
            Try("load", [&] { drivers.back()->LoadFile(script[n + 1], 99, type); });
            n += 2;
        } else if (word == "count") {
            std::printf("count %u\n", drivers.back()->GetNumSamples());
        } else if (word == "read") {
            const unsigned start = static_cast<unsigned>(std::stoul(script[n + 1]));
            const unsigned count = static_cast<unsigned>(std::stoul(script[n + 2]));
            std::vector<unsigned long> buffer(count + 1);
            unsigned read = 77;
            Try("read", [&] { drivers.back()->SeekReadTraceData(start, count, buffer.data(), &read); });
            std::printf("read %u:", read);
            for (unsigned k = 0; k < read && k < count; ++k) std::printf(" %lx", buffer[k]);
            std::printf("\n");
            n += 2;
        } else if (word == "operations") {
            Operations(*drivers.back());
        } else if (word == "get") {
            const char* value = std::getenv(script[++n].c_str());
            std::printf("%s=%s\n", script[n].c_str(), value != nullptr ? value : "(unset)");
        } else if (word == "set") {
            setenv(script[n + 1].c_str(), script[n + 2].c_str(), 1);
            n += 2;
        } else {
            return std::printf("unknown word %s\n", word.c_str()), 1;
        }
    }
    while (!drivers.empty()) {
        destroy(drivers.back());
        drivers.pop_back();
    }
    return 0;
}
