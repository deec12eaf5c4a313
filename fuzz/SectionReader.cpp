// The walk over the sections of a file in memory. The first byte of the input says where its bytes lie: at the start of
// a file, or close to where the format ends. The second lets zeros follow them.
#include "tdf/TDFSectionReader.h"

#include "fuzz/Fuzz.h"

using namespace fuzz;
using Orm::Lux::Trace::TDFSectionReader;

namespace {

// A file without system calls: its bytes lie at base, with zeros after them.
struct Memory {
    std::uint64_t base, end, size, at;
    std::string_view bytes;

    static ssize_t Read(void* cookie, char* out, std::size_t count) {
        auto& file = *static_cast<Memory*>(cookie);
        count = std::min<std::uint64_t>(count, file.size - std::min(file.size, file.at));
        std::memset(out, 0, count);
        const std::uint64_t from = std::max(file.at, file.base), to = std::min(file.at + count, file.end);
        if (from < to) file.bytes.copy(out + (from - file.at), to - from, from - file.base);
        file.at += count;
        return static_cast<ssize_t>(count);
    }
    static int Seek(void* cookie, off64_t* offset, int whence) {
        auto& file = *static_cast<Memory*>(cookie);
        if (whence != SEEK_SET) *offset += static_cast<off64_t>(whence == SEEK_END ? file.size : file.at);
        file.at = static_cast<std::uint64_t>(*offset);
        return 0;
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Memory memory;
    static std::FILE* const stream = fopencookie(&memory, "rb", {&Memory::Read, nullptr, &Memory::Seek, nullptr});
    static const bool isUnbuffered = std::setvbuf(stream, nullptr, _IONBF, 0) == 0;
    Require(isUnbuffered);
    std::clearerr(stream);
    Input input(data, size);
    const unsigned where = input.Number();
    const std::uint64_t base = where < 128 ? where % 8 : (std::uint64_t{1} << 32) - 16 * (256 - where);
    const std::uint64_t zeros = std::uint64_t{input.Number()} << 12 >> 8;
    const std::string_view bytes = input.Rest();
    const std::uint64_t end = base + bytes.size();
    memory = {base, end, end + zeros, 0, bytes};

    TDFSectionReader reader(stream, base);
    std::uint64_t next = base;
    for (const Section& section : Walk(bytes, base, end + zeros, base)) {
        Require(reader.Next() == TDFSectionReader::Step::kSection);
        const auto& found = reader.Section();
        Require(found.offset == section.offset && found.length == section.length && found.version == section.version);
        Require(found.name.size() == section.name.size());
        Require(section.name.data() == nullptr || found.name == section.name);
        Require(found.DataOffset() == section.Data() && found.DataLength() == section.DataLength());
        next = section.End();
    }
    const auto step = reader.Next();
    Require(step == (next == end + zeros ? TDFSectionReader::Step::kEnd : TDFSectionReader::Step::kFault));
    Require(reader.Next() == step);
    if (step == TDFSectionReader::Step::kFault) {
        const auto& fault = reader.Fault();
        Require(fault.kind != Orm::Lux::Trace::TDFFaultKind::kNone && fault.claimed != fault.available);
        Require(fault.offset <= next && fault.offset >= base);
        const std::uint64_t left = 0xFFFFFFFF - std::min<std::uint64_t>(fault.offset, 0xFFFFFFFF);
        Require(fault.kind != Orm::Lux::Trace::TDFFaultKind::kBeyondFormat || fault.available == left);
    }
    return 0;
}
