// orm-trace probe: loads a driver as a host does, and says what was loaded and set up.
#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "source_utilities/uLogSystem.h"
#include "tools/orm-trace/commands/Command.h"
#include "tools/orm-trace/host/Driver.h"
#include "tools/orm-trace/options/DriverOption.h"
#include "tools/orm-trace/output/Printer.h"
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

// The library of the error class. All parts of a process share the one that was loaded first.
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

// What a host has after it has made a driver.
struct Probe {
    enum class State { kMissing, kWritable, kNotWritable };
    struct Log {
        std::optional<std::string> file;
        bool isWritten = false;
        int level = 0;
    };

    std::string driver;
    ErrorClass errorClass;
    std::vector<std::string> loaded;  // every library of the process, by path
    std::vector<std::pair<std::string, std::optional<std::string>>> environment;
    std::vector<std::pair<std::string, State>> directories;
    Log log;

    explicit Probe(const Driver& loader) : driver(loader.Path()) {
        for (const link_map* map = loader.LoadedLibraries(); map != nullptr; map = map->l_next) {
            const std::string path = map->l_name;
            if (path.find('/') != path.npos) loaded.push_back(path);
        }
        for (const char* variable : kVariables) {
            const char* value = std::getenv(variable);
            environment.emplace_back(variable, value != nullptr ? std::optional<std::string>(value) : std::nullopt);
        }
        for (const char* variable : kDirectories) {
            if (const char* path = std::getenv(variable)) directories.emplace_back(path, StateOf(path));
        }
        const auto getSystem =
            reinterpret_cast<ORM_LUX::uLogSystem* (*)()>(loader.Find("_ZN7ORM_LUX10uLogSystem12GetLogSystemEv"));
        const ORM_LUX::uLogSystem* system = getSystem != nullptr ? getSystem() : nullptr;
        if (system == nullptr) return;
        log.level = static_cast<int>(system->m_loggingLevel);
        if (const ORM_LUX::uLogger* logger = system->m_pLogger) {
            log.file = logger->m_fileName;
            log.isWritten = logger->m_outputEnabled;
        }
    }

private:
    static State StateOf(const char* directory) {
        if (access(directory, F_OK) != 0) return State::kMissing;
        return access(directory, W_OK | X_OK) == 0 ? State::kWritable : State::kNotWritable;
    }
};

const char* NameOf(Probe::State state) {
    switch (state) {
        case Probe::State::kMissing: return "missing";
        case Probe::State::kWritable: return "writable";
        case Probe::State::kNotWritable: break;
    }
    return "not writable";
}

class TextProbe : public TextPrinter {
public:
    using TextPrinter::TextPrinter;

    void Describe(const Probe& probe) {
        Write("libraries\n");
        Line("driver", probe.driver);
        Line("error_class", probe.errorClass.path);
        Line("error_class_is", probe.errorClass.isStandIn ? "the stand-in" : "not the stand-in");
        for (const std::string& path : probe.loaded) Line(path.substr(path.rfind('/') + 1), path);
        Write("environment\n");
        for (const auto& [variable, value] : probe.environment) Line(variable, value.value_or("(unset)"));
        Write("directories\n");
        for (const auto& [path, state] : probe.directories) Line(path, NameOf(state));
        Write("log\n");
        Line("file", probe.log.file.value_or("(unset)"));
        Line("writing", probe.log.isWritten ? "on" : "off");
        Line("level", std::to_string(probe.log.level));
    }
    void Destroyed() { Write("a driver was created and destroyed\n"); }

private:
    void Line(const std::string& key, const std::string& value) {
        Write("  " + WithoutControls(key) + "  " + WithoutControls(value) + '\n');
    }
};

class JsonProbe : public JsonPrinter {
public:
    using JsonPrinter::JsonPrinter;

    void Describe(const Probe& probe) {
        Document().Begin('{', "libraries");
        Bytes("driver", probe.driver);
        Bytes("error_class", probe.errorClass.path);
        Document().Value("error_class_is_stand_in", probe.errorClass.isStandIn);
        Document().Begin('[', "loaded");
        for (const std::string& path : probe.loaded) Document().Element(Path(path));
        Document().End();
        Document().End();
        Document().Begin('{', "environment");
        for (const auto& [variable, value] : probe.environment) {
            if (value) Bytes(variable, *value);
            if (!value) Document().Value(variable.c_str(), nullptr);
        }
        Document().End();
        Document().Begin('[', "directories");
        for (const auto& [path, state] : probe.directories) {
            Json directory = Path(path);
            directory["state"] = NameOf(state);
            Document().Element(directory);
        }
        Document().End();
        Document().Begin('{', "log");
        if (probe.log.file) Document().Members(Path(*probe.log.file));
        Document().Value("writing", probe.log.isWritten);
        Document().Value("level", probe.log.level);
        Document().End();
    }
    void Destroyed() { Document().Value("created_and_destroyed", true); }

private:
    static Json Path(const std::string& path) {
        Json object;
        AddBytes(object, "path", path);
        return object;
    }
    void Bytes(const std::string& key, const std::string& bytes) {
        Json object;
        AddBytes(object, key, bytes);
        Document().Members(object);
    }
};

class ProbeCommand : public Command {
public:
    explicit ProbeCommand(CLI::App& app) {
        app.add_option("DRIVER", m_path, kDriverOptionHelp);
        app.add_flag(kJsonOption, m_json, kJsonOptionHelp);
        app.footer("Example:\n  orm-trace probe");
    }

    ExitCode Run(Output& out) override {
        return Print<TextProbe, JsonProbe>(m_json, out, "probe", [&](auto& printer) {
            {
                const Driver driver(m_path, true);
                printer.Describe(Probe(driver));
            }
            printer.Destroyed();
            return ExitCode::kOk;
        });
    }

private:
    std::string m_path;
    bool m_json = false;
};

}  // namespace

std::unique_ptr<Command> AddProbeCommand(CLI::App& app) {
    return std::make_unique<ProbeCommand>(*app.add_subcommand("probe", "Load a driver as a host does, and look at it"));
}

}  // namespace orm_trace
