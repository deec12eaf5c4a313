#include "capture/SectionWriter.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "capture/InputFile.h"
#include "capture/SectionWalk.h"
#include "capture/Text.h"
#include "capture/TranslateErrors.h"
#include "tdf/CorvaErrors.h"
#include "tdf/TDFAppender.h"
#include "tdf/TDFFormat.h"
#include "tdf/TDFHandler.h"

namespace orm_trace {

using namespace Orm::Lux::Trace;

SectionWriter::SectionWriter(std::string path, std::string name) : m_path(std::move(path)), m_name(std::move(name)) {}

std::uint64_t SectionWriter::RequireWholeChain(ErrorKind kind) const {
    return WithSubject(m_name, [&] {
        const InputFile file(m_path);
        if (!file.HasIdentifier()) throw Error(kind, m_name, "is not a TDF file");
        if (!TDFHandler().HasExtension(m_name.c_str(), kTDFExtension)) {
            throw Error(kind, m_name, "is not named .tdf: hosts would not read it as a TDF file");
        }
        SectionWalk walk(file);
        while (walk.Next()) continue;
        if (walk.Fault()) {
            throw Error(kind, m_name, walk.Fault()->Message() + ": a section appended to it could not be found");
        }
        return file.Size();
    });
}

void SectionWriter::Append(SectionSource& source, const ProgressCallback& onProgress) const {
    constexpr std::size_t kChunk = 128 * 1024;
    std::vector<char> chunk(kChunk);
    const char* name = source.Name().c_str();
    std::optional<TDFAppender> target;
    std::uint32_t offset = 0;
    std::uint32_t length = 0;
    const std::string purpose = " (writing " + std::to_string(source.Size()) + " bytes of " + source.Path() + ")";
    TranslateWriteErrors(m_name, purpose, [&] {
        target.emplace(m_path.c_str());
        Require(target->IsOpen(), kBadFileToSave);
        target->AppendHeader(name, source.Version(), offset);
    });
    // As many bytes as were measured: the source may be the file itself, which grows.
    for (std::uint64_t left = source.Size(); left != 0;) {
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(left, chunk.size()));
        const auto got = static_cast<std::uint32_t>(source.Read(chunk.data(), wanted));
        if (got == 0) throw Error(ErrorKind::kInput, source.Path(), "became shorter while it was being read");
        left -= got;
        TranslateWriteErrors(m_name, purpose, [&] { target->AppendData(offset, chunk.data(), 1, got, length); });
        if (onProgress) onProgress(got);
    }
    TranslateWriteErrors(m_name, purpose, [&] { target->Close(); });
}

bool SectionWriter::HasSection(const std::string& name, std::uint32_t version) const {
    try {
        std::uint32_t length = 0;
        TDFHandler().GetSectionDataLengthInBytes(m_path.c_str(), name.c_str(), version, length);
        return true;
    } catch (const Orm::Lux::Corva::cCorvaErrorIF&) {
        return false;
    }
}

}  // namespace orm_trace
