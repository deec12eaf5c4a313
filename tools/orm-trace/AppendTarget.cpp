#include "tools/orm-trace/AppendTarget.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <vector>

#include "tdf/TDFHandler.h"
#include "tools/orm-trace/Failure.h"
#include "tools/orm-trace/InputFile.h"
#include "tools/orm-trace/Output.h"
#include "tools/orm-trace/SectionWalk.h"
#include "tools/orm-trace/Text.h"

namespace orm_trace {
namespace {

using namespace Orm::Lux::Trace;

// Returns: the size of the file, which its chain of sections fills. Errors: Failure.
std::uint64_t RequireWholeChain(const std::string& path, ExitCode code) {
    const InputFile file(path);
    if (!file.HasIdentifier() || !file.IsNamedTdf()) throw Failure(code, path, "is no TDF file");
    SectionWalk walk(file);
    while (walk.Next()) continue;
    if (walk.Damage()) {
        throw Failure(code, path, walk.Damage()->Message() + ": what is appended behind that could not be found");
    }
    return file.Size();
}

bool IsFound(const std::string& path, const std::string& name, std::uint32_t version) {
    try {
        std::uint32_t length = 0;
        TDFHandler().GetSectionDataLengthInBytes(path.c_str(), name.c_str(), version, length);
        return true;
    } catch (const Orm::Lux::Corva::cCorvaErrorIF&) {
        return false;
    }
}

}  // namespace

AppendTarget::AppendTarget(std::string path)
    : m_path(std::move(path)), m_sizeBefore(RequireWholeChain(m_path, ExitCode::kNotATrace)) {}

AppendTarget::~AppendTarget() {
    if (m_kept) return;
    if (truncate(m_path.c_str(), static_cast<off_t>(m_sizeBefore)) == 0) return;
    Report(m_path, "keeps an incomplete section behind offset " + Position(m_sizeBefore));
}

void AppendTarget::RequireNew(const std::string& name, std::uint32_t version) const {
    if (!IsFound(m_path, name, version)) return;
    throw Failure(ExitCode::kFailed, m_path,
                  "has a section " + SectionLabel(name, version) +
                      " already, readers would not see another one (--allow-duplicate)");
}

void AppendTarget::Append(SectionSource& source) {
    constexpr std::size_t kChunk = 128 * 1024;
    std::vector<char> chunk(kChunk);
    const char* path = m_path.c_str();
    const char* name = source.Name().c_str();
    TDFHandler tdf;
    std::uint32_t offset = 0;
    std::uint32_t length = 0;
    Translated(ExitCode::kFailed, m_path, [&] { tdf.SaveSectionHeader(path, name, source.Version(), offset); });
    // As many bytes as were measured: the source may be the file itself, which grows.
    for (std::uint64_t left = source.Size(); left != 0;) {
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(left, chunk.size()));
        const auto got = static_cast<std::uint32_t>(source.Read(chunk.data(), wanted));
        if (got == 0) throw Failure(ExitCode::kFailed, source.Path(), "has become shorter meanwhile");
        left -= got;
        Translated(ExitCode::kFailed, m_path,
                   [&] { tdf.SaveSectionData(path, name, offset, chunk.data(), 1, got, length); });
    }
    if (!IsFound(m_path, source.Name(), source.Version())) {
        throw Failure(ExitCode::kFailed, m_path, "the section " + source.Label() + " cannot be found after writing it");
    }
}

std::uint64_t AppendTarget::Appended() const {
    std::error_code error;
    const auto size = std::filesystem::file_size(m_path, error);
    if (error) throw Failure(ExitCode::kFailed, m_path, error.message());
    return size - m_sizeBefore;
}

void AppendTarget::Keep() {
    RequireWholeChain(m_path, ExitCode::kFailed);
    m_kept = true;
}

}  // namespace orm_trace
