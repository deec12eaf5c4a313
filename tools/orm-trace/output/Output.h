// Where the tool writes to: data to standard output, all else to standard error.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "tools/orm-trace/output/Failure.h"

namespace orm_trace {

// Data that cannot be written.
class OutputFailure : public Failure {
public:
    explicit OutputFailure(int error);

    // The reader of the data is gone, and waits for no message either.
    bool IsBrokenPipe() const noexcept { return m_isBrokenPipe; }

private:
    bool m_isBrokenPipe;
};

// Takes standard output for data alone: whatever else is printed there afterwards, such as log lines that the driver
// echoes, goes to standard error.
class Output {
public:
    Output();

    // Errors: OutputFailure (kFailed). Nothing is written afterwards.
    void Write(std::string_view data);

    // Writes what is buffered, and closes. Errors: as Write.
    void Close();

private:
    struct Closer {
        void operator()(std::FILE* stream) const noexcept { std::fclose(stream); }
    };
    void Check(bool succeeded);

    std::unique_ptr<std::FILE, Closer> m_data;
};

// Writes "orm-trace: SUBJECT: REASON" and a newline to standard error, control characters escaped.
void Report(const std::string& subject, const std::string& reason);

}  // namespace orm_trace
