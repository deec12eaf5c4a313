#include "tools/orm-trace/output/Output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "tools/orm-trace/output/Text.h"

namespace orm_trace {
namespace {

thread_local const ReportCollector* t_collector = nullptr;

bool AllowsColor() noexcept {
    const char* const value = std::getenv("NO_COLOR");
    return value == nullptr || *value == '\0';
}

}  // namespace

OutputError::OutputError(int error)
    : Error(ErrorKind::kFailed, "standard output", std::strerror(error)), m_isBrokenPipe(error == EPIPE) {}

StandardOutput::StandardOutput() {
    // A standard stream that the caller has closed stays closed for data, but no trace file may get its number. Reading
    // from it then fails.
    const int data = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    for (int standard = STDIN_FILENO; standard <= STDERR_FILENO; ++standard) {
        if (fcntl(standard, F_GETFD) < 0) open("/dev/null", standard == STDIN_FILENO ? O_WRONLY : O_RDWR);
    }
    dup2(STDERR_FILENO, STDOUT_FILENO);
    if (data >= 0) m_data.reset(fdopen(data, "wb"));
}

void StandardOutput::Write(std::string_view data) {
    if (!m_data) errno = EBADF;
    Check(m_data && std::fwrite(data.data(), 1, data.size(), m_data.get()) == data.size());
}

void StandardOutput::Flush() { Check(m_data && std::fflush(m_data.get()) == 0); }

bool StandardOutput::IsTerminal() const noexcept { return m_data && isatty(fileno(m_data.get())); }

void StandardOutput::Close() {
    if (m_data) Check(std::fclose(m_data.release()) == 0);
}

void StandardOutput::Check(bool succeeded) {
    if (succeeded) return;
    const int error = errno;
    m_data.reset();
    throw OutputError(error);
}

bool Output::HasColor() const noexcept { return IsTerminal() && AllowsColor(); }

ReportCollector::ReportCollector(std::function<void(std::string_view)> take) : m_take(std::move(take)) {
    t_collector = this;
}

ReportCollector::~ReportCollector() { t_collector = nullptr; }

void Report(const std::string& subject, const std::string& reason) {
    static const bool hasColor = isatty(STDERR_FILENO) && AllowsColor();
    const std::string text = "orm-trace: " + WithoutControls(subject) + ": " + WithoutControls(reason);
    const std::string line = hasColor ? kFaultColor + text + kNoColor + '\n' : text + '\n';
    if (t_collector != nullptr) {
        t_collector->Take(line);
    } else {
        std::fputs(line.c_str(), stderr);
    }
}

}  // namespace orm_trace
