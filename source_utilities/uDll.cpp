#include "source_utilities/uDll.h"

#include <dlfcn.h>

#include <string_view>

#include "source_utilities/internal/DirectoryText.h"
#include "source_utilities/internal/LogCall.h"
#include "source_utilities/uEnvironment.h"

void* _anyAddressInThisModuleWillDo = nullptr;

namespace ORM_LUX {
namespace {

constexpr int kDefaultMode = -1;
constexpr std::string_view kPrefix = "lib";
constexpr std::string_view kExtension = ".so";

// The exported marker's address may be in the host: an executable that refers to the variable gets a copy of its own,
// which the whole process then uses. The address of this one is always in the library.
const char kModuleMarker = 0;

int OrLazy(int mode) noexcept { return mode != kDefaultMode ? mode : RTLD_LAZY; }

std::string LoaderError() {
    const char* text = dlerror();
    return text != nullptr ? text : "";
}

}  // namespace

uDll::uDll(const char* path, int mode) : m_path(path != nullptr ? path : ""), m_mode(OrLazy(mode)), m_handle(nullptr) {}

uDll::~uDll() {
    if (m_handle != nullptr) dlclose(m_handle);
}

bool uDll::Load(const char* path, int mode) {
    if (IsLoaded()) return true;
    if (path != nullptr) m_path = path;
    if (mode != kDefaultMode) m_mode = mode;
    if (m_path.empty()) return false;
    m_mode = OrLazy(m_mode);
    m_error.clear();
    m_handle = dlopen(m_path.c_str(), m_mode);
    if (!IsLoaded()) {
        m_error = LoaderError();
        ORM_LOG_TRACE("uDll: %s", m_error.c_str());
    }
    return IsLoaded();
}

bool uDll::FindAndLoad(const char* name, int mode) {
    ORM_LOG_ENTRY("source_utilities/uDll.cpp", 191, "FindAndLoad");
    if (name == nullptr) return false;
    if (IsLoaded()) return true;
    std::string platformName;
    GetPlatformName(platformName, name);
    ORM_LOG_TRACE("uDll:  request to load \"%s\" in mode %d", name, mode);
    ORM_LOG_TRACE("uDll:  GetPlatformName returned \"%s\"", platformName.c_str());
    ORM_LOG_TRACE("uDll:  Working Directory is: \"%s\"", DirectoryText(uEnvironment::GetWorkingDirectory).c_str());
    ORM_LOG_TRACE("uDll:  LD_LIBRARY_PATH=%s", uEnvironment::GetVar("LD_LIBRARY_PATH"));
    return Load(platformName.c_str(), mode);
}

void* uDll::GetSymbolAddress(const char* symbol) {
    if (!IsLoaded()) return nullptr;
    m_error.clear();
    void* address = symbol != nullptr ? dlsym(m_handle, symbol) : nullptr;
    if (symbol != nullptr && address == nullptr) m_error = LoaderError();
    return address;
}

bool uDll::Unload() {
    if (!IsLoaded()) return false;
    m_error.clear();
    if (dlclose(m_handle) != 0) m_error = LoaderError();
    m_handle = nullptr;
    return m_error.empty();
}

bool uDll::IsLoaded() { return m_handle != nullptr; }
void* uDll::GetLibHandle() { return m_handle; }
const char* uDll::GetPath() { return m_path.c_str(); }
int uDll::GetMode() { return m_mode; }
const char* uDll::GetError() { return m_error.c_str(); }

bool uDll::hasExtension(const char* name) {
    const std::string_view text = name != nullptr ? name : "";
    return text != kExtension && text.find(kExtension) != text.npos;
}

std::string& uDll::GetPlatformName(std::string& out, const char* name) {
    if (name == nullptr) return out;
    std::string platformName = name;
    if (!hasExtension(name)) platformName.insert(0, kPrefix).append(kExtension);
    return out += platformName;
}

std::string& uDll::GetUniversalName(std::string& out, const char* name) {
    if (name == nullptr) return out;
    std::string universalName = name;
    if (hasExtension(name)) {
        universalName.erase(0, kPrefix.size());
        if (universalName.size() >= kExtension.size()) universalName.resize(universalName.size() - kExtension.size());
    }
    return out += universalName;
}

std::string& uDll::GetModulePath(std::string& out) {
    Dl_info info{};
    if (IsLoaded() && dladdr(&kModuleMarker, &info) != 0 && info.dli_fname != nullptr) out += info.dli_fname;
    return out;
}

}  // namespace ORM_LUX
