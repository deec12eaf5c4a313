#include "capture/SectionCopy.h"

#include <cerrno>
#include <utility>

#include "capture/Error.h"
#include "capture/SectionWalk.h"

namespace orm_trace {

using namespace Orm::Lux::Trace;

namespace {

FilePtr Open(const std::string& path, const std::string& name) {
    FilePtr stream = OpenForUpdate(path.c_str());
    if (!stream) throw MakeSystemError(ErrorKind::kFailed, name, errno);
    return stream;
}

}  // namespace

SectionCopy::SectionCopy(const InputFile& from, std::string path, std::string name, ProgressCallback onProgress)
    : m_from(from),
      m_path(std::move(path)),
      m_name(std::move(name)),
      m_stream(Open(m_path, m_name)),
      m_bytes(fileno(m_stream.get()), m_name, std::move(onProgress)) {
    m_bytes.Write(kTDFIdentifier.data(), kTDFIdentifier.size());
}

void SectionCopy::Add(const Salvage::Item& item) {
    const std::uint64_t begin = item.section.offset;
    const std::uint64_t end = begin + item.length;
    const bool isAsItIs = item.length == item.section.length;
    if (begin != m_runEnd || !isAsItIs) CopyRun();
    if (m_runBegin == m_runEnd) m_runBegin = begin;
    if (!isAsItIs) {
        const Field length = StoreLittleEndian(item.length);
        m_bytes.Write(length.data(), length.size());
        m_runBegin = begin + length.size();
    }
    m_runEnd = end;
    ++m_count;
}

void SectionCopy::AddNew(std::string_view name, std::uint32_t version, std::uint64_t begin, std::uint64_t end) {
    WriteHeader(name, version, end - begin);
    m_runBegin = begin;
    m_runEnd = end;
}

void SectionCopy::AddNew(std::string_view name, std::uint32_t version, std::string_view data) {
    WriteHeader(name, version, data.size());
    m_bytes.Write(data.data(), data.size());
}

// size: of the data, in bytes.
void SectionCopy::WriteHeader(std::string_view name, std::uint32_t version, std::uint64_t size) {
    CopyRun();
    const auto nameLength = static_cast<std::uint32_t>(name.size());
    const FixedHeader header =
        StoreHeader(static_cast<std::uint32_t>(kFixedHeaderSize + nameLength + size), version, nameLength);
    m_bytes.Write(header.data(), header.size());
    m_bytes.Write(name.data(), name.size());
    ++m_count;
}

void SectionCopy::Verify() {
    CopyRun();
    m_bytes.Finish();
    if (!CloseChecked(std::move(m_stream))) throw MakeSystemError(ErrorKind::kFailed, m_name, errno);
    WithSubject(m_name, [&] {
        const InputFile file(m_path);
        SectionWalk walk(file);
        while (walk.Next()) continue;
        if (walk.Fault()) throw Error(ErrorKind::kFailed, m_name, walk.Fault()->Message());
        if (walk.Count() != m_count) throw Error(ErrorKind::kFailed, m_name, "does not contain what was written");
    });
}

void SectionCopy::CopyRun() {
    m_bytes.Copy(m_from, m_runBegin, m_runEnd);
    m_runBegin = m_runEnd;
}

}  // namespace orm_trace
