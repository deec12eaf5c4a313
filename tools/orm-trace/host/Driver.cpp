#include "tools/orm-trace/host/Driver.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "capture/TranslateErrors.h"
#include "tdf/FileIO.h"
#include "tools/orm-trace/output/ExitCode.h"

namespace orm_trace {
namespace {

using Orm::Lux::Trace::CChannelDriver;

constexpr const char* kLibraryName = "libTalvoraFileChannelDriver.so";
constexpr auto kFileType = Orm::Lux::Trace::eTraceDataFileType{};

// Returns: the library beside the tool, where the build or the installation has put it.
std::string LibraryBesideTool() {
    std::error_code error;
    const std::filesystem::path here = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
    const std::filesystem::path installed = (here / ORM_TRACE_LIBRARY_DIR / kLibraryName).lexically_normal();
    const std::filesystem::path built = here.parent_path() / "lib" / kLibraryName;
    return std::filesystem::exists(installed, error) ? installed : built;
}

std::string LibraryPath(std::string path) {
    if (!path.empty()) return path;
    const char* variable = std::getenv("ORM_TRACE_DRIVER");
    return variable != nullptr && *variable != '\0' ? variable : LibraryBesideTool();
}

// While it exists the environment has no HOME, if that is wanted, without which the start-up creates nothing.
class HiddenHome {
public:
    explicit HiddenHome(bool isWanted) {
        const char* home = isWanted ? std::getenv("HOME") : nullptr;
        m_isHidden = home != nullptr;
        if (!m_isHidden) return;
        m_home = home;
        unsetenv("HOME");
    }
    ~HiddenHome() {
        if (m_isHidden) setenv("HOME", m_home.c_str(), 1);
    }
    HiddenHome(const HiddenHome&) = delete;
    HiddenHome& operator=(const HiddenHome&) = delete;

private:
    bool m_isHidden;
    std::string m_home;
};

// Whether the library's settings have it write a log.
bool IsLogging() {
    const char* setting = std::getenv("ORM_TRACE_LOGGING");
    const int level = setting != nullptr ? static_cast<int>(std::strtol(setting, nullptr, 10)) : 0;
    return level >= 1 && level <= 6;
}

template <class Function> Function Lookup(void* library, const char* name, const std::string& path) {
    void* symbol = dlsym(library, name);
    if (symbol == nullptr) throw DriverError(path, std::string("is not a channel driver: it lacks ") + name);
    return reinterpret_cast<Function>(symbol);
}

}  // namespace

void Driver::LibraryCloser::operator()(void* handle) const noexcept { dlclose(handle); }

Driver::Driver(std::string path, bool withDirectories) : m_driver(nullptr, nullptr) {
    path = LibraryPath(std::move(path));
    m_library.reset(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL));
    if (!m_library) throw DriverError(path, dlerror());
    const auto create = Lookup<CChannelDriver* (*)()>(m_library.get(), "CreateChannelDriver", path);
    const auto destroy = Lookup<DestroyFunction>(m_library.get(), "DestroyChannelDriver", path);
    {
        const HiddenHome hidden(!withDirectories && !IsLogging());
        m_driver = {create(), destroy};
    }
    if (!m_driver) throw DriverError(path, "CreateChannelDriver returned null");
}

std::string Driver::Path() const {
    const link_map* map = nullptr;
    return dlinfo(m_library.get(), RTLD_DI_LINKMAP, &map) == 0 ? map->l_name : "";
}

const link_map* Driver::LoadedLibraries() const {
    const link_map* map = nullptr;
    if (dlinfo(m_library.get(), RTLD_DI_LINKMAP, &map) != 0) return nullptr;
    while (map->l_prev != nullptr) map = map->l_prev;
    return map;
}

void* Driver::Find(const char* name) const noexcept { return dlsym(m_library.get(), name); }

unsigned int Driver::Load(const std::string& file) {
    m_file = file;
    try {
        m_driver->LoadFile(file, 0, kFileType);
        return m_driver->GetNumSamples();
    } catch (const Orm::Lux::Corva::cCorvaErrorIF& error) {
        // The driver does not say why a file cannot be opened. To try it says so.
        const bool canOpen = Orm::Lux::Trace::OpenForReading(file.c_str()) != nullptr;
        throw Error(ErrorKind::kInput, file, canOpen ? error.what() : std::strerror(errno));
    }
}

unsigned int Driver::Read(unsigned int first, unsigned int count, unsigned long* samples) {
    return TranslateErrors(ErrorKind::kInput, m_file, [&] {
        unsigned int read = 0;
        m_driver->SeekReadTraceData(first, count, samples, &read);
        return read;
    });
}

void Driver::Save(const std::string& target) {
    TranslateWriteErrors(target, " (saving " + m_file + ")", [&] { m_driver->SaveFile(target, kFileType); });
}

}  // namespace orm_trace
