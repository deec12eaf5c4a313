// A host that knows the public headers alone, in C++17: loads the library, then carries out its arguments as a script
// and says what happens.
//
//   scenario-host LIBRARY [create | create-many | destroy | destroy-null | load FILE | count | get NAME | set NAME VALUE |
//                          reopen | cycles COUNT]...
#include <dlfcn.h>
#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "corva/cCorvaError.h"
#include "driver/CChannelDriver.h"

using Driver = Orm::Lux::Trace::CChannelDriver;

static long Count(const char* directory) { return std::distance(std::filesystem::directory_iterator(directory), {}); }

int main(int, char** argv) {
    void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return std::puts(dlerror()), 1;
    std::vector<std::unique_ptr<Driver, void (*)(Driver*)>> drivers;
    for (char** next = argv + 2; *next != nullptr;) {
        const auto create = reinterpret_cast<Driver* (*)()>(dlsym(library, "CreateChannelDriver"));
        const auto destroy = reinterpret_cast<void (*)(Driver*)>(dlsym(library, "DestroyChannelDriver"));
        const std::string word = *next++;
        if (word == "create") drivers.emplace_back(create(), destroy);
        if (word == "create-many") {
            std::vector<std::thread> threads;
            for (int n = 0; n < 8; ++n) threads.emplace_back([=] { destroy(create()); });
            for (auto& thread : threads) thread.join();
        }
        if (word == "destroy") drivers.pop_back();
        if (word == "destroy-null") destroy(nullptr);
        if (word == "count") std::printf("count %u\n", drivers.back()->GetNumSamples());
        if (word == "set") setenv(next[0], next[1], 1);
        if (word == "get")
            std::printf("%s=%s\n", *next, std::getenv(*next) != nullptr ? std::getenv(*next) : "(unset)");
        if (word == "load") {
            try {
                drivers.back()->LoadFile(*next, 99, Orm::Lux::Trace::eTraceDataFileType{});
            } catch (const Orm::Lux::Corva::cCorvaError& error) {
                std::printf("error %d: %s\n", error.GetSeverity(), error.what());
            }
        }
        const auto reopen = [&] {
            dlclose(library);
            library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
        };
        if (word == "reopen") reopen();
        if (word == "cycles") {
            // Opens and closes the library as a host does that loads it for each trace. Says what more of descriptors,
            // threads and bytes the process has after the last cycles than after as many to begin with.
            long used[3] = {};
            for (const long sign : {-1, 1}) {
                for (int n = std::atoi(*next); n > 0; --n) {
                    reopen();
                    const auto driver = reinterpret_cast<Driver* (*)()>(dlsym(library, "CreateChannelDriver"))();
                    driver->GetTODStamp(Orm::Lux::Trace::eTODStampType{}, 0, 0, 0, 0);  // logs a line
                    reinterpret_cast<void (*)(Driver*)>(dlsym(library, "DestroyChannelDriver"))(driver);
                }
                used[0] += sign * Count("/proc/self/fd");
                used[1] += sign * Count("/proc/self/task");
                used[2] += sign * static_cast<long>(mallinfo2().uordblks);
            }
            std::printf("more: %ld %ld %ld\n", used[0], used[1], used[2]);
        }
        next += word == "set" ? 2 : word == "get" || word == "load" || word == "cycles" ? 1 : 0;
    }
    drivers.clear();
    return dlclose(library);
}
