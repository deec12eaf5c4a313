#include "tools/orm-trace/options/FileOptions.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "capture/Error.h"
#include "tdf/FileIO.h"
#include "tdf/TDFFormat.h"
#include "tdf/TDFHandler.h"
#include "tools/orm-trace/options/InputLines.h"

namespace orm_trace {

using namespace Orm::Lux::Trace;

namespace {

void AddFolder(const std::string& folder, std::vector<std::string>& files) {
    std::vector<std::string> found;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string path = entry->path().string();
        std::error_code unknown;
        if (TDFHandler().HasExtension(path.c_str(), kTDFExtension) && !entry->is_directory(unknown)) {
            found.push_back(path);
        }
    }
    if (error) throw Error(ErrorKind::kFailed, folder, error.message());
    if (found.empty()) throw Error(ErrorKind::kFailed, folder, "has no .tdf files");
    std::sort(found.begin(), found.end());
    files.insert(files.end(), found.begin(), found.end());
}

void Add(const std::string& path, std::vector<std::string>& files) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        AddFolder(path, files);
    } else {
        files.push_back(path);
    }
}

}  // namespace

void FileOptions::AddTo(CLI::App& app, const char* help) {
    // Where an option has no limit, the parser takes the text [a,b] for two values. This one always expects more.
    constexpr int kMany = CLI::detail::expected_max_vector_size;
    app.add_option("FILE", m_paths, help)->take_all()->expected(kMany - 1, kMany)->allow_extra_args(false);
    app.add_option_function<std::string>(
           "--files-from", [this](const std::string& path) { m_list = path; },
           "Read more file names from FILE, one per line; - is standard input")
        ->option_text("FILE");
}

std::vector<std::string> FileOptions::Files() const {
    std::vector<std::string> files;
    for (const std::string& path : m_paths) Add(path, files);
    if (m_list) {
        InputLines lines(*m_list);
        while (const auto line = lines.Next()) {
            if (line->find('\0') != line->npos) {
                throw Error(ErrorKind::kInput, *m_list, "line " + std::to_string(lines.Number()) + " has a zero byte");
            }
            if (!line->empty()) Add(std::string(*line), files);
        }
    }
    if (files.empty()) throw Error(ErrorKind::kArgument, "FILE", "is required");
    return files;
}

}  // namespace orm_trace
