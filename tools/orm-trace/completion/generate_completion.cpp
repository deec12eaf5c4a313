// Writes the completion of orm-trace for a shell to a file.
//
//   generate-completion FILE bash TEMPLATE | zsh | fish
#include <fstream>
#include <iostream>
#include <iterator>

#include "tools/orm-trace/commands/Commands.h"
#include "tools/orm-trace/completion/CompletionTable.h"

int main(int argc, char** argv) {
    using namespace orm_trace;
    const std::string shell = argc > 2 ? argv[2] : "";
    const CommandLine line;
    const CompletedCommand tool = DescribeForCompletion(line.app);
    std::string text;
    if (shell == "bash" && argc == 4) {
        std::ifstream file(argv[3]);
        text = BashCompletion(tool, std::string(std::istreambuf_iterator<char>(file), {}));
    } else if (shell == "zsh") {
        text = ZshCompletion(tool);
    } else if (shell == "fish") {
        text = FishCompletion(tool);
    } else {
        std::cerr << "usage: generate-completion FILE bash TEMPLATE | zsh | fish\n";
        return 2;
    }
    std::ofstream out(argv[1], std::ios::binary);
    out << text << std::flush;
    return out ? 0 : 1;
}
