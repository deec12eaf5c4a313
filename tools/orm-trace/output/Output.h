// Where the tool writes to: data to standard output, all else to standard error.
#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <string_view>

#include "capture/Error.h"
#include "tdf/FileIO.h"

namespace orm_trace {

// What terminals show in color: time stamps, faults, and the end of either.
inline const std::string kStampColor = "\033[36m";
inline const std::string kFaultColor = "\033[31m";
inline const std::string kNoColor = "\033[0m";

// Standard output cannot be written to.
class OutputError : public Error {
public:
    explicit OutputError(int error);

    // Whether the reader of standard output has gone away; no message is due then.
    bool IsBrokenPipe() const noexcept { return m_isBrokenPipe; }

private:
    bool m_isBrokenPipe;
};

// What a subcommand writes its data to.
class Output {
public:
    virtual ~Output() = default;

    // Errors: OutputError (kFailed). Nothing is written afterwards.
    virtual void Write(std::string_view data) = 0;

    // Writes what is buffered. Errors: as Write.
    virtual void Flush() {}

    // Errors: any, when what is written will not come out, because writing elsewhere has failed. Long work asks now and then.
    virtual void RequireUse() const {}

    // Whether the data goes to a terminal.
    virtual bool IsTerminal() const noexcept = 0;
    // Whether it goes to one and the environment variable NO_COLOR is unset or empty.
    bool HasColor() const noexcept;
};

// Keeps standard output for data: whatever else is printed there from now on, such as log lines that the driver echoes,
// goes to standard error.
class StandardOutput : public Output {
public:
    StandardOutput();

    void Write(std::string_view data) override;
    void Flush() override;
    bool IsTerminal() const noexcept override;

    // Writes what is buffered, and closes. Errors: as Write.
    void Close();

private:
    void Check(bool succeeded);

    Orm::Lux::Trace::FilePtr m_data;
};

// Takes what Report writes in this thread, instead of writing it, while it lives.
class ReportCollector {
public:
    explicit ReportCollector(std::function<void(std::string_view line)> take);
    ~ReportCollector();
    ReportCollector(const ReportCollector&) = delete;
    ReportCollector& operator=(const ReportCollector&) = delete;

    void Take(std::string_view line) const { m_take(line); }

private:
    std::function<void(std::string_view)> m_take;
};

// Writes "orm-trace: SUBJECT: REASON" and a newline to standard error, control characters escaped.
void Report(const std::string& subject, const std::string& reason);
inline void Report(const Error& error) { Report(error.Subject(), error.what()); }

}  // namespace orm_trace
