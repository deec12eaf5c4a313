// The operations that read TDF files, and the driver that loads them. The first bytes of the input say what is read
// with the driver; the others are the file.
#include "driver/TalvoraFileChannelDriver.h"
#include "fuzz/Fuzz.h"
#include "tdf/TDFHandler.h"

using namespace fuzz;
using namespace Orm::Lux::Trace;

namespace {

void CheckLookup(std::string_view file, const std::vector<Section>& sections, const char* name, unsigned version) {
    const Section* const section = Find(sections, name, version);
    TDFHandler tdf;
    unsigned length = 7, position = 7, length2 = 7, read = 7, sought = 7;
    const bool failed = !ErrorOf([&] { tdf.GetSectionDataLengthInBytes("f.bin", name, version, length); }).empty();
    Require(failed == (section == nullptr) && length == (section ? section->DataLength() : 0));
    const std::string error = ErrorOf([&] { tdf.GetSectionDataPosition("f.tdf", name, version, position, length2); });
    Require(error == (section ? "" : std::string(name) + " section cannot be located in the file."));
    Require(position == (section ? section->Data() : 7) && length2 == length);

    const std::string_view data =
        section ? file.substr(std::min<std::size_t>(section->Data(), file.size()), length) : "";
    for (const std::size_t room : {data.size() / 2 + 1, data.size() + 1}) {
        const std::vector<char> buffer(room);
        Require(error == ErrorOf([&] {
                    tdf.LoadSectionData("f.tdf", name, version, const_cast<char*>(buffer.data()),
                                        static_cast<unsigned>(room), read);
                }));
        Require(read == std::min(room, data.size()) && std::equal(data.begin(), data.begin() + read, buffer.begin()));
    }
    std::FILE* const stream = std::fopen("f.bin", "rb");
    std::fseek(stream, 4, SEEK_SET);
    Require(tdf.SeekSectionData(stream, name, version, sought) == (section != nullptr) && sought == length);
    Require(section == nullptr || std::ftell(stream) == static_cast<long>(section->Data()));
    std::fclose(stream);
}

// Loads a file whose samples lie here, and reads two runs of them, the second with what the first has read ahead.
void CheckDriver(const char* path, std::string_view file, std::uint64_t position, std::uint64_t length, Input input) {
    TalvoraFileChannelDriver driver;
    driver.LoadFile(path, 0, eTraceDataFileType(0));
    const std::uint64_t count = (length + 7) / 8;
    Require(driver.GetNumSamples() == count);
    for (unsigned start = input.Number(), run = 0; run < 2; ++run) {
        const unsigned wanted = input.Number<std::uint16_t>() % 6000;
        std::vector<unsigned long> buffer(wanted);
        unsigned read = 12345;
        const std::string error = ErrorOf([&] { driver.SeekReadTraceData(start, wanted, buffer.data(), &read); });
        Require(error.empty() == (start <= count));
        if (!error.empty()) break;
        const std::string_view there = file.substr(std::min<std::size_t>(position + 8 * start, file.size()));
        const std::uint64_t expected = std::min<std::uint64_t>({wanted, count - start, there.size() / 8});
        Require(read == expected && (read == 0 || std::memcmp(buffer.data(), there.data(), 8 * expected) == 0));
        start += read;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Folder folder;
    Input input(data, size);
    Input runs(data, 5);
    if (size < 5) return 0;
    input.Bytes(5);
    const std::string file(input.Rest());
    WriteFile("f.bin", file);
    static const bool linked = link("f.bin", "f.tdf") == 0;
    Require(linked && FileSize("f.tdf") == file.size());

    const bool isTDF = file.substr(0, 4) == "TDF2";
    TDFHandler tdf;
    Require(tdf.ISTDF("f.tdf") == isTDF && !tdf.ISTDF("f.bin"));
    CheckDriver("f.bin", file, 0, file.size(), runs);
    if (!isTDF) {
        CheckDriver("f.tdf", file, 0, file.size(), runs);
        unsigned length = 7;
        Require(ErrorOf([&] { tdf.GetSectionDataLengthInBytes("f.tdf", "", 0, length); }) == "Invalid TDF format.");
        return 0;
    }
    const auto sections = Walk(file);
    for (std::size_t n = 0; n < std::min<std::size_t>(sections.size(), 4); ++n)
        CheckLookup(file, sections, std::string(sections[n].name).c_str(), static_cast<unsigned>(sections[n].version));
    CheckLookup(file, sections, "BinTraceData", 1);
    const Section* const trace = Find(sections, "BinTraceData", 1);
    if (trace) return CheckDriver("f.tdf", file, trace->Data(), trace->DataLength(), runs), 0;
    TalvoraFileChannelDriver driver;
    Require(!ErrorOf([&] { driver.LoadFile("f.tdf", 0, eTraceDataFileType(0)); }).empty());
    Require(driver.GetNumSamples() == 0);
    return 0;
}
