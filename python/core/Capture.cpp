#include "python/core/Capture.h"

#include <pybind11/pybind11.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "capture/Error.h"
#include "capture/SectionWalk.h"
#include "python/core/Errors.h"
#include "python/core/Unlocked.h"
#include "tdf/TraceSection.h"

namespace py = pybind11;

namespace orm_trace {

using namespace Orm::Lux::Trace;

namespace {

struct stat StatusOf(const InputFile& file) {
    struct stat status {};
    if (fstat(fileno(file.Stream()), &status) != 0) throw MakeSystemError(ErrorKind::kFailed, file.Path(), errno);
    return status;
}

// Names are bytes; those that are not UTF-8 become surrogates, as in the paths of Python.
py::object Decoded(std::string_view name) {
    return py::reinterpret_steal<py::object>(
        PyUnicode_DecodeUTF8(name.data(), static_cast<Py_ssize_t>(name.size()), "surrogateescape"));
}

// What is kept of a section while Python's lock is released.
struct SectionRecord {
    std::string name;
    std::uint32_t version = 0;
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
    std::uint64_t dataOffset = 0;
    std::uint64_t available = 0;

    explicit SectionRecord(const SectionWalk& walk)
        : name(walk.Section().name),
          version(walk.Section().version),
          offset(walk.Section().offset),
          length(walk.Section().length),
          dataOffset(walk.Section().DataOffset()),
          available(walk.DataAvailable()) {}

    py::tuple AsTuple() const { return py::make_tuple(Decoded(name), version, offset, length, dataOffset, available); }
};

py::tuple AsTuple(const LocatedFault& fault) {
    return py::make_tuple(fault.KindName(), fault.offset, fault.index,
                          fault.name ? Decoded(*fault.name) : py::object(py::none()), fault.Message());
}

// Returns: the first section of this name, and of this version if one is given. Errors: Error.
std::optional<SectionRecord> Find(const InputFile& file, std::string_view name, std::optional<std::uint32_t> version) {
    if (!file.HasIdentifier()) return {};
    SectionWalk walk(file);
    while (walk.Next()) {
        const TDFSection& section = walk.Section();
        if (section.name == name && (!version || section.version == *version)) return SectionRecord(walk);
    }
    if (walk.Fault() && walk.Fault()->kind == TDFFaultKind::kReadError) {
        throw Error(ErrorKind::kFailed, file.Path(), walk.Fault()->Message(), EIO);
    }
    return {};
}

// The pages of a file that show a range of it.
class Mapping {
public:
    Mapping(const InputFile& file, const ByteRange& range) {
        const auto page = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
        m_before = range.offset % page;
        m_size = m_before + range.size;
        m_pages = mmap(nullptr, m_size, PROT_READ, MAP_SHARED, fileno(file.Stream()),
                       static_cast<off_t>(range.offset - m_before));
        if (m_pages == MAP_FAILED) throw MakeSystemError(ErrorKind::kFailed, file.Path(), errno);
    }
    ~Mapping() { munmap(m_pages, m_size); }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;

    const void* Data() const noexcept { return static_cast<const char*>(m_pages) + m_before; }

private:
    void* m_pages;
    std::size_t m_before;
    std::size_t m_size;
};

}  // namespace

OpenFile::OpenFile(const std::string& path) : m_input(path) { m_modified = CurrentState().modified; }

void OpenFile::Read(std::uint64_t offset, std::span<char> buffer) const {
    const std::size_t got = m_input.ReadAt(offset, buffer.data(), buffer.size());
    if (got < buffer.size()) {
        throw FormatFailure(m_input.Path(), offset + got, "became shorter while it was being read");
    }
}

void OpenFile::Read(std::uint64_t offset, std::span<std::uint64_t> words) const {
    Read(offset, std::span(reinterpret_cast<char*>(words.data()), words.size_bytes()));
}

OpenFile::State OpenFile::CurrentState() const {
    const struct stat status = StatusOf(m_input);
    return {static_cast<std::uint64_t>(status.st_size),
            std::int64_t{status.st_mtim.tv_sec} * 1000000000 + status.st_mtim.tv_nsec};
}

Capture::Capture(const std::string& path) : m_file(std::make_shared<const OpenFile>(path)) {
    const InputFile& input = m_file->Input();
    std::error_code noDirectory;
    std::string absolute = std::filesystem::absolute(path, noDirectory).string();
    if (noDirectory) absolute = path;
    m_facts = {
        path, std::move(absolute), input.Size(), m_file->ModificationTime(), input.HasIdentifier(), input.IsNamedTdf()};
}

std::shared_ptr<const OpenFile> Capture::File() const {
    if (m_file) return m_file;
    throw py::value_error("the file is closed");
}

py::tuple Capture::CurrentState() const {
    const OpenFile::State state = File()->CurrentState();
    return py::make_tuple(state.size, state.modified);
}

std::optional<ByteRange> Capture::Samples() const {
    const auto file = File();
    const Unlocked unlocked;
    const InputFile& input = file->Input();
    if (input.HasIdentifier() && input.IsNamedTdf() && !Find(input, kTraceSection, kTraceVersion)) return {};
    const SampleFile samples(input);
    const auto [begin, end] = samples.BytesOf(0, samples.Count());
    return ByteRange{begin, (std::min(end, std::max(begin, m_facts.size)) - begin) / kSampleSize * kSampleSize};
}

py::tuple Capture::Sections() const {
    const auto file = File();
    std::vector<SectionRecord> records;
    std::optional<LocatedFault> fault;
    if (file->Input().HasIdentifier()) {
        constexpr std::uint64_t kPerSection = 4096;  // bytes, as if each had a page
        Unlocked unlocked;
        SectionWalk walk(file->Input());
        while (walk.Next()) {
            records.emplace_back(walk);
            unlocked.Count(kPerSection);
        }
        fault = walk.Fault();
    }
    py::list sections(records.size()), faults;
    for (std::size_t n = 0; n < records.size(); ++n) sections[n] = records[n].AsTuple();
    if (fault) faults.append(AsTuple(*fault));
    return py::make_tuple(sections, faults);
}

py::object Capture::FindSection(const std::string& name, std::optional<std::uint32_t> version) const {
    const auto file = File();
    std::optional<SectionRecord> found;
    {
        const Unlocked unlocked;
        found = Find(file->Input(), name, version);
    }
    return found ? py::object(found->AsTuple()) : py::object(py::none());
}

py::bytes Capture::ReadBytes(const ByteRange& range) const {
    const auto file = File();
    auto bytes =
        py::reinterpret_steal<py::bytes>(PyBytes_FromStringAndSize(nullptr, static_cast<Py_ssize_t>(range.size)));
    if (!bytes) throw py::error_already_set();
    const std::span buffer(PyBytes_AS_STRING(bytes.ptr()), range.size);
    const Unlocked unlocked;
    file->Read(range.offset, buffer);
    return bytes;
}

void Capture::ReadWords(std::uint64_t offset, py::array_t<std::uint64_t, py::array::c_style>& words) const {
    const auto file = File();
    std::span<std::uint64_t> left(words.mutable_data(), static_cast<std::size_t>(words.size()));
    Unlocked unlocked;
    while (!left.empty()) {
        constexpr std::size_t kChunk = 1 << 20;  // words
        const auto chunk = left.first(std::min(left.size(), kChunk));
        file->Read(offset, chunk);
        offset += chunk.size_bytes();
        left = left.subspan(chunk.size());
        unlocked.Count(chunk.size_bytes());
    }
}

py::array_t<std::uint64_t> Capture::MapWords(std::uint64_t offset, std::uint64_t count) const {
    const auto file = File();
    const ByteRange range{offset, count * sizeof(std::uint64_t)};
    if (const std::uint64_t size = file->CurrentState().size; size < range.offset + range.size) {
        throw FormatFailure(file->Input().Path(), size, "became shorter while it was being read");
    }
    py::array_t<std::uint64_t> words;
    if (count != 0) {
        auto mapping = std::make_unique<Mapping>(file->Input(), range);
        const auto* data = static_cast<const std::uint64_t*>(mapping->Data());
        const py::capsule owner(mapping.release(), [](void* pages) { delete static_cast<Mapping*>(pages); });
        words = py::array_t<std::uint64_t>(static_cast<py::ssize_t>(count), data, owner);
    }
    words.attr("setflags")(py::arg("write") = false);
    return words;
}

}  // namespace orm_trace
