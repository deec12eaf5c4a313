// A trace host: loads the driver library at run time and pages through a trace by the abstract interface.
//
//   page_through_trace LIBRARY TRACE
//
// LIBRARY is a path, or the name libTalvoraFileChannelDriver.so when the dynamic loader knows where to look for it.
#include <dlfcn.h>

#include <cstdio>
#include <memory>
#include <vector>

#include "corva/cCorvaError.h"
#include "driver/CChannelDriver.h"

using Orm::Lux::Trace::CChannelDriver;

void PrintTrace(CChannelDriver& driver, const char* path) {
    driver.LoadFile(path, 0, Orm::Lux::Trace::eTraceDataFileType{});
    const unsigned int total = driver.GetNumSamples();
    std::printf("%u samples\n", total);
    std::vector<unsigned long> page(4096);
    unsigned int read = 0;
    for (unsigned int first = 0; first < total; first += read) {
        driver.SeekReadTraceData(first, static_cast<unsigned int>(page.size()), page.data(), &read);
        if (read == 0) break;  // the last sample is cut short
        for (unsigned int n = 0; n < read; ++n) std::printf("%u: %016lx\n", first + n, page[n]);
    }
}

int main(int argc, char** argv) {
    if (argc != 3) return std::fputs("usage: page_through_trace LIBRARY TRACE\n", stderr), 2;
    // Never unloaded: an error's text must stay valid.
    void* const library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return std::fprintf(stderr, "%s\n", dlerror()), 1;
    const auto create = reinterpret_cast<decltype(&CreateChannelDriver)>(dlsym(library, "CreateChannelDriver"));
    const auto destroy = reinterpret_cast<decltype(&DestroyChannelDriver)>(dlsym(library, "DestroyChannelDriver"));
    if (create == nullptr || destroy == nullptr) return std::fprintf(stderr, "%s is not a driver\n", argv[1]), 1;
    try {
        const std::unique_ptr<CChannelDriver, decltype(destroy)> driver(create(), destroy);
        PrintTrace(*driver, argv[2]);
    } catch (const Orm::Lux::Corva::cCorvaError& error) {  // says why the driver refuses
        return std::fprintf(stderr, "%s: severity %d: %s\n", argv[2], error.GetSeverity(), error.what()), 1;
    }
}
