// Writes the completion of orm-trace, made from its command line, for each shell.
// generate-completion BASH_FILE ZSH_FILE FISH_FILE
#include <cstdio>
#include <fstream>

#include "tools/orm-trace/commands/Commands.h"
#include "tools/orm-trace/completion/Completion.h"

namespace {

bool Write(const char* path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file) std::fprintf(stderr, "generate-completion: cannot write %s\n", path);
    return !file.fail();
}

}  // namespace

int main(int argc, char** argv) {
    using namespace orm_trace::completion;
    if (argc != 4) {
        std::fprintf(stderr, "usage: generate-completion BASH_FILE ZSH_FILE FISH_FILE\n");
        return 2;
    }
    const orm_trace::CommandLine line;
    const auto levels = Levels(line.app);
    const bool isWritten = Write(argv[1], BashCompletion(levels)) && Write(argv[2], ZshCompletion(levels)) &&
                           Write(argv[3], FishCompletion(levels));
    return isWritten ? 0 : 1;
}
