#include "driver/StartUp.h"

#include <string>

#include "source_utilities/internal/NeverDestroyed.h"
#include "source_utilities/internal/ScopedLock.h"
#include "source_utilities/internal/SharedTimeMutex.h"
#include "source_utilities/internal/StartMutex.h"
#include "source_utilities/uEnvironment.h"
#include "source_utilities/uLogSystem.h"
#include "source_utilities/uProcess.h"
#include "source_utilities/uString.h"
#include "source_utilities/uTime.h"

namespace Orm::Lux::Trace {
namespace {

using ORM_LUX::NeverDestroyed;
using ORM_LUX::uEnvironment;
using ORM_LUX::uLogSystem;
using ORM_LUX::uProcess;
using ORM_LUX::uString;
using ORM_LUX::uTime;

// Guarded by StartMutex.
bool g_init = false;
NeverDestroyed<std::string> g_pid;
NeverDestroyed<std::string> g_traceLogDir;
NeverDestroyed<std::string> g_traceDataDir;
NeverDestroyed<std::string> g_traceSettingsDir;
NeverDestroyed<std::string> g_fileName;

template <class T> void AppendNumber(std::string& text, T value) {
    uString::FromNumeric<T>(text, value, std::ios::fmtflags(), 0, 0, '\0');
}

// The processes of one debug session share the id of the process that began it, as long as that process exists.
void SettleDebugClient() {
    std::string& pid = g_pid.value;
    pid = uEnvironment::GetVar("ORM_TRACE_DEBUGCLIENT_PID");
    if (!pid.empty() && uProcess::LookupProcess(uString::ToNumeric<unsigned long>(pid.c_str())) == 0) pid.clear();
    if (!pid.empty()) return;
    AppendNumber(pid, uProcess::GetPid());
    uEnvironment::SetVar("ORM_TRACE_DEBUGCLIENT_PID", pid.c_str());
}

void PublishTraceDirectories() {
    g_traceLogDir.value.clear();
    uEnvironment::GetTraceLoggingDirectory(g_traceLogDir.value);
    uEnvironment::GetTraceTemporaryDataDirectory(g_traceDataDir.value);
    uEnvironment::GetTraceUserSettingsDirectory(g_traceSettingsDir.value);

    uEnvironment::MakeDirectory(g_traceLogDir.value.c_str());
    uEnvironment::MakeDirectory(g_traceDataDir.value.c_str());
    uEnvironment::MakeDirectory(g_traceSettingsDir.value.c_str());

    uEnvironment::SetVar("ORM_TRACE_LOGGING_DIR", g_traceLogDir.value.c_str());
    uEnvironment::SetVar("ORM_TRACE_DATA_DIR", g_traceDataDir.value.c_str());
    uEnvironment::SetVar("ORM_TRACE_SETTINGS_DIR", g_traceSettingsDir.value.c_str());
}

// For example orm_trace_log_11162026_4242.txt; the numbers are not padded, 5 March is 35.
void NameLogFile() {
    const ORM_LUX::ScopedLock lock(ORM_LUX::SharedTimeMutex());
    std::string& name = g_fileName.value;
    uTime time;
    name = "orm_trace_log_";
    AppendNumber(name, static_cast<int>(time.GetLocal().GetMonth()));
    AppendNumber(name, static_cast<int>(time.GetLocal().GetDay()));
    AppendNumber(name, time.GetLocal().GetYear());
    name += "_" + g_pid.value + ".txt";
}

}  // namespace

void StartUp() noexcept {
    const ORM_LUX::ScopedLock lock(ORM_LUX::StartMutex());
    try {
        if (!g_init) {
            SettleDebugClient();
            PublishTraceDirectories();
            NameLogFile();
            g_init = true;
        }
        uLogSystem::GetLogSystem()->InitLog(g_fileName.value.c_str(), "ORM_TRACE_LOGGING", "ORM_TRACE_LOGGING_DIR",
                                            true);
    } catch (...) {
    }
}

}  // namespace Orm::Lux::Trace
