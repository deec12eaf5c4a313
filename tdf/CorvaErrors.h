// The one place where the library makes and reads errors of the Corva library. Private to the library.
#pragma once

#include <string>

namespace Orm::Lux::Corva {
class cCorvaError;
}

namespace Orm::Lux::Trace {

// Throws a cCorvaError of severity 2 with this text.
[[noreturn]] void ThrowCorvaError(const std::string& message);

// Throws a cCorvaError of severity 0, the refusal of a request, which is not a failure.
[[noreturn]] void ThrowCorvaRefusal(const char* source, const char* message);

// Throws ThrowCorvaError(message) unless holds.
inline void Require(bool holds, const char* message) {
    if (!holds) ThrowCorvaError(message);
}

// Texts that several operations on TDF files share.
inline constexpr const char* kCannotOpen = "Could not open TDF file as specified.";
inline constexpr const char* kBadFileToSave = "File name passed to save file is not valid.";
inline constexpr const char* kBadOffset = "Section header offset to save data is not valid.";
inline constexpr const char* kHeaderWriteError = "Write error -  TDF section header size.";
inline constexpr const char* kHeaderSizeWriteError = "Write error - size of TDF header.";
inline constexpr const char* kSectionReadError = "Read I/O error - section data corrupted.";
inline constexpr const char* kTooLarge = "TDF file would exceed 4 GiB.";

// Returns: the error's text.
std::string TextOf(const Corva::cCorvaError& error);

}  // namespace Orm::Lux::Trace
