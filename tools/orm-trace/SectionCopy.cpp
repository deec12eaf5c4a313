#include "tools/orm-trace/SectionCopy.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tools/orm-trace/Failure.h"
#include "tools/orm-trace/SectionWalk.h"

namespace orm_trace {

using namespace Orm::Lux::Trace;

SectionCopy::SectionCopy(const std::string& path, const std::string& name)
    : m_path(path), m_name(name), m_stream(OpenForUpdate(path.c_str())) {
    Check(m_stream != nullptr && fseeko(m_stream.get(), static_cast<off_t>(m_size), SEEK_SET) == 0);
}

void SectionCopy::Add(const InputFile& from, const Salvage::Item& item) {
    const Field length = StoreLittleEndian(item.length);
    Write(length.data(), length.size());
    const std::uint64_t end = std::uint64_t{item.section.offset} + item.length;
    for (std::uint64_t at = item.section.offset + length.size(); at < end;) {
        const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(m_page.size(), end - at));
        const std::size_t got = from.ReadAt(at, m_page.data(), size);
        if (got == 0) throw Failure(ExitCode::kFailed, from.Path(), "has become shorter meanwhile");
        Write(m_page.data(), got);
        at += got;
    }
    ++m_count;
}

void SectionCopy::Verify() {
    Check(Orm::Lux::Trace::Close(std::move(m_stream)));
    About(m_name, [&] {
        const InputFile file(m_path);
        SectionWalk walk(file);
        while (walk.Next()) continue;
        if (walk.Damage()) throw Failure(ExitCode::kFailed, m_name, walk.Damage()->Message());
        if (walk.Count() != m_count || file.Size() != m_size) {
            throw Failure(ExitCode::kFailed, m_name, "does not have what was written");
        }
    });
}

void SectionCopy::Check(bool succeeded) const {
    if (!succeeded) throw Failure(ExitCode::kFailed, m_name, std::strerror(errno));
}

void SectionCopy::Write(const void* bytes, std::size_t size) {
    Check(std::fwrite(bytes, 1, size, m_stream.get()) == size);
    m_size += size;
}

}  // namespace orm_trace
