// Runs a fuzz target on the files, and all files of the directories, that are its arguments.
#include "fuzz/Fuzz.h"

namespace {

std::size_t g_count = 0;

void Run(const std::filesystem::path& path) {
    const std::string bytes = fuzz::ReadFile(path.c_str());
    const std::vector<std::uint8_t> copy(bytes.begin(), bytes.end());
    std::fprintf(stderr, "%s\n", path.filename().c_str());  // the last one printed is the one that failed
    LLVMFuzzerTestOneInput(copy.data(), copy.size());
    ++g_count;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::filesystem::path> files;
    for (int n = 1; n < argc; ++n) {
        if (!std::filesystem::is_directory(argv[n])) {
            files.push_back(std::filesystem::absolute(argv[n]));
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(argv[n]))
            files.push_back(std::filesystem::absolute(entry.path()));
    }
    std::sort(files.begin(), files.end());
    for (const auto& file : files) Run(file);
    return g_count != 0 ? 0 : 1;
}
