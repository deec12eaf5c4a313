#include "python/core/Writing.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "capture/AppendTarget.h"
#include "capture/ReplacementFile.h"
#include "capture/SectionWriter.h"
#include "capture/Text.h"
#include "python/core/Unlocked.h"

namespace py = pybind11;

namespace orm_trace {
namespace {

SectionSource::ReadData BufferReader(std::shared_ptr<py::buffer_info> data) {
    return [data = std::move(data), done = std::size_t{0}](char* buffer, std::size_t size) mutable {
        const std::size_t part = std::min(size, static_cast<std::size_t>(data->size * data->itemsize) - done);
        std::memcpy(buffer, static_cast<const char*>(data->ptr) + done, part);
        done += part;
        return part;
    };
}

SectionSource::ReadData FileReader(std::shared_ptr<const OpenFile> file, ByteRange range) {
    return [file = std::move(file), range](char* buffer, std::size_t size) mutable {
        const auto part = static_cast<std::size_t>(std::min<std::uint64_t>(size, range.size));
        file->Read(range.offset, std::span(buffer, part));
        range.offset += part;
        range.size -= part;
        return part;
    };
}

// What cannot be written because readers would not find it is the caller's mistake.
template <class... Arguments> SectionSource MakeSource(Arguments&&... arguments) {
    try {
        return SectionSource(std::forward<Arguments>(arguments)...);
    } catch (const Error& error) {
        throw Error(ErrorKind::kArgument, error.Subject(), error.what());
    }
}

// A failure that a destructor reports. It becomes a warning once this thread has Python's lock again.
class LaterWarning {
public:
    LaterWarning() = default;
    ~LaterWarning() {
        if (m_text.empty()) return;
        const auto text = py::reinterpret_steal<py::object>(
            PyUnicode_DecodeFSDefaultAndSize(m_text.data(), static_cast<Py_ssize_t>(m_text.size())));
        if (!text || PyErr_WarnFormat(PyExc_RuntimeWarning, 1, "%U", text.ptr()) != 0) PyErr_WriteUnraisable(nullptr);
    }
    LaterWarning(const LaterWarning&) = delete;
    LaterWarning& operator=(const LaterWarning&) = delete;

    void Set(const Error& error) { m_text = error.Subject() + ": " + error.what(); }

private:
    std::string m_text;
};

std::shared_ptr<py::buffer_info> Contiguous(const py::buffer& data) {
    auto info = std::make_shared<py::buffer_info>(data.request());
    if (!PyBuffer_IsContiguous(info->view(), 'C')) throw py::buffer_error("the data is not contiguous");
    return info;
}

}  // namespace

NewSection::NewSection(std::string name, std::uint32_t version, const py::buffer& data)
    : m_data(Contiguous(data)),
      m_source(MakeSource(std::move(name), version, "the data",
                          static_cast<std::uint64_t>(m_data->size * m_data->itemsize), BufferReader(m_data))) {}

NewSection::NewSection(std::string name, std::uint32_t version, const Capture& capture, const ByteRange& data)
    : m_source(MakeSource(std::move(name), version, capture.File()->Input().Path(), data.size,
                          FileReader(capture.File(), data))) {}

void Create(const std::string& path, const std::vector<NewSection*>& sections, bool replace) {
    Unlocked unlocked;
    ReplacementFile file(path, replace, "exists (force=True replaces it)");
    const SectionWriter writer(file.Path(), path);
    for (NewSection* section : sections) {
        writer.Append(section->Source(), [&](std::uint64_t bytes) { unlocked.Count(bytes); });
    }
    writer.RequireWholeChain(ErrorKind::kFailed);
    file.Publish([&] { unlocked.CheckSignals(); });
}

void Append(const std::string& path, NewSection& section) {
    LaterWarning leftover;
    Unlocked unlocked;
    SectionSource& source = section.Source();
    const auto onLeftover = [&](const Error& error) { leftover.Set(error); };
    AppendTarget target(path, onLeftover, [&] { unlocked.CheckSignals(); });
    if (target.Has(source.Name(), source.Version())) {
        throw Error(ErrorKind::kArgument, path,
                    "has a section " + SectionLabel(source.Name(), source.Version()) +
                        " already, readers would not see another one");
    }
    target.Append(source, [&](std::uint64_t bytes) { unlocked.Count(bytes); });
    target.Keep();
}

}  // namespace orm_trace
