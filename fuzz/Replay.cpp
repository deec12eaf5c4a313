// Runs a fuzz target on inputs, and on mutations of each, which are the same ones in every run.
//
//   fuzz-replay-TARGET MUTATIONS FILE|DIRECTORY...     0 runs only the inputs
#include <random>

#include "fuzz/Fuzz.h"

namespace {

std::mt19937 g_random(1);
std::size_t Below(std::size_t end) { return g_random() % end; }

// Changes up to four places.
void Mutate(std::string& bytes) {
    for (std::size_t changes = Below(4) + 1; changes != 0; --changes) {
        const std::size_t at = Below(bytes.size() + 1), count = Below(9), how = Below(4);
        if (how == 0) bytes.erase(at, count);
        if (how == 1) bytes.insert(at, count, static_cast<char>(Below(256)));
        for (std::size_t n = at; how > 1 && n < std::min(at + count, bytes.size()); ++n)
            bytes[n] = static_cast<char>(how == 2 ? Below(256) : static_cast<unsigned char>(bytes[n]) ^ 1U << Below(8));
    }
}

void Run(const std::string& bytes) {
    const std::vector<std::uint8_t> copy(bytes.begin(), bytes.end());  // its end is guarded
    LLVMFuzzerTestOneInput(copy.data(), copy.size());
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::filesystem::path> files;
    for (int n = 2; n < argc; ++n) {
        if (!std::filesystem::is_directory(argv[n])) {
            files.push_back(std::filesystem::absolute(argv[n]));
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(argv[n]))
            files.push_back(std::filesystem::absolute(entry.path()));
    }
    std::sort(files.begin(), files.end());
    for (const auto& file : files) {
        std::fprintf(stderr, "%s\n", file.filename().c_str());  // the last one printed is the one that failed
        const std::string bytes = fuzz::ReadFile(file.c_str());
        Run(bytes);
        for (long n = std::atol(argv[1]); n > 0; --n) {
            std::string mutation = bytes;
            Mutate(mutation);
            Run(mutation);
        }
    }
    return files.empty() ? 1 : 0;
}
