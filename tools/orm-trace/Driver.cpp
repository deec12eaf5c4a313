#include "tools/orm-trace/Driver.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "corva/cCorvaError.h"
#include "tools/orm-trace/Command.h"

namespace orm_trace {
namespace {

using Orm::Lux::Trace::CChannelDriver;

constexpr const char* kLibraryName = "libTalvoraFileChannelDriver.so";

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

template <class Function> Function Lookup(void* library, const char* name, const std::string& path) {
    void* symbol = dlsym(library, name);
    if (symbol == nullptr) throw Failure(ExitCode::kNoDriver, path, std::string("is no channel driver: no ") + name);
    return reinterpret_cast<Function>(symbol);
}

}  // namespace

void Driver::LibraryCloser::operator()(void* handle) const noexcept { dlclose(handle); }

Driver::Driver(std::string path) : m_driver(nullptr, nullptr) {
    path = LibraryPath(std::move(path));
    m_library.reset(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL));
    if (!m_library) throw Failure(ExitCode::kNoDriver, path, dlerror());
    const auto create = Lookup<CChannelDriver* (*)()>(m_library.get(), "CreateChannelDriver", path);
    const auto destroy = Lookup<DestroyFunction>(m_library.get(), "DestroyChannelDriver", path);
    m_driver = {create(), destroy};
}

// What the driver refuses concerns the trace.
template <class Call> void Driver::Try(Call call) {
    try {
        call(*m_driver);
    } catch (const Orm::Lux::Corva::cCorvaErrorIF& error) {
        throw Failure(ExitCode::kNotATrace, m_file, error.what());
    }
}

unsigned int Driver::Load(const std::string& file) {
    m_file = file;
    unsigned int count = 0;
    Try([&](CChannelDriver& driver) {
        driver.LoadFile(file, 0, Orm::Lux::Trace::eTraceDataFileType{});
        count = driver.GetNumSamples();
    });
    return count;
}

unsigned int Driver::Read(unsigned int first, unsigned int count, unsigned long* samples) {
    unsigned int read = 0;
    Try([&](CChannelDriver& driver) { driver.SeekReadTraceData(first, count, samples, &read); });
    return read;
}

}  // namespace orm_trace
