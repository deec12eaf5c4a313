// Opening the page in the user's browser.
#pragma once

#include <optional>
#include <string>

#include "capture/ReplacementFile.h"

namespace orm_trace {

// Asks the desktop to open an address, where there is a desktop. Other users see the arguments of programs, but must not
// see the address: what is opened is a file that only this user can read, and that leads there. It is removed with this
// object, also when a signal ends the process.
class Browser {
public:
    // Without a desktop, or when the browser cannot be started, nothing happens.
    explicit Browser(const std::string& address);

private:
    std::optional<TemporaryName> m_file;
};

}  // namespace orm_trace
