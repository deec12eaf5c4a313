// The start-up of the process. Private to the library.
#pragma once

namespace Orm::Lux::Trace {

// Prepares the process, once, and makes sure that logging runs. The next call repeats what fails.
// Threads: may be called from several threads at once.
void StartUp() noexcept;

}  // namespace Orm::Lux::Trace
