// Pages of a trace, in sequence and at random, from a file in the page cache.
#include <algorithm>
#include <array>
#include <vector>

#include "bench/Common.h"
#include "bench/Hdf5.h"

namespace {

using bench::Descriptor;
using bench::HdfHandle;
using benchmark::State;

constexpr std::array<unsigned int, 8> kPages{1, 16, 128, 512, 1024, 4096, 65536, 1048576};  // in samples
constexpr unsigned int kSampleSize = 8;

enum class Order { kSequential, kRandom };

unsigned long SampleAt(unsigned long n) { return n * 0x9E3779B97F4A7C15 + 1; }

// A trace as the library reads it, and the same samples as a contiguous dataset.
struct Trace {
    std::string file;
    std::string hdfFile;
    unsigned int position = 0;  // of the first sample
    unsigned int samples = 0;
};

// Calls write with the first sample's index and a chunk of consecutive samples, until all are written.
template <class Writer> void ForEachChunk(unsigned int samples, Writer&& write) {
    std::vector<unsigned long> chunk;
    for (unsigned int first = 0; first < samples; first += static_cast<unsigned int>(chunk.size())) {
        chunk.resize(std::min(samples - first, 131072U));
        for (std::size_t i = 0; i < chunk.size(); ++i) chunk[i] = SampleAt(first + i);
        write(first, chunk);
    }
}

void WriteSamples(std::FILE* stream, unsigned int samples) {
    ForEachChunk(samples, [&](unsigned int, const auto& chunk) {
        bench::Write(stream, chunk.data(), chunk.size() * kSampleSize);
    });
}

void WriteDataset(const std::string& path, unsigned int samples) {
    const HdfHandle file = bench::CreateHdfFile(path);
    const HdfHandle space = bench::HdfSpace(samples);
    const HdfHandle dataset(H5Dcreate2(file, "samples", H5T_STD_U64LE, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT),
                            H5Dclose);
    ForEachChunk(samples, [&](unsigned int first, const auto& chunk) {
        const HdfHandle memory = bench::HdfSpace(chunk.size());
        bench::Require(bench::SelectRun(space, first, chunk.size()) &&
                           H5Dwrite(dataset, H5T_NATIVE_ULONG, memory, space, H5P_DEFAULT, chunk.data()) >= 0,
                       "cannot write a dataset");
    });
}

Trace MakePlain() {
    Trace trace{bench::PathOf("plain.bin"), bench::PathOf("plain.h5"), 0, 0};
    trace.samples = static_cast<unsigned int>(1024 * bench::kMebibyte / kSampleSize);
    WriteSamples(bench::Open(trace.file, "wb").get(), trace.samples);
    WriteDataset(trace.hdfFile, trace.samples);
    return trace;
}

// Samples in a section begin 28 bytes into the file: pages of memory and pages of the trace do not coincide.
Trace MakeSection() {
    Trace trace{bench::PathOf("section.tdf"), bench::PathOf("section.h5"), 28, 0};
    const std::uint64_t bytes = 120 * bench::kMebibyte;
    trace.samples = static_cast<unsigned int>(bytes / kSampleSize);
    const bench::FilePtr stream = bench::Open(trace.file, "wb");
    bench::WriteTDFIdentifier(stream.get());
    bench::WriteSectionHeader(stream.get(), "BinTraceData", 1, static_cast<std::uint32_t>(bytes));
    WriteSamples(stream.get(), trace.samples);
    WriteDataset(trace.hdfFile, trace.samples);
    return trace;
}

// Made at the first use, so that a filtered run makes only the files that it needs.
const Trace& Plain() {
    static const Trace trace = MakePlain();
    return trace;
}

const Trace& Section() {
    static const Trace trace = MakeSection();
    return trace;
}

// Each run reads different places, so that its pages are not in the processor's caches from an earlier run.
std::uint64_t NextSeed() {
    static std::uint64_t seed = 0;
    return ++seed;
}

// One page per iteration. read takes the first sample's index and a buffer, and returns whether it got the whole page.
template <class Reader>
void ReadPages(State& state, const Trace& trace, unsigned int page, Order order, Reader&& read) {
    std::vector<unsigned long> buffer(page);
    const unsigned int pages = trace.samples / page;
    bench::Random random(NextSeed());
    unsigned int index = 0;
    unsigned int first = 0;
    bool whole = true;
    for (auto _ : state) {
        first = index * page;
        whole = read(first, buffer.data()) && whole;
        if (order == Order::kRandom) {
            index = random.Below(pages);
        } else if (++index == pages) {
            index = 0;
        }
    }
    if (!whole || buffer.front() != SampleAt(first) || buffer.back() != SampleAt(first + page - 1))
        state.SkipWithError("wrong samples");
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * page * kSampleSize);
}

void ReadByDriver(State& state, const Trace& trace, unsigned int page, Order order) {
    const bench::DriverPtr driver = bench::LoadedDriver(trace.file);
    ReadPages(state, trace, page, order, [&](unsigned int first, unsigned long* buffer) {
        unsigned int read = 0;
        driver->SeekReadTraceData(first, page, buffer, &read);
        return read == page;
    });
}

// One system call per page, the least for a reader without a buffer; a buffered one can be faster.
void ReadByPread(State& state, const Trace& trace, unsigned int page, Order order) {
    const Descriptor file(trace.file, O_RDONLY);
    ReadPages(state, trace, page, order, [&](unsigned int first, unsigned long* buffer) {
        const std::size_t bytes = std::size_t{page} * kSampleSize;
        const off_t at = static_cast<off_t>(trace.position) + static_cast<off_t>(first) * kSampleSize;
        return pread(file, buffer, bytes, at) == static_cast<ssize_t>(bytes);
    });
}

// A contiguous dataset, opened once, whose dataspaces are created once. Unequal: the dataset has another offset in its
// file, and HDF5 checks types and could convert them. With the default settings HDF5 reads through a sieve buffer of
// 64 KiB; sieveSize 0 is what a user who reads small pages at random would set.
void ReadByHdf5(State& state, const Trace& trace, unsigned int page, Order order, bool isSieved) {
    const HdfHandle access(H5Pcreate(H5P_FILE_ACCESS), H5Pclose);
    if (!isSieved) H5Pset_sieve_buf_size(access, 0);
    const HdfHandle file = bench::OpenHdfFile(trace.hdfFile, access);
    const HdfHandle dataset(H5Dopen2(file, "samples", H5P_DEFAULT), H5Dclose);
    const HdfHandle space(H5Dget_space(dataset), H5Sclose);
    const HdfHandle memory = bench::HdfSpace(page);
    ReadPages(state, trace, page, order, [&](unsigned int first, unsigned long* buffer) {
        return bench::SelectRun(space, first, page) &&
               H5Dread(dataset, H5T_NATIVE_ULONG, memory, space, H5P_DEFAULT, buffer) >= 0;
    });
}

void RegisterReading(const std::string& kind, const Trace& (*trace)(), Order order) {
    for (const unsigned int page : kPages) {
        const std::string work =
            "Read/" + kind + (order == Order::kRandom ? "/random/" : "/sequential/") + std::to_string(page) + "/";
        const auto add = [&](const std::string& participant, auto run) {
            benchmark::RegisterBenchmark((work + participant).c_str(), [=](State& state) { run(state, trace()); });
        };
        add("library", [=](State& state, const Trace& of) { ReadByDriver(state, of, page, order); });
        add("limit", [=](State& state, const Trace& of) { ReadByPread(state, of, page, order); });
        add("peer:hdf5", [=](State& state, const Trace& of) { ReadByHdf5(state, of, page, order, true); });
        if (order == Order::kRandom)
            add("peer:hdf5-nosieve", [=](State& state, const Trace& of) { ReadByHdf5(state, of, page, order, false); });
    }
}

// One sample at one of a thousand places, which are in memory, of a sparse plain file of this many samples.
void ReadSparse(State& state, unsigned int samples) {
    const std::string path = bench::PathOf("sparse" + std::to_string(samples));
    bench::Open(path, "wb");
    std::filesystem::resize_file(path, std::uint64_t{samples} * kSampleSize);
    const bench::DriverPtr driver = bench::LoadedDriver(path);
    std::array<unsigned int, 1024> places{};
    bench::Random random(1);
    unsigned long sample = 1;
    unsigned int read = 0;
    for (unsigned int& place : places) {
        place = random.Below(samples);
        driver->SeekReadTraceData(place, 1, &sample, &read);
    }
    std::size_t n = 0;
    for (auto _ : state) driver->SeekReadTraceData(places[n++ % places.size()], 1, &sample, &read);
    if (read != 1 || sample != 0) state.SkipWithError("wrong samples");
}

}  // namespace

void bench::RegisterRead() {
    for (const Order order : {Order::kSequential, Order::kRandom}) {
        RegisterReading("plain", Plain, order);
        RegisterReading("section", Section, order);
    }
    for (const unsigned int samples : {1U, 1U << 10, 1U << 20, 1U << 25, (1U << 29) - 1}) {
        benchmark::RegisterBenchmark(("Growth/samples/" + std::to_string(samples) + "/library").c_str(),
                                     [=](State& state) { ReadSparse(state, samples); });
    }
}
