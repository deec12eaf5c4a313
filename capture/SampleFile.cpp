#include "capture/SampleFile.h"

#include <algorithm>

#include "capture/TranslateErrors.h"
#include "tdf/TDFFile.h"
#include "tdf/TraceSection.h"

namespace orm_trace {

using namespace Orm::Lux::Trace;

SampleFile::SampleFile(const InputFile& file)
    : m_file(file), m_isTdf(file.HasIdentifier() && file.IsNamedTdf()), m_bytes{0, file.Size()} {
    if (m_isTdf) m_bytes = FindTrace();
    m_count = (m_bytes.end - m_bytes.begin + kSampleSize - 1) / kSampleSize;
}

std::uint64_t SampleFile::Available() const noexcept {
    return std::min(m_count, (m_file.Size() - std::min(m_file.Size(), m_bytes.begin)) / kSampleSize);
}

SampleFile::Range SampleFile::BytesOf(std::uint64_t first, std::uint64_t count) const noexcept {
    const std::uint64_t end = first + std::min(count, m_count - first);
    return {m_bytes.begin + first * kSampleSize, std::min(m_bytes.begin + end * kSampleSize, m_bytes.end)};
}

std::size_t SampleFile::Read(std::uint64_t first, std::span<std::uint64_t> words) const {
    static_assert(sizeof(std::uint64_t) == kSampleSize);
    const auto wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(words.size(), m_count - std::min(m_count, first)));
    return m_file.ReadAt(m_bytes.begin + first * kSampleSize, words.data(), wanted * kSampleSize) / kSampleSize;
}

bool SampleFile::HasGrown() const {
    m_file.Measure();
    return (m_isTdf ? FindTrace().end : m_file.Size()) > m_bytes.end;
}

SampleFile::Range SampleFile::FindTrace() const {
    const TDFFile::Data data = TranslateErrors(ErrorKind::kInput, m_file.Path(), [&] {
        return TDFFile(m_file.Stream()).Require(kTraceSection, kTraceVersion);
    });
    return {data.offset, std::uint64_t{data.offset} + data.length};
}

}  // namespace orm_trace
