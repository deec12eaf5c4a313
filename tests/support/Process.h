// Child processes with an environment of their own.
#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/Files.h"

namespace test {

struct Result {
    int code = -1;  // exit code, or 128 + the signal
    std::string out;
    std::string err;
};

struct Run {
    std::vector<std::string> command;
    std::vector<std::string> environment;  // NAME=VALUE, the whole of it
    std::string directory = "/";
    std::string out;            // a path for standard output in place of the captured one
    std::string in;             // what standard input delivers
    bool unprivileged = false;  // drops the rights of root

    Result operator()() const {
        const TemporaryFolder folder;
        const std::string outPath = out.empty() ? folder / "out" : out;
        const std::string inPath = folder.Write("in", in);
        std::vector<std::string> env = environment;
        for (const char* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "LLVM_PROFILE_FILE"}) {
            if (const char* value = std::getenv(name)) env.push_back(std::string(name) + "=" + value);
        }
        const auto pointers = [](const std::vector<std::string>& texts) {
            std::vector<char*> list;
            for (const auto& text : texts) list.push_back(const_cast<char*>(text.c_str()));
            list.push_back(nullptr);
            return list;
        };
        const auto arguments = pointers(command);
        const auto variables = pointers(env);
        const auto redirect = [](const std::string& path, int flags, int to) {
            const int from = open(path.c_str(), flags, 0644);
            return from >= 0 && (from == to || (dup2(from, to) == to && close(from) == 0));
        };
        const pid_t child = fork();
        if (child == 0) {
            const bool ready = redirect(inPath, O_RDONLY, 0) && redirect(outPath, O_WRONLY | O_CREAT, 1) &&
                               redirect(folder / "err", O_WRONLY | O_CREAT, 2) && chdir(directory.c_str()) == 0 &&
                               (!unprivileged || getuid() != 0 || (setgid(65534) == 0 && setuid(65534) == 0));
            if (ready) execve(arguments[0], arguments.data(), variables.data());
            _exit(126);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), out.empty() ? ReadAll(outPath) : "",
                ReadAll(folder / "err")};
    }
};

}  // namespace test
