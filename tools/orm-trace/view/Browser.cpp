#include "tools/orm-trace/view/Browser.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <thread>
#include <utility>

#include "tdf/FileIO.h"

namespace orm_trace {
namespace {

bool IsSet(const char* variable) {
    const char* const value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

// Starts xdg-open in a process group of its own, so that Ctrl-C is not for the browser. Nobody waits for it.
void Open(const std::string& path) {
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_t actions;
    sigset_t defaults;
    sigemptyset(&defaults);
    for (const int signal : {SIGPIPE, SIGXFSZ}) sigaddset(&defaults, signal);
    if (posix_spawnattr_init(&attributes) != 0) return;
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    if (posix_spawn_file_actions_init(&actions) == 0) {
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_RDWR, 0);
        }
        std::string program = "xdg-open", argument = path;
        const std::array<char*, 3> arguments{program.data(), argument.data(), nullptr};
        pid_t process = 0;
        if (posix_spawnp(&process, program.c_str(), &actions, &attributes, arguments.data(), environ) == 0) {
            std::thread([process] { waitpid(process, nullptr, 0); }).detach();
        }
        posix_spawn_file_actions_destroy(&actions);
    }
    posix_spawnattr_destroy(&attributes);
}

}  // namespace

Browser::Browser(const std::string& address) {
    if (!IsSet("DISPLAY") && !IsSet("WAYLAND_DISPLAY")) return;
    constexpr std::string_view kEnding = ".html";
    std::error_code error;
    const std::filesystem::path folder = IsSet("XDG_RUNTIME_DIR")
                                             ? std::filesystem::path(std::getenv("XDG_RUNTIME_DIR"))
                                             : std::filesystem::temp_directory_path(error);
    m_file.emplace((folder / "orm-trace-XXXXXX").string().append(kEnding), kEnding.size());
    Orm::Lux::Trace::FilePtr file = m_file->TakeFile();
    if (!file) return;
    const std::string text = "<!doctype html><meta http-equiv=\"refresh\" content=\"0; url=" + address + "\">\n";
    const bool isWritten = std::fwrite(text.data(), 1, text.size(), file.get()) == text.size();
    if (Orm::Lux::Trace::CloseChecked(std::move(file)) && isWritten) Open(m_file->Path());
}

}  // namespace orm_trace
