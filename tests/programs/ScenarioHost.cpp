// A host that knows only the public headers, in C++17: loads the library, then carries out its arguments as a script
// and says what happens.
//
//   scenario-host LIBRARY [create | create-many | destroy | load FILE | count | get NAME |
//                          set NAME VALUE | reopen | signal | used]...
#include <dlfcn.h>
#include <malloc.h>
#include <signal.h>

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

// Returns: how many of something the process has, by a directory of /proc.
static long Count(const char* what) {
    return std::distance(std::filesystem::directory_iterator(std::string("/proc/self/") + what), {});
}

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
        if (word == "reopen") {
            dlclose(library);
            library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
        }
        if (word == "signal") {  // of a limit on the size of files
            struct sigaction action {};
            sigaction(SIGXFSZ, nullptr, &action);
            std::puts(action.sa_handler == SIG_DFL ? "by default" : "handled");
        }
        if (word == "used") std::printf("%ld %ld %zu\n", Count("fd"), Count("task"), mallinfo2().uordblks);
        next += word == "set" ? 2 : word == "get" || word == "load" ? 1 : 0;
    }
    drivers.clear();
    return dlclose(library);
}
