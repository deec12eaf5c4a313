// Where the tool writes to: data to standard output, all else to standard error.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

#include "capture/Error.h"
#include "tdf/FileIO.h"

namespace orm_trace {

// Standard output cannot be written to.
class OutputError : public Error {
public:
    explicit OutputError(int error);

    // Whether the reader of standard output has gone away; no message is due then.
    bool IsBrokenPipe() const noexcept { return m_isBrokenPipe; }

private:
    bool m_isBrokenPipe;
};

// Keeps standard output for data: whatever else is printed there from now on, such as log lines that the driver echoes,
// goes to standard error.
class Output {
public:
    Output();

    // Errors: OutputError (kFailed). Nothing is written afterwards.
    void Write(std::string_view data);

    // Whether the data goes to a terminal.
    bool IsTerminal() const noexcept;

    // Writes what is buffered, and closes. Errors: as Write.
    void Close();

private:
    void Check(bool succeeded);

    Orm::Lux::Trace::FilePtr m_data;
};

// Writes "orm-trace: SUBJECT: REASON" and a newline to standard error, control characters escaped.
void Report(const std::string& subject, const std::string& reason);
inline void Report(const Error& error) { Report(error.Subject(), error.what()); }

}  // namespace orm_trace
