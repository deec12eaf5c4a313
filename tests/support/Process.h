// Child processes with an environment of their own.
#pragma once

#include <sys/wait.h>

#include "support/Files.h"

// Of the build that measures coverage, only.
extern "C" __attribute__((weak)) int __llvm_profile_write_file();

namespace test {

struct Result {
    int code;  // exit code, or 128 + the signal
    std::string out, err;
};

// Runs a command in a directory. The settings, NAME=VALUE with blanks between them, are the whole of its environment;
// both are written as the shell reads them, and the command may redirect its standard streams.
inline Result Run(const std::string& directory, std::string settings, const std::string& command) {
    for (const std::string name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "LLVM_PROFILE_FILE"}) {
        if (const char* value = std::getenv(name.c_str())) settings += " '" + name + "=" + value + "'";
    }
    const TemporaryFolder folder;
    const int status = std::system(("cd " + directory + " && exec </dev/null >" + folder / "out" + " 2>" +
                                    folder / "err" + " && exec env -i " + settings + " " + command)
                                       .c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), ReadAll(folder / "out"),
            ReadAll(folder / "err")};
}

// Returns: whether check holds in a child process, which ends without cleaning up.
template <class Check> bool HoldsInChild(Check check) {
    const pid_t child = fork();
    if (child == 0) {
        const bool holds = check();
        if (__llvm_profile_write_file != nullptr) __llvm_profile_write_file();
        _exit(holds ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status == 0;
}

}  // namespace test
