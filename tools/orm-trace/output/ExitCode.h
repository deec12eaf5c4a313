// How the tool ends.
#pragma once

#include <string>
#include <utility>

#include "capture/Error.h"

namespace orm_trace {

enum class ExitCode {
    kOk = 0,
    kFailed = 1,      // something other than the input failed, including writes to standard output
    kUsage = 2,       // the command line
    kIncomplete = 3,  // finished, but data is missing
    kNotATrace = 4,   // the input is damaged, or cannot be read as what it should be
    kNoDriver = 5,    // the driver library cannot be loaded
    kDifferent = 6,   // compared and different, or searched and nothing found
};

// The driver library cannot be loaded.
class DriverError : public Error {
public:
    DriverError(std::string path, const std::string& reason) : Error(ErrorKind::kFailed, std::move(path), reason) {}
};

inline ExitCode ExitCodeOf(const Error& error) {
    if (dynamic_cast<const DriverError*>(&error) != nullptr) return ExitCode::kNoDriver;
    switch (error.Kind()) {
        case ErrorKind::kArgument: return ExitCode::kUsage;
        case ErrorKind::kInput: return ExitCode::kNotATrace;
        case ErrorKind::kChanged: return ExitCode::kIncomplete;
        case ErrorKind::kFailed: break;
    }
    return ExitCode::kFailed;
}

}  // namespace orm_trace
