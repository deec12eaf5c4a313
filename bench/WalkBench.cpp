// Finding a section: the walk over a chain, and the lookup by path with the opening of the file.
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
constexpr const char* kWanted = "WantedOne";

// A file whose last section is the wanted one. sizes gives the sections' whole lengths; of data that is longer than a
// page nothing but a hole is made.
template <class Sizes> std::string MakeChain(const char* fileName, unsigned int count, Sizes&& sizeOfNext) {
    const std::string path = bench::PathOf(fileName);
    const bench::FilePtr stream = bench::OpenFile(path, "wb");
    bench::WriteTDFIdentifier(stream.get());
    std::uint64_t end = kIdentifierSize;
    for (unsigned int i = 0; i < count; ++i) {
        const std::string name = i + 1 == count ? kWanted : "OtherOnes";
        const std::uint32_t size = sizeOfNext();
        const std::uint32_t dataLength = size - kHeaderSize - static_cast<std::uint32_t>(name.size());
        bench::WriteSectionHeader(stream.get(), name, kVersion, dataLength);
        end += size;
        if (dataLength > 4096) {
            std::fseek(stream.get(), static_cast<long>(end), SEEK_SET);
        } else {
            const std::vector<char> data(dataLength, 'x');
            bench::Write(stream.get(), data.data(), data.size());
        }
    }
    std::fflush(stream.get());
    bench::Require(ftruncate(fileno(stream.get()), static_cast<off_t>(end)) == 0, "cannot size a file");
    return path;
}

const std::string& ShortSections() {
    static const std::string path = [] {
        bench::Random random;
        return MakeChain("short.tdf", 100'000, [&] { return 24 + random.Below(101); });
    }();
    return path;
}

const std::string& LongSections() {
    static const std::string path = MakeChain("long.tdf", 30, [] { return kMaxLength; });
    return path;
}

struct Found {
    std::uint32_t position = 0;
    std::uint32_t length = 0;
};

// The walk as it is written down first: four reads and a seek for each section. stream has the default buffer, as the
// library's caller's has.
bool NaiveWalk(std::FILE* stream, std::string_view name, std::uint32_t version, std::uint32_t& dataLength) {
    std::array<char, kMaxNameLength + 1> nameRead;
    auto next = static_cast<std::uint32_t>(std::ftell(stream));
    for (;;) {
        std::uint32_t length = 0;
        std::uint32_t versionRead = 0;
        std::uint32_t nameLength = 0;
        if (std::fread(&length, 4, 1, stream) != 1 || length > kMaxLength || length < kHeaderSize) return false;
        next += length;
        if (std::fread(&versionRead, 4, 1, stream) != 1) return false;
        if (std::fread(&nameLength, 4, 1, stream) != 1 || nameLength > kMaxNameLength) return false;
        if (std::fread(nameRead.data(), 1, nameLength, stream) != nameLength) return false;
        if (versionRead == version && std::string_view(nameRead.data(), nameLength) == name) {
            dataLength = next - static_cast<std::uint32_t>(std::ftell(stream));
            return true;
        }
        if (std::fseek(stream, static_cast<long>(next), SEEK_SET) != 0) return false;
    }
}

// The walk where bytes cost nothing to reach.
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

// The walk over long sections, for which a mapping costs more than it saves: one system call a section. REQUIRES: names
// as short as here.
bool PreadWalk(int file, std::string_view name, std::uint32_t version, Found& found) {
    struct {
        std::uint32_t length, version, nameLength;
        std::array<char, 52> name;
    } head{};
    for (std::uint64_t at = kIdentifierSize;; at += head.length) {
        if (pread(file, &head, sizeof head, static_cast<off_t>(at)) < static_cast<ssize_t>(kHeaderSize)) return false;
        if (head.length > kMaxLength || head.nameLength > head.name.size()) return false;
        if (head.length < kHeaderSize + head.nameLength) return false;
        if (head.version == version && std::string_view(head.name.data(), head.nameLength) == name) {
            found.position = static_cast<std::uint32_t>(at) + kHeaderSize + head.nameLength;
            found.length = head.length - kHeaderSize - head.nameLength;
            return true;
        }
    }
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

// Each iteration finds the last section. find tells its data's length.
template <class Finder> void FindLast(State& state, Finder&& find) {
    bool found = true;
    for (auto _ : state) found = find() && found;
    if (!found) state.SkipWithError("section not found");
}

// On a stream that stays open.
void WalkByLibrary(State& state, const std::string& path) {
    const bench::FilePtr stream = bench::OpenFile(path, "rb");
    FindLast(state, [&] {
        std::fseek(stream.get(), kIdentifierSize, SEEK_SET);
        unsigned int length = 0;
        return TDFHandler().SeekSectionData(stream.get(), kWanted, kVersion, length);
    });
}

void WalkNaively(State& state, const std::string& path) {
    const bench::FilePtr stream = bench::OpenFile(path, "rb");
    FindLast(state, [&] {
        std::fseek(stream.get(), kIdentifierSize, SEEK_SET);
        std::uint32_t length = 0;
        return NaiveWalk(stream.get(), kWanted, kVersion, length);
    });
}

void WalkMapping(State& state, const std::string& path) {
    const Mapping mapping(path);
    FindLast(state, [&] {
        Found found;
        const bool isFound = MappedWalk(mapping.Base(), mapping.Size(), kWanted, kVersion, found);
        benchmark::DoNotOptimize(found);
        return isFound;
    });
}

void WalkByPread(State& state, const std::string& path) {
    const Descriptor file(path, O_RDONLY);
    FindLast(state, [&] {
        Found found;
        const bool isFound = PreadWalk(file, kWanted, kVersion, found);
        benchmark::DoNotOptimize(found);
        return isFound;
    });
}

// By path, opening and closing included. The library opens the file twice, as its contract asks (the check that the
// file is available is an error of its own); the others open it once.
bool LookUpByLibrary(const std::string& path, const char* name) {
    Found found;
    TDFHandler().GetSectionDataPosition(path.c_str(), name, kVersion, found.position, found.length);
    benchmark::DoNotOptimize(found);
    return found.position != 0;
}

bool LookUpNaively(const std::string& path, const char* name) {
    const bench::FilePtr stream = bench::OpenFile(path, "rb");
    std::uint32_t identifier = 0;
    std::uint32_t length = 0;
    const bool isFound = std::fread(&identifier, kIdentifierSize, 1, stream.get()) == 1 &&
                         NaiveWalk(stream.get(), name, kVersion, length);
    benchmark::DoNotOptimize(std::ftell(stream.get()));
    return isFound;
}

bool LookUpMapped(const std::string& path, const char* name) {
    const Mapping mapping(path);
    Found found;
    const bool isFound = MappedWalk(mapping.Base(), mapping.Size(), name, kVersion, found);
    benchmark::DoNotOptimize(found);
    return isFound;
}

bool LookUpByPread(const std::string& path, const char* name) {
    const Descriptor file(path, O_RDONLY);
    Found found;
    const bool isFound = PreadWalk(file, name, kVersion, found);
    benchmark::DoNotOptimize(found);
    return isFound;
}

using LookUp = bool (*)(const std::string& path, const char* name);

// 10,000 named sections, and as many datasets of the same names and sizes in one group.
constexpr unsigned int kMany = 10'000;

std::string NameOf(unsigned int n) {
    std::array<char, 16> name{};
    std::snprintf(name.data(), name.size(), "Section%05u", n);
    return name.data();
}

// dataSize: bytes of data in each.
std::string MakeManySections(std::uint32_t dataSize) {
    const std::string path = bench::PathOf("many" + std::to_string(dataSize) + ".tdf");
    const bench::FilePtr stream = bench::OpenFile(path, "wb");
    const std::vector<char> data(dataSize, 'x');
    bench::WriteTDFIdentifier(stream.get());
    for (unsigned int n = 0; n < kMany; ++n) {
        bench::WriteSectionHeader(stream.get(), NameOf(n), kVersion, dataSize);
        bench::Write(stream.get(), data.data(), data.size());
    }
    return path;
}

std::string MakeManyDatasets(std::uint32_t dataSize) {
    const std::string path = bench::PathOf("many" + std::to_string(dataSize) + ".h5");
    const std::vector<char> data(dataSize, 'x');
    const HdfHandle file = bench::CreateHdfFile(path);
    const HdfHandle group(H5Gcreate2(file, "sections", H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT), H5Gclose);
    const HdfHandle space = bench::HdfSpace(dataSize);
    for (unsigned int n = 0; n < kMany; ++n) {
        const HdfHandle dataset(
            H5Dcreate2(group, NameOf(n).c_str(), H5T_NATIVE_CHAR, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT),
            H5Dclose);
        bench::Require(H5Dwrite(dataset, H5T_NATIVE_CHAR, H5S_ALL, H5S_ALL, H5P_DEFAULT, data.data()) >= 0,
                       "cannot write a dataset");
    }
    return path;
}

template <std::uint32_t DataSize> const std::string& ManySections() {
    static const std::string path = MakeManySections(DataSize);
    return path;
}

template <std::uint32_t DataSize> const std::string& ManyDatasets() {
    static const std::string path = MakeManyDatasets(DataSize);
    return path;
}

// Unequal: HDF5 keeps an index of the names, and opening a dataset reads its type and shape too.
bool LookUpInHdf5(const std::string& path, const char* name) {
    const HdfHandle file = bench::OpenHdfFile(path);
    const HdfHandle dataset(H5Dopen2(file, (std::string("/sections/") + name).c_str(), H5P_DEFAULT), H5Dclose);
    return dataset >= 0;
}

// Another section in each iteration, anywhere in the file, or the last one each time.
void LookUpMany(State& state, const std::string& path, bool isLast, LookUp lookUp) {
    std::vector<std::string> names;
    bench::Random random;
    for (unsigned int i = 0; i < 1024; ++i) names.push_back(NameOf(isLast ? kMany - 1 : random.Below(kMany)));
    std::size_t i = 0;
    FindLast(state, [&] { return lookUp(path, names[i++ % names.size()].c_str()); });
}

using File = const std::string& (*)();

void RegisterChain(const std::string& chain, File file, void (*limit)(State&, const std::string&),
                   LookUp openAndLimit) {
    const auto add = [&](const std::string& name, auto run) {
        benchmark::RegisterBenchmark(name.c_str(), [=](State& state) { run(state, file()); });
    };
    add("Walk/" + chain + "/library", WalkByLibrary);
    add("Walk/" + chain + "/limit", limit);
    add("Walk/" + chain + "/peer:naive", WalkNaively);
    const auto addLookUp = [&](const std::string& participant, LookUp lookUp) {
        add("OpenAndWalk/" + chain + "/" + participant,
            [=](State& state, const std::string& path) { FindLast(state, [&] { return lookUp(path, kWanted); }); });
    };
    addLookUp("library", LookUpByLibrary);
    addLookUp("limit", openAndLimit);
    addLookUp("peer:naive", LookUpNaively);
}

template <std::uint32_t DataSize> void RegisterMany() {
    for (const bool isLast : {false, true}) {
        const std::string work =
            "Find/10000x" + std::to_string(DataSize) + "B/" + (isLast ? "last" : "any") + std::string("/");
        const auto add = [&](const std::string& participant, File file, LookUp lookUp) {
            benchmark::RegisterBenchmark((work + participant).c_str(),
                                         [=](State& state) { LookUpMany(state, file(), isLast, lookUp); });
        };
        add("library", ManySections<DataSize>, LookUpByLibrary);
        add("limit", ManySections<DataSize>, LookUpMapped);
        add("peer:hdf5", ManyDatasets<DataSize>, LookUpInHdf5);
    }
}

void RegisterAll() {
    RegisterChain("100000x24..124B", ShortSections, WalkMapping, LookUpMapped);
    RegisterChain("30x128MiB", LongSections, WalkByPread, LookUpByPread);
    RegisterMany<64>();
    RegisterMany<1024>();
    RegisterMany<8192>();
}

}  // namespace

int main(int argc, char** argv) { return bench::RunBenchmarks(argc, argv, RegisterAll); }
