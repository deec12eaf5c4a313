// A small trace host: loads the driver library at run time, pages through a trace file, using only the abstract driver
// interface, and compares every sample with the known content of the demo's capture.
#include <dlfcn.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "corva/cCorvaError.h"
#include "driver/CChannelDriver.h"

namespace {

using Orm::Lux::Corva::cCorvaError;
using Orm::Lux::Trace::CChannelDriver;
using Orm::Lux::Trace::eTraceDataFileType;

constexpr unsigned int kPageSize = 4096;  // samples
constexpr auto kFileType = static_cast<eTraceDataFileType>(0);

struct LibraryCloser {
    void operator()(void* handle) const { dlclose(handle); }
};
using Library = std::unique_ptr<void, LibraryCloser>;
using Driver = std::unique_ptr<CChannelDriver, decltype(&DestroyChannelDriver)>;

[[noreturn]] void Fail(const std::string& message) { throw std::runtime_error(message); }

// The text of the dynamic loader's last error.
std::string LoaderError() {
    const char* text = dlerror();
    return text != nullptr ? text : "unknown error of the dynamic loader";
}

Library LoadLibrary(const char* path) {
    Library library(dlopen(path, RTLD_NOW | RTLD_LOCAL));
    if (!library) Fail(LoaderError());
    return library;
}

template <class Function> Function* Lookup(const Library& library, const char* name) {
    void* const symbol = dlsym(library.get(), name);
    if (symbol == nullptr) Fail(LoaderError());
    return reinterpret_cast<Function*>(symbol);
}

// The driver is destroyed before its library is unloaded.
Driver CreateDriver(const Library& library) {
    const auto create = Lookup<decltype(CreateChannelDriver)>(library, "CreateChannelDriver");
    const auto destroy = Lookup<decltype(DestroyChannelDriver)>(library, "DestroyChannelDriver");
    Driver driver(create(), destroy);
    if (!driver) Fail("CreateChannelDriver made no driver");
    return driver;
}

// The value of the sample with this index in the demo's capture: the output of a splitmix64 generator seeded with 0.
unsigned long ExpectedSample(unsigned long index) {
    unsigned long state = 0x9E3779B97F4A7C15UL * (index + 1);
    state ^= state >> 30;
    state *= 0xBF58476D1CE4E5B9UL;
    state ^= state >> 27;
    state *= 0x94D049BB133111EBUL;
    return state ^ state >> 31;
}

// Reads count samples, fewer only at the end of the trace.
void ReadPage(CChannelDriver& driver, unsigned int total, unsigned int first, std::vector<unsigned long>& page) {
    const unsigned int wanted = std::min(static_cast<unsigned int>(page.size()), total - first);
    unsigned int got = 0;
    driver.SeekReadTraceData(first, static_cast<unsigned int>(page.size()), page.data(), &got);
    if (got != wanted)
        Fail("from sample " + std::to_string(first) + ": " + std::to_string(got) + " samples read instead of " +
             std::to_string(wanted));
    page.resize(got);
}

void Compare(const std::vector<unsigned long>& page, unsigned int first) {
    for (std::size_t i = 0; i < page.size(); ++i) {
        const unsigned long expected = ExpectedSample(first + i);
        if (page[i] == expected) continue;
        char text[96];
        std::snprintf(text, sizeof text, "sample %zu is %016lx instead of %016lx", first + i, page[i], expected);
        Fail(text);
    }
}

void Print(CChannelDriver& driver, unsigned int total, unsigned int first, unsigned int count) {
    std::vector<unsigned long> samples(count);
    ReadPage(driver, total, first, samples);
    for (std::size_t i = 0; i < samples.size(); ++i) std::printf("  %10zu  %016lx\n", first + i, samples[i]);
}

void PageThrough(CChannelDriver& driver, unsigned int total) {
    using Clock = std::chrono::steady_clock;
    Clock::duration spent{};
    unsigned int pages = 0;
    std::vector<unsigned long> page;
    for (unsigned int first = 0; first < total; first += std::min(kPageSize, total - first), ++pages) {
        page.resize(kPageSize);
        const Clock::time_point start = Clock::now();
        ReadPage(driver, total, first, page);
        spent += Clock::now() - start;
        Compare(page, first);
    }
    const double seconds = std::max(std::chrono::duration<double>(spent).count(), 1e-9);
    std::printf("%u pages of %u samples, every sample as expected\n", pages, kPageSize);
    std::printf("%.3f s in the driver: %.0f MB/s, %.1f million samples/s\n", seconds, 8e-6 * total / seconds,
                1e-6 * total / seconds);
}

void Run(const char* libraryPath, const char* file, unsigned int expectedTotal) {
    const Library library = LoadLibrary(libraryPath);
    const Driver driver = CreateDriver(library);
    // Errors of the driver are caught while its library is loaded.
    try {
        driver->LoadFile(file, 0, kFileType);
        const unsigned int total = driver->GetNumSamples();
        std::printf("%s: %u samples\n", file, total);
        if (total != expectedTotal) Fail(std::to_string(expectedTotal) + " samples were expected");
        PageThrough(*driver, total);

        const unsigned int few = std::min(total, 3U);
        std::puts("first and last samples:");
        Print(*driver, total, 0, few);
        Print(*driver, total, total - few, few);
    } catch (const cCorvaError& error) {
        Fail(std::string(file) + ": the driver reports: " + error.what());
    } catch (const std::exception& error) {
        Fail(std::string(file) + ": " + error.what());
    }
}

bool ParseNumber(std::string_view text, unsigned int& number) {
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && rest == text.data() + text.size();
}

}  // namespace

int main(int argc, char** argv) {
    unsigned int expectedTotal = 0;
    if (argc != 4 || !ParseNumber(argv[3], expectedTotal)) {
        std::fputs("usage: check-capture LIBRARY FILE EXPECTED_SAMPLES\n", stderr);
        return 2;
    }
    try {
        Run(argv[1], argv[2], expectedTotal);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "check-capture: %s\n", error.what());
        return 1;
    }
    if (std::fflush(stdout) != 0) {
        std::perror("check-capture: standard output");
        return 1;
    }
    return 0;
}
