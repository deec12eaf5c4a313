// Saving a loaded trace into another file, in chunks of 128 KiB. No participant waits for the disk: a save ends when
// the kernel has the data. Every save writes a new file, because an existing file would save the kernel its
// allocations.
#include <algorithm>
#include <vector>

#include "bench/Common.h"
#include "bench/Hdf5.h"

namespace {

using bench::Descriptor;
using bench::HdfHandle;
using benchmark::State;

constexpr std::size_t kChunk = 128 * 1024;
constexpr hsize_t kChunkSamples = kChunk / 8;
constexpr int kSavesPerRun = 2;

constexpr std::uint64_t kSize = 120 * bench::kMebibyte;

const std::string& Source() {
    static const std::string path = [] {
        const std::string file = bench::PathOf("source.bin");
        const bench::FilePtr stream = bench::Open(file, "wb");
        std::vector<std::uint64_t> chunk(kChunkSamples);
        for (std::uint64_t at = 0; at < kSize; at += kChunk) {
            for (auto& sample : chunk) sample = at + static_cast<std::uint64_t>(&sample - chunk.data());
            bench::Write(stream.get(), chunk.data(), kChunk);
        }
        return file;
    }();
    return path;
}

// makeTarget prepares a new file, outside the measured time, and returns what save needs of it.
template <class Maker, class Saver> void Save(State& state, Maker&& makeTarget, Saver&& save) {
    const std::string path = bench::PathOf("target.tdf");
    std::string error;
    for (auto _ : state) {
        state.PauseTiming();
        std::filesystem::remove(path);
        {
            auto target = makeTarget(path);
            state.ResumeTiming();
            try {
                if (!save(target)) error = "not saved";
            } catch (const std::exception& failure) {
                error = failure.what();
            }
            state.PauseTiming();
        }
        if (std::filesystem::file_size(path) < kSize && error.empty()) error = "not saved whole";
        state.ResumeTiming();
    }
    if (!error.empty()) state.SkipWithError(error.c_str());
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(kSize));
}

void SaveByDriver(State& state) {
    const bench::DriverPtr driver = bench::LoadedDriver(Source());
    Save(
        state,
        [](const std::string& path) {
            bench::WriteTDFIdentifier(bench::Open(path, "wb").get());
            return path;
        },
        [&](const std::string& path) {
            driver->SaveFile(path, bench::kFileType);
            return true;
        });
}

// Calls write with each chunk of the source, until one fails.
template <class Writer> bool ForEachChunk(int source, std::vector<char>& chunk, Writer&& write) {
    for (std::uint64_t at = 0; at < kSize; at += kChunk) {
        if (pread(source, chunk.data(), kChunk, static_cast<off_t>(at)) != static_cast<ssize_t>(kChunk)) return false;
        if (!write(at)) return false;
    }
    return true;
}

void SaveByWrite(State& state) {
    const Descriptor source(Source(), O_RDONLY);
    std::vector<char> chunk(kChunk);
    Save(
        state, [](const std::string& path) { return std::make_unique<Descriptor>(path, O_WRONLY | O_CREAT); },
        [&](const auto& target) {
            return ForEachChunk(source, chunk, [&](std::uint64_t) {
                return write(*target, chunk.data(), kChunk) == static_cast<ssize_t>(kChunk);
            });
        });
}

struct Dataset {
    HdfHandle file;
    HdfHandle dataset;
};

// A dataset that grows by one HDF5 chunk each time, which is HDF5's way of appending. The final flush is timed too:
// HDF5 buffers chunks, the others do not buffer.
void SaveByHdf5(State& state) {
    const Descriptor source(Source(), O_RDONLY);
    std::vector<char> chunk(kChunk);
    const HdfHandle memory = bench::HdfSpace(kChunkSamples);
    const auto make = [](const std::string& path) {
        HdfHandle file = bench::CreateHdfFile(path);
        const hsize_t none = 0;
        const hsize_t unlimited = H5S_UNLIMITED;
        const HdfHandle space(H5Screate_simple(1, &none, &unlimited), H5Sclose);
        const HdfHandle creation(H5Pcreate(H5P_DATASET_CREATE), H5Pclose);
        H5Pset_chunk(creation, 1, &kChunkSamples);
        HdfHandle dataset(H5Dcreate2(file, "samples", H5T_STD_U64LE, space, H5P_DEFAULT, creation, H5P_DEFAULT),
                          H5Dclose);
        return Dataset{std::move(file), std::move(dataset)};
    };
    Save(state, make, [&](const Dataset& target) {
        const bool isWritten = ForEachChunk(source, chunk, [&](std::uint64_t at) {
            const hsize_t first = at / 8;
            const hsize_t size = first + kChunkSamples;
            if (H5Dset_extent(target.dataset, &size) < 0) return false;
            const HdfHandle space(H5Dget_space(target.dataset), H5Sclose);
            return bench::SelectRun(space, first, kChunkSamples) &&
                   H5Dwrite(target.dataset, H5T_NATIVE_ULONG, memory, space, H5P_DEFAULT, chunk.data()) >= 0;
        });
        return isWritten && H5Fflush(target.file, H5F_SCOPE_LOCAL) >= 0;
    });
}

}  // namespace

void bench::RegisterSave() {
    const auto add = [](const char* participant, void (*run)(State&)) {
        benchmark::RegisterBenchmark((std::string("Save/120 MiB/") + participant).c_str(), run)
            ->Iterations(kSavesPerRun)
            ->Unit(benchmark::kMillisecond);
    };
    add("library", SaveByDriver);
    add("limit", SaveByWrite);
    add("peer:hdf5", SaveByHdf5);
}
