// Finding a section by its name, opening the file included.
#include <sys/mman.h>
#include <sys/stat.h>

#include <array>
#include <cstring>
#include <string_view>
#include <vector>

#include "bench/Common.h"
#include "bench/Hdf5.h"
#include "tdf/TDFHandler.h"

namespace {

using bench::Descriptor;
using bench::HdfHandle;
using benchmark::State;
using Orm::Lux::Trace::TDFHandler;

constexpr std::uint32_t kIdentifierSize = 4;
constexpr std::uint32_t kHeaderSize = 12;
constexpr std::uint32_t kMaxLength = 128U << 20;
constexpr std::uint32_t kMaxNameLength = 4095;
constexpr std::uint32_t kVersion = 1;

// A file of sections, and one with as many datasets of the same names and sizes in one group.
std::string NameOf(unsigned int n) {
    std::array<char, 24> name{};
    std::snprintf(name.data(), name.size(), "Section%05u", n);
    return name.data();
}

const std::vector<char>& Data() {
    static const std::vector<char> data(64, 'x');
    return data;
}

std::string MakeSections(unsigned int count) {
    const std::string path = bench::PathOf(std::to_string(count) + ".tdf");
    const bench::FilePtr stream = bench::Open(path, "wb");
    bench::WriteTDFIdentifier(stream.get());
    for (unsigned int n = 0; n < count; ++n) {
        bench::WriteSectionHeader(stream.get(), NameOf(n), kVersion, static_cast<std::uint32_t>(Data().size()));
        bench::Write(stream.get(), Data().data(), Data().size());
    }
    return path;
}

std::string MakeDatasets(unsigned int count) {
    const std::string path = bench::PathOf(std::to_string(count) + ".h5");
    const HdfHandle file = bench::CreateHdfFile(path);
    const HdfHandle group(H5Gcreate2(file, "sections", H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT), H5Gclose);
    const HdfHandle space = bench::HdfSpace(Data().size());
    for (unsigned int n = 0; n < count; ++n) {
        const HdfHandle dataset(
            H5Dcreate2(group, NameOf(n).c_str(), H5T_NATIVE_CHAR, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT),
            H5Dclose);
        bench::Require(H5Dwrite(dataset, H5T_NATIVE_CHAR, H5S_ALL, H5S_ALL, H5P_DEFAULT, Data().data()) >= 0,
                       "cannot write a dataset");
    }
    return path;
}

struct Found {
    std::uint32_t position = 0;
    std::uint32_t length = 0;
};

// The walk over a file that is mapped into memory, without checks.
bool MappedWalk(const char* base, std::size_t size, std::string_view name, std::uint32_t version, Found& found) {
    std::size_t at = kIdentifierSize;
    while (size - at >= kHeaderSize) {
        std::array<std::uint32_t, 3> header;
        std::memcpy(header.data(), base + at, kHeaderSize);
        const auto [length, versionRead, nameLength] = header;
        if (length > kMaxLength || length > size - at || nameLength > kMaxNameLength ||
            length < kHeaderSize + nameLength)
            return false;
        if (versionRead == version && std::string_view(base + at + kHeaderSize, nameLength) == name) {
            found.position = static_cast<std::uint32_t>(at) + kHeaderSize + nameLength;
            found.length = length - kHeaderSize - nameLength;
            return true;
        }
        at += length;
    }
    return false;
}

class Mapping {
public:
    explicit Mapping(const std::string& path) {
        const Descriptor file(path, O_RDONLY);
        struct stat status {};
        bench::Require(fstat(file, &status) == 0, "cannot measure a file");
        m_size = static_cast<std::size_t>(status.st_size);
        m_base = mmap(nullptr, m_size, PROT_READ, MAP_SHARED, file, 0);
        bench::Require(m_base != MAP_FAILED, "cannot map a file");
    }
    ~Mapping() { munmap(m_base, m_size); }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;
    const char* Base() const { return static_cast<const char*>(m_base); }
    std::size_t Size() const { return m_size; }

private:
    void* m_base;
    std::size_t m_size;
};

// By path, opening and closing included.
bool LookUpByLibrary(const std::string& path, const char* name) {
    Found found;
    TDFHandler().GetSectionDataPosition(path.c_str(), name, kVersion, found.position, found.length);
    benchmark::DoNotOptimize(found);
    return found.position != 0;
}

bool LookUpMapped(const std::string& path, const char* name) {
    const Mapping mapping(path);
    Found found;
    const bool isFound = MappedWalk(mapping.Base(), mapping.Size(), name, kVersion, found);
    benchmark::DoNotOptimize(found);
    return isFound;
}

// Unequal: HDF5 has an index of the names, and opening a dataset also reads its type and shape.
bool LookUpInHdf5(const std::string& path, const char* name) {
    const HdfHandle file = bench::OpenHdfFile(path);
    const HdfHandle dataset(H5Dopen2(file, (std::string("/sections/") + name).c_str(), H5P_DEFAULT), H5Dclose);
    return dataset >= 0;
}

enum class Which { kFirst, kAny, kLast };

void LookUp(State& state, const std::string& path, unsigned int count, Which which,
            bool (*lookUp)(const std::string& path, const char* name)) {
    std::vector<std::string> names;
    bench::Random random(1);
    for (unsigned int i = 0; i < 1024; ++i)
        names.push_back(NameOf(which == Which::kFirst ? 0 : which == Which::kLast ? count - 1 : random.Below(count)));
    std::size_t i = 0;
    bool isFound = true;
    for (auto _ : state) isFound = lookUp(path, names[i++ % names.size()].c_str()) && isFound;
    if (!isFound) state.SkipWithError("section not found");
}

}  // namespace

void bench::RegisterFind() {
    constexpr unsigned int kMany = 10'000;
    static const auto sections = [] {
        static const std::string path = MakeSections(kMany);
        return path;
    };
    static const auto datasets = [] {
        static const std::string path = MakeDatasets(kMany);
        return path;
    };
    for (const auto& [name, which] :
         {std::pair("first", Which::kFirst), {"any", Which::kAny}, {"last", Which::kLast}}) {
        const auto add = [&, which = which](const char* participant, auto path, auto lookUp) {
            const std::string work = std::string("Find/") + name + " of 10000/" + participant;
            benchmark::RegisterBenchmark(work.c_str(),
                                         [=](State& state) { LookUp(state, path(), kMany, which, lookUp); });
        };
        add("library", sections, LookUpByLibrary);
        add("limit", sections, LookUpMapped);
        add("peer:hdf5", datasets, LookUpInHdf5);
    }
    for (const unsigned int count : {1U, 10U, 100U, 1'000U, 10'000U, 100'000U}) {
        benchmark::RegisterBenchmark(
            ("Growth/sections/" + std::to_string(count) + "/library").c_str(),
            [=](State& state) { LookUp(state, MakeSections(count), count, Which::kLast, LookUpByLibrary); });
    }
}
