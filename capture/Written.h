// Telling why a file could not be written.
#pragma once

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string>

#include "tools/orm-trace/output/Failure.h"

namespace orm_trace {

// Returns: the system's reason for a failed write, or nothing when the error is not one of those that a full disk, a
//          limit or a broken medium gives.
inline std::string WriteReason(int error) {
    constexpr std::array kReasons{ENOSPC, EDQUOT, EFBIG, EIO, EROFS, EMFILE, ENFILE};
    return std::find(kReasons.begin(), kReasons.end(), error) != kReasons.end() ? std::strerror(error) : std::string();
}

// Makes call, which writes to a file: an error of the tools library becomes a Failure (kFailed) about subject. Its text
// says what was done, not why; the system's reason, followed by purpose, takes its place where there is one.
template <class Call> auto Written(const std::string& subject, const std::string& purpose, Call call) {
    errno = 0;
    try {
        return call();
    } catch (const Orm::Lux::Corva::cCorvaErrorIF& error) {
        const std::string reason = WriteReason(errno);
        throw Failure(ExitCode::kFailed, subject, reason.empty() ? error.what() : reason + purpose);
    }
}

}  // namespace orm_trace
