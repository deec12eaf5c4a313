// The driver, loaded as any host loads it.
#pragma once

#include <link.h>

#include <memory>
#include <string>

#include "driver/CChannelDriver.h"

namespace orm_trace {

// A driver object with the library that it came from.
class Driver {
public:
    // Loads the library from path; when that is empty, from what the environment variable ORM_TRACE_DRIVER names, else
    // from beside the tool. Its start-up creates the directories of a host below HOME only if that is wanted, or the log
    // is on (ORM_TRACE_LOGGING).
    // Errors: DriverError.
    explicit Driver(std::string path, bool withDirectories = false);

    // The library's file; and all that is loaded. Valid while this lives.
    std::string Path() const;
    const link_map* LoadedLibraries() const;
    // Returns: a symbol of the library, or null.
    void* Find(const char* name) const noexcept;

    // Loads a trace. Returns: the number of its samples. Errors: Error (kInput).
    unsigned int Load(const std::string& file);

    // Reads samples of the trace loaded. Returns: how many there were. Errors: Error (kInput).
    unsigned int Read(unsigned int first, unsigned int count, unsigned long* samples);

    // Appends the trace loaded to a TDF file. Errors: Error (kFailed).
    void Save(const std::string& target);

private:
    struct LibraryCloser {
        void operator()(void* handle) const noexcept;
    };
    using DestroyFunction = void (*)(Orm::Lux::Trace::CChannelDriver*);

    std::string m_file;  // loaded
    std::unique_ptr<void, LibraryCloser> m_library;
    std::unique_ptr<Orm::Lux::Trace::CChannelDriver, DestroyFunction> m_driver;  // freed before its library
};

}  // namespace orm_trace
