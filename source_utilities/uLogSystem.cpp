#include "source_utilities/uLogSystem.h"

#include <array>
#include <atomic>
#include <cstdlib>
#include <memory>

#include "source_utilities/internal/DirectoryText.h"
#include "source_utilities/internal/LogCall.h"
#include "source_utilities/internal/ScopedLock.h"
#include "source_utilities/internal/StartMutex.h"
#include "source_utilities/source_utilities_error.h"
#include "source_utilities/uEnvironment.h"

namespace ORM_LUX {
namespace {

struct SettingRow {
    bool output;
    bool echo;
    bool debugWindow;
    int level;
};

constexpr std::array<SettingRow, 7> kSettings{{
    {false, false, false, 0},  // 0, and every setting beyond the table; the caller determines the level
    {true, false, false, 1},
    {true, true, false, 1},
    {true, false, false, 2},
    {true, true, false, 2},
    {true, true, true, 2},
    {true, true, true, 3},
}};

bool IsInTable(int setting) { return setting >= 1 && static_cast<std::size_t>(setting) < kSettings.size(); }

const SettingRow& RowOf(int setting) { return kSettings[IsInTable(setting) ? static_cast<std::size_t>(setting) : 0]; }

void Apply(uLogger& logger, int setting) {
    const SettingRow& row = RowOf(setting);
    logger.EnableOutput(row.output);
    if (row.echo) logger.EnableLogToStdio(true);
    if (row.debugWindow) logger.EnableLogDbgOutWindow(true);
}

int LevelOf(int setting) { return IsInTable(setting) ? RowOf(setting).level : setting; }

// Fields that other threads read while they log.
template <class T> void Publish(T& field, T value) {
    std::atomic_ref<T>(field).store(value, std::memory_order_release);
}

}  // namespace

uLogSystem* uLogSystem::m_pSystem = nullptr;

uLogSystem* LogSystemOrNull() noexcept {
    try {
        return uLogSystem::GetLogSystem();
    } catch (...) {  // out of memory
        return nullptr;
    }
}

uLogSystem* uLogSystem::GetLogSystem() {
    const std::atomic_ref<uLogSystem*> shared(m_pSystem);
    uLogSystem* system = shared.load(std::memory_order_acquire);
    if (system != nullptr) return system;
    auto created = std::make_unique<uLogSystem>();
    return shared.compare_exchange_strong(system, created.get()) ? created.release() : system;
}

uLogSystem::uLogSystem() : m_pLogger(nullptr), m_loggingLevel(0), m_useLoggerLookup(false), m_refCount(0) {}

uLogSystem::~uLogSystem() {
    if (--m_refCount < 1) {
        delete m_pLogger;
        m_refCount = 0;
        m_pLogger = nullptr;
    }
}

bool uLogSystem::InitLog(const char* fileName, const char* levelVarName, const char* dirVarName, bool useLookup) {
    if (fileName == nullptr || levelVarName == nullptr) return false;
    const ScopedLock lock(StartMutex());
    uLogger* const current = useLookup ? LookupLogger(fileName) : m_pLogger;
    if (current != nullptr) {
        m_useLoggerLookup = useLookup;
        Publish(m_pLogger, current);
        return true;
    }

    // Everything that may fail comes before the first change.
    std::string path = fileName;
    const char* directory = dirVarName != nullptr ? uEnvironment::GetVar(dirVarName) : "";
    if (*directory != '\0') path = std::string(directory) + "/" + fileName;
    const int setting = static_cast<int>(std::strtol(uEnvironment::GetVar(levelVarName), nullptr, 10));
    std::string settings, data;
    if (RowOf(setting).output) {
        settings = DirectoryText(uEnvironment::GetTraceUserSettingsDirectory);
        data = DirectoryText(uEnvironment::GetTraceTemporaryDataDirectory);
    }
    Start(path, setting, useLookup ? fileName : nullptr);
    m_useLoggerLookup = useLookup;
    ++m_refCount;
    constexpr auto kLevel = uLogger::LOG_M;
    constexpr auto kStamp = uLogger::TD_TIME;
    m_pLogger->Log(kLevel, kStamp, "Logger : trace user settings directory is %s", settings.c_str());
    m_pLogger->Log(kLevel, kStamp, "Logger : trace temporary data directory is %s", data.c_str());
    return true;
}

bool uLogSystem::InitLogEx(const char* fileName, int setting, const char* dirName) {
    if (fileName == nullptr) return false;
    const ScopedLock lock(StartMutex());
    if (m_pLogger != nullptr) return true;
    Start(dirName != nullptr ? std::string(dirName) + "/" + fileName : std::string(fileName), setting, nullptr);
    return true;
}

// Makes the default logger, registers it unless registeredName is null, and applies the setting. If memory runs
// out, nothing has changed.
void uLogSystem::Start(const std::string& path, int setting, const char* registeredName) {
    auto logger = std::make_unique<uLogger>(path.c_str(), true);
    Apply(*logger, setting);
    if (registeredName != nullptr) m_loggers[registeredName] = logger.get();
    Publish(m_pLogger, logger.release());
    Publish(m_loggingLevel, LevelOf(setting));
}

void uLogSystem::SetLoggingLevel(int setting) {
    const ScopedLock lock(StartMutex());
    if (m_pLogger == nullptr) return;
    Apply(*m_pLogger, setting);
    if (IsInTable(setting)) Publish(m_loggingLevel, LevelOf(setting));
}

uLogger* uLogSystem::LookupLogger(const char* name) {
    if (name == nullptr) return nullptr;
    const ScopedLock lock(StartMutex());
    const auto found = m_loggers.find(name);
    return found != m_loggers.end() ? found->second : nullptr;
}

}  // namespace ORM_LUX
