// The driver library throws objects of the Corva library; all else here throws Error.
#pragma once

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string>

#include "capture/Error.h"
#include "corva/cCorvaError.h"

namespace orm_trace {

// Makes call: an error of the Corva library becomes an Error about subject.
template <class Call> auto TranslateErrors(ErrorKind kind, const std::string& subject, Call call) {
    try {
        return call();
    } catch (const Orm::Lux::Corva::cCorvaErrorIF& error) {
        throw Error(kind, subject, error.what());
    }
}

// Returns: the system's reason for a failed write, "" when the error is not one that a full disk, a limit or a broken
//          medium gives.
inline std::string WriteReason(int error) {
    constexpr std::array kReasons{ENOSPC, EDQUOT, EFBIG, EIO, EROFS, EMFILE, ENFILE};
    return std::find(kReasons.begin(), kReasons.end(), error) != kReasons.end() ? std::strerror(error) : std::string();
}

// Makes call, which writes to a file: an error of the Corva library becomes an Error (kFailed) about subject. Its text
// says what was done, not why; the system's reason, followed by purpose, takes its place where there is one.
template <class Call> auto TranslateWriteErrors(const std::string& subject, const std::string& purpose, Call call) {
    errno = 0;
    try {
        return call();
    } catch (const Orm::Lux::Corva::cCorvaErrorIF& error) {
        const int systemError = errno;
        const std::string reason = WriteReason(systemError);
        if (reason.empty()) throw Error(ErrorKind::kFailed, subject, error.what());
        throw Error(ErrorKind::kFailed, subject, reason + purpose, systemError);
    }
}

}  // namespace orm_trace
