#include "source_utilities/uEnvironment.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "source_utilities/source_utilities_error.h"
#include "source_utilities/uString.h"

namespace ORM_LUX {
namespace {

// Creates the named directory below the trace user directory (the user directory itself for "") and stores it in dir.
const char* MakeTraceDirectory(std::string& dir, const char* name) {
    GetTraceUserDirectory(dir);
    if (*name != '\0') uEnvironment::JoinPaths(dir, name);
    uEnvironment::MakeDirectory(dir.c_str());
    return dir.c_str();
}

}  // namespace

const char* uEnvironment::GetVar(const char* name) {
    if (name == nullptr) throw source_utilities_error("failed set an environment variable name to null");
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

int uEnvironment::SetVar(const char* name, const char* value) {
    if (name == nullptr) throw source_utilities_error("failed set an environment variable name to null");
    if (value == nullptr) throw source_utilities_error("failed set an environment variable value to null");
    return setenv(name, value, 1);
}

const char* uEnvironment::GetWorkingDirectory(std::string& dir) {
    std::array<char, 4096> buffer;
    if (getcwd(buffer.data(), buffer.size()) == nullptr)
        throw source_utilities_error("failed to get current working directory");
    dir = buffer.data();
    return dir.c_str();
}

int uEnvironment::SetWorkingDirectory(const char* path) { return path != nullptr ? chdir(path) : -1; }

int uEnvironment::MakeDirectory(const char* path) {
    if (path == nullptr) return -1;
    std::string whole = path;
    if (!whole.empty() && whole.back() != '/') whole += '/';
    int result = -1;
    for (std::size_t slash = whole.find('/'); slash != whole.npos; slash = whole.find('/', slash + 1)) {
        const char next = std::exchange(whole[slash + 1], '\0');
        result = mkdir(whole.c_str(), 0777);
        whole[slash + 1] = next;
        if (result != 0 && errno == ENAMETOOLONG) break;  // the rest is longer still
    }
    return result;
}

void uEnvironment::NormalizeDirSep(std::string& path) {
    uString::Replace(path, "\\", "/");
    std::size_t size = 0;
    do {
        size = path.size();
        uString::Replace(path, "//", "/");
    } while (path.size() != size);
}

void uEnvironment::GetParentDir(std::string& parent, const char* path) {
    const char* slash = path != nullptr ? std::strrchr(path, '/') : nullptr;
    parent = slash != nullptr ? std::string(path, slash) : std::string();
}

void uEnvironment::JoinPaths(std::string& path, const char* name) {
    std::string joined = path;  // name may be part of path
    if (!joined.empty() && joined.back() != '/') joined += '/';
    if (name != nullptr) joined += name;
    NormalizeDirSep(joined);
    path = std::move(joined);
}

const char* uEnvironment::GetTraceLoggingDirectory(std::string& dir) { return MakeTraceDirectory(dir, ""); }

const char* uEnvironment::GetTraceUserSettingsDirectory(std::string& dir) {
    return MakeTraceDirectory(dir, "settings");
}

const char* uEnvironment::GetTraceTemporaryDataDirectory(std::string& dir) { return MakeTraceDirectory(dir, "data"); }

void uEnvironment::GetCurrentExecutablePath(std::string& path) {
    std::array<char, 1024> buffer;
    const ssize_t length = readlink("/proc/self/exe", buffer.data(), buffer.size() - 1);
    path.assign(buffer.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
}

uEnvironment::ScopedDirectoryChanger::ScopedDirectoryChanger(const char* dir) { Change(dir); }

uEnvironment::ScopedDirectoryChanger::~ScopedDirectoryChanger() { Restore(); }

void uEnvironment::ScopedDirectoryChanger::Change(const char* dir) {
    if (dir == nullptr) return;
    if (!m_savedDirectory.empty())
        throw source_utilities_error("can't temporarily change the working directory again until its restored");
    GetWorkingDirectory(m_savedDirectory);
    if (SetWorkingDirectory(dir) != 0) {
        throw source_utilities_error("failed to temporarily change the working directory to \"" + std::string(dir) +
                                     "\"");
    }
}

void uEnvironment::ScopedDirectoryChanger::Restore() {
    if (m_savedDirectory.empty()) return;
    SetWorkingDirectory(m_savedDirectory.c_str());
    m_savedDirectory.clear();
}

}  // namespace ORM_LUX

const char* GetTraceUserDirectory(std::string& dir) {
    const char* home = ORM_LUX::uEnvironment::GetVar("HOME");
    if (*home == '\0') throw ORM_LUX::source_utilities_error("failed to read environment variable \"HOME\"");
    dir = home;
    ORM_LUX::uEnvironment::JoinPaths(dir, ".ORM-trace");
    return dir.c_str();
}
