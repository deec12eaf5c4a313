// The files of a subcommand that takes several.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

namespace orm_trace {

class FileOptions {
public:
    // Adds FILE... and --files-from.
    void AddTo(CLI::App& app, const char* help);

    // Returns: the files in the order of the command line. A folder stands for the .tdf files in it, in the order of their
    //          names' bytes; subfolders are not entered.
    // Errors:  Error: kArgument without any file, kFailed for a folder without a .tdf file and one that cannot be read,
    //          kInput for a list of files that cannot be read.
    std::vector<std::string> Files() const;

private:
    std::vector<std::string> m_paths;
    std::optional<std::string> m_list;
};

}  // namespace orm_trace
