#include "capture/SampleFile.h"

#include <algorithm>
#include <utility>

#include "capture/TranslateErrors.h"
#include "tdf/TDFFile.h"
#include "tdf/TraceSection.h"

namespace orm_trace {

using namespace Orm::Lux::Trace;

SampleFile::SampleFile(std::string path) : m_file(std::move(path)) {
    std::uint64_t length = m_file.Size();
    if (m_file.HasIdentifier() && m_file.IsNamedTdf()) {
        const TDFFile::Data data = TranslateErrors(ErrorKind::kInput, m_file.Path(), [&] {
            return TDFFile(m_file.Stream()).Require(kTraceSection, kTraceVersion);
        });
        m_offset = data.offset;
        length = data.length;
    }
    m_count = (length + kSampleSize - 1) / kSampleSize;
}

std::size_t SampleFile::Read(std::uint64_t first, std::span<std::uint64_t> words) const {
    static_assert(sizeof(std::uint64_t) == kSampleSize);
    const auto wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(words.size(), m_count - std::min(m_count, first)));
    return m_file.ReadAt(m_offset + first * kSampleSize, words.data(), wanted * kSampleSize) / kSampleSize;
}

}  // namespace orm_trace
