// The walk over the sections of a file in memory. The first byte of the input says where its bytes lie: at the start of
// a file, or close to where the format ends. The second lets zeros follow them.
#include "tdf/TDFSectionReader.h"

#include <sys/mman.h>

#include "fuzz/Fuzz.h"

using namespace fuzz;
using Orm::Lux::Trace::TDFSectionReader;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const int file = memfd_create("fuzz", 0);
    static std::FILE* const stream = fdopen(file, "rb");
    static std::uint64_t lastBase = 0;
    Input input(data, size);
    const unsigned where = input.Number();
    const std::uint64_t base = where < 128 ? where % 8 : (std::uint64_t{1} << 32) - 16 * (256 - where);
    const std::uint64_t zeros = std::uint64_t{input.Number()} << 12 >> 8;
    const std::string_view bytes = input.Rest();
    const std::uint64_t end = base + bytes.size();
    if (base != lastBase) Require(ftruncate(file, 0) == 0);
    lastBase = base;
    Require(pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(base)) == static_cast<ssize_t>(bytes.size()));
    Require(ftruncate(file, static_cast<off_t>(end)) == 0);
    if (zeros != 0) Require(ftruncate(file, static_cast<off_t>(end + zeros)) == 0);

    TDFSectionReader reader(stream, base);
    std::uint64_t next = base;
    for (const Section& section : Walk(bytes, base, end + zeros, base)) {
        Require(reader.Next() == TDFSectionReader::Step::kSection);
        const auto& found = reader.Section();
        Require(found.offset == section.offset && found.length == section.length && found.version == section.version);
        Require(found.name.size() == section.name.size());
        Require(section.name.data() == nullptr || found.name == section.name);
        Require(found.DataPosition() == section.Data() && found.DataLength() == section.DataLength());
        next = section.End();
    }
    const auto step = reader.Next();
    Require(step == (next == end + zeros ? TDFSectionReader::Step::kEnd : TDFSectionReader::Step::kDamage));
    Require(reader.Next() == step);
    if (step == TDFSectionReader::Step::kDamage) {
        const auto& damage = reader.Damage();
        Require(damage.fault != Orm::Lux::Trace::TDFFault::kNone && damage.claimed != damage.available);
        Require(damage.offset <= next && damage.offset >= base);
    }
    return 0;
}
