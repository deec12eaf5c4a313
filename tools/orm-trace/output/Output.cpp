#include "tools/orm-trace/output/Output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tools/orm-trace/output/Text.h"

namespace orm_trace {

OutputError::OutputError(int error)
    : Error(ErrorKind::kFailed, "standard output", std::strerror(error)), m_isBrokenPipe(error == EPIPE) {}

Output::Output() {
    // A standard stream that the caller has closed stays closed for data, but no trace file may get its number. Reading
    // from it then fails.
    const int data = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    for (int standard = STDIN_FILENO; standard <= STDERR_FILENO; ++standard) {
        if (fcntl(standard, F_GETFD) < 0) open("/dev/null", standard == STDIN_FILENO ? O_WRONLY : O_RDWR);
    }
    dup2(STDERR_FILENO, STDOUT_FILENO);
    if (data >= 0) m_data.reset(fdopen(data, "wb"));
}

void Output::Write(std::string_view data) {
    if (!m_data) errno = EBADF;
    Check(m_data && std::fwrite(data.data(), 1, data.size(), m_data.get()) == data.size());
}

bool Output::IsTerminal() const noexcept { return m_data && isatty(fileno(m_data.get())); }

void Output::Close() {
    if (m_data) Check(std::fclose(m_data.release()) == 0);
}

void Output::Check(bool succeeded) {
    if (succeeded) return;
    const int error = errno;
    m_data.reset();
    throw OutputError(error);
}

void Report(const std::string& subject, const std::string& reason) {
    std::fprintf(stderr, "orm-trace: %s: %s\n", WithoutControls(subject).c_str(), WithoutControls(reason).c_str());
}

}  // namespace orm_trace
