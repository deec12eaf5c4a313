// orm-trace probe: loads a driver as a host does, and says what it has got.
#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <optional>
#include <string>

#include "source_utilities/uLogSystem.h"
#include "tools/orm-trace/commands/Command.h"
#include "tools/orm-trace/output/Document.h"
#include "tools/orm-trace/host/Driver.h"
#include "tools/orm-trace/output/Text.h"

namespace orm_trace {
namespace {

constexpr std::array<const char*, 7> kVariables{"ORM_TRACE_DEBUGCLIENT_PID",
                                                "ORM_TRACE_LOGGING",
                                                "ORM_TRACE_LOGGING_DIR",
                                                "ORM_TRACE_DATA_DIR",
                                                "ORM_TRACE_SETTINGS_DIR",
                                                "HOME",
                                                "LD_LIBRARY_PATH"};
constexpr std::array<const char*, 3> kDirectories{"ORM_TRACE_LOGGING_DIR", "ORM_TRACE_DATA_DIR",
                                                  "ORM_TRACE_SETTINGS_DIR"};

// The library of the error class. Every part of a process shares the one that was loaded first.
struct ErrorClass {
    std::string path;
    bool isStandIn = false;

    ErrorClass() {
        void* library = dlopen("libcorva.so", RTLD_LAZY | RTLD_NOLOAD);
        link_map* map = nullptr;
        if (library == nullptr || dlinfo(library, RTLD_DI_LINKMAP, &map) != 0) return;
        path = map->l_name;
        isStandIn = dlsym(library, "OrmCorvaStandIn") != nullptr;
        dlclose(library);
    }
};

const char* StateOf(const char* directory) {
    if (access(directory, F_OK) != 0) return "missing";
    return access(directory, W_OK | X_OK) == 0 ? "writable" : "not writable";
}

// Each group of lines of the text is an object of the document.
class Groups {
public:
    Groups(Output& out, JsonWriter* json) : m_out(out), m_json(json) {}

    void Begin(const char* name) {
        if (m_json) m_json->EndTo(1);
        if (m_json) m_json->Begin('{', name);
        if (!m_json) m_out.Write(std::string(name) + '\n');
    }
    void Line(const std::string& key, const std::optional<std::string>& value) {
        if (!m_json) {
            return m_out.Write("  " + WithoutControls(key) + "  " + WithoutControls(value.value_or("(unset)")) + '\n');
        }
        Json object;
        object[key] = nullptr;
        if (value) AddBytes(object, key, *value);
        m_json->Members(object);
    }

private:
    Output& m_out;
    JsonWriter* m_json;
};

class ProbeCommand : public Command {
public:
    explicit ProbeCommand(CLI::App& app) {
        app.add_option("DRIVER", m_path, kDriverOptionHelp);
        app.add_flag(kJsonOption, m_json, kJsonOptionHelp);
        app.footer("Example:\n  orm-trace probe");
    }

    ExitCode Run(Output& out) override {
        return WithDocument(out, m_json, "probe", [&](JsonWriter* json) {
            std::optional<Driver> driver(std::in_place, m_path, true);
            Groups groups(out, json);
            PrintLibraries(*driver, groups);
            PrintEnvironment(groups);
            PrintLog(*driver, groups);
            driver.reset();
            if (json) json->EndTo(1);
            if (json) json->Value("created_and_destroyed", true);
            if (!json) out.Write("a driver was created and destroyed\n");
            return ExitCode::kOk;
        });
    }

private:
    static void PrintLibraries(const Driver& driver, Groups& groups) {
        groups.Begin("libraries");
        groups.Line("driver", driver.Path());
        const ErrorClass error;
        groups.Line("error_class", error.path);
        groups.Line("error_class_is", error.isStandIn ? "the stand-in" : "not the stand-in");
        for (const link_map* map = driver.LoadedLibraries(); map != nullptr; map = map->l_next) {
            const std::string path = map->l_name;
            if (path.find('/') != path.npos) groups.Line(path.substr(path.rfind('/') + 1), path);
        }
    }

    static void PrintEnvironment(Groups& groups) {
        groups.Begin("environment");
        for (const char* variable : kVariables) {
            const char* value = std::getenv(variable);
            groups.Line(variable, value != nullptr ? std::optional<std::string>(value) : std::nullopt);
        }
        groups.Begin("directories");
        for (const char* variable : kDirectories) {
            if (const char* path = std::getenv(variable)) groups.Line(path, StateOf(path));
        }
    }

    static void PrintLog(const Driver& driver, Groups& groups) {
        groups.Begin("log");
        const auto getSystem =
            reinterpret_cast<ORM_LUX::uLogSystem* (*)()>(driver.Find("_ZN7ORM_LUX10uLogSystem12GetLogSystemEv"));
        const ORM_LUX::uLogSystem* system = getSystem != nullptr ? getSystem() : nullptr;
        const ORM_LUX::uLogger* logger = system != nullptr ? system->m_pLogger : nullptr;
        groups.Line("file", logger != nullptr ? std::optional(logger->m_fileName) : std::nullopt);
        groups.Line("writing", logger != nullptr && logger->m_outputEnabled ? "on" : "off");
        groups.Line("level", std::to_string(system != nullptr ? system->m_loggingLevel : 0));
    }

    std::string m_path;
    bool m_json = false;
};

}  // namespace

std::unique_ptr<Command> AddProbeCommand(CLI::App& app) {
    return std::make_unique<ProbeCommand>(*app.add_subcommand("probe", "Load a driver as a host does, and look at it"));
}

}  // namespace orm_trace
