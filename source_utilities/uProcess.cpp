#include "source_utilities/uProcess.h"

#include <dirent.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

namespace ORM_LUX {
namespace {

struct DirectoryCloser {
    void operator()(DIR* directory) const noexcept { closedir(directory); }
};
using DirectoryPtr = std::unique_ptr<DIR, DirectoryCloser>;

// Returns: the id of the first process for which matches(id) holds, 0 if there is no such process.
template <class Predicate> int FindProcess(Predicate matches) {
    const DirectoryPtr processes(opendir("/proc/"));
    if (!processes) return 0;
    while (const dirent* entry = readdir(processes.get())) {
        const char* name = entry->d_name;
        if (name[std::strspn(name, "0123456789")] != '\0') continue;
        const int id = static_cast<int>(std::strtol(name, nullptr, 10));
        if (matches(id)) return id;
    }
    return 0;
}

// Longer than any path that the kernel reports for a link.
using LinkBuffer = std::array<char, 23500>;

// Returns: the path of a process's program, empty when it cannot be read. Valid until buffer changes.
std::string_view ProgramOf(int id, LinkBuffer& buffer) {
    std::array<char, sizeof("/proc/-2147483648/exe")> link{};
    std::snprintf(link.data(), link.size(), "/proc/%d/exe", id);
    const ssize_t length = readlink(link.data(), buffer.data(), buffer.size());
    return length > 0 ? std::string_view(buffer.data(), static_cast<std::size_t>(length)) : std::string_view();
}

}  // namespace

unsigned long uProcess::InvokeProcess(const char* program, const char* argument, bool) {
    if (program == nullptr) return 0;
    const pid_t child = fork();
    if (child < 0) return 0;
    if (child == 0) {
        execlp(program, program, argument, static_cast<char*>(nullptr));
        _exit(127);
    }
    return static_cast<unsigned long>(child);
}

bool uProcess::TerminateProcess(unsigned long pid) {
    // kill() and waitpid() read 0 and negative numbers as process groups, or as every process.
    if (pid == 0 || pid > INT_MAX) return false;
    const pid_t id = static_cast<pid_t>(pid);
    if (kill(id, SIGTERM) != 0) return false;
    pid_t waited = -1;
    do waited = waitpid(id, nullptr, 0);
    while (waited < 0 && errno == EINTR);
    return waited == id;
}

unsigned long uProcess::LookupProcess(unsigned long pid) {
    if (pid == 0 || pid > INT_MAX) return 0;
    return static_cast<unsigned long>(FindProcess([pid](int id) { return static_cast<unsigned long>(id) == pid; }));
}

unsigned long uProcess::LookupProcess(const char* name, unsigned long) {
    if (name == nullptr) return 0;
    LinkBuffer buffer;
    return static_cast<unsigned long>(FindProcess([&](int id) {
        const std::string_view program = ProgramOf(id, buffer);
        return !program.empty() && program.find(name) != std::string_view::npos;
    }));
}

unsigned long uProcess::GetPid() { return static_cast<unsigned long>(getpid()); }

}  // namespace ORM_LUX
