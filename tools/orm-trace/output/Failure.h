// How the tool ends, and why.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

#include "corva/cCorvaError.h"

namespace orm_trace {

enum class ExitCode {
    kOk = 0,
    kFailed = 1,      // something else than the input failed, a write to standard output too
    kUsage = 2,       // the command line
    kIncomplete = 3,  // finished, but data is missing
    kNotATrace = 4,   // the input is damaged, or cannot be read as what it should be
    kNoDriver = 5,    // the driver library cannot be loaded
};

// A failure that ends the subcommand: what it concerns, the reason, and how the tool ends.
class Failure : public std::runtime_error {
public:
    Failure(ExitCode code, std::string subject, const std::string& reason)
        : std::runtime_error(reason), m_code(code), m_subject(std::move(subject)) {}

    ExitCode Code() const noexcept { return m_code; }
    const std::string& Subject() const noexcept { return m_subject; }

private:
    ExitCode m_code;
    std::string m_subject;
};

// Makes call, which may throw an error of the tools library: that becomes a Failure about subject.
template <class Call> auto Translated(ExitCode code, const std::string& subject, Call call) {
    try {
        return call();
    } catch (const Orm::Lux::Corva::cCorvaErrorIF& error) {
        throw Failure(code, subject, error.what());
    }
}

// Does work with a file under a path of the tool's own making: the subject of its Failure is the name that the user knows.
template <class Work> auto About(const std::string& subject, Work work) {
    try {
        return work();
    } catch (const Failure& failure) {
        throw Failure(failure.Code(), subject, failure.what());
    }
}

}  // namespace orm_trace
