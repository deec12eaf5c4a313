// Why something could not be done with a capture.
#pragma once

#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

namespace orm_trace {

enum class ErrorKind {
    kArgument,  // what the caller asks for is not possible
    kInput,     // a file cannot be opened, is damaged, or is not what it should be
    kChanged,   // a file was changed while it was being read
    kFailed,    // something other than the input: a write, a read of the disk, a limit of the format
};

// What it concerns, a file in most cases, and the reason, which does not repeat it.
class Error : public std::runtime_error {
public:
    // systemError: errno of the call that failed, 0 for an error of another cause.
    Error(ErrorKind kind, std::string subject, const std::string& reason, int systemError = 0)
        : std::runtime_error(reason), m_kind(kind), m_subject(std::move(subject)), m_systemError(systemError) {}

    ErrorKind Kind() const noexcept { return m_kind; }
    const std::string& Subject() const noexcept { return m_subject; }
    int SystemError() const noexcept { return m_systemError; }

private:
    ErrorKind m_kind;
    std::string m_subject;
    int m_systemError;
};

// Returns: the error for what the system refused, with its text as the reason. systemError: errno.
inline Error MakeSystemError(ErrorKind kind, std::string subject, int systemError) {
    return {kind, std::move(subject), std::strerror(systemError), systemError};
}

// Does work with a file that the user knows by another name, subject, which the errors of the work then carry.
template <class Work> auto WithSubject(const std::string& subject, Work work) {
    try {
        return work();
    } catch (const Error& error) {
        throw Error(error.Kind(), subject, error.what(), error.SystemError());
    }
}

}  // namespace orm_trace
