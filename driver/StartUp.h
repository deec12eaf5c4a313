// The start-up of the process. Private to the library.
#pragma once

namespace Orm::Lux::Trace {

// Prepares the process, once, and makes sure that logging runs. What fails is left to the next call.
// Threads: may be called from several threads at once.
void StartUp() noexcept;

}  // namespace Orm::Lux::Trace
