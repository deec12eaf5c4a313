// Sequences of the operations that write TDF files, beside a model of the file's bytes.
#include "driver/TalvoraFileChannelDriver.h"
#include "fuzz/Fuzz.h"
#include "tdf/TDFHandler.h"

using namespace fuzz;
using namespace Orm::Lux::Trace;

namespace {

constexpr const char* kPath = "f.tdf";

void AddHeader(std::string& file, std::string_view name, unsigned version) {
    file += Le32(12 + name.size()) + Le32(version) + Le32(name.size());
    file += name;
}

void SaveHeader(std::string& file, Input& input, std::vector<unsigned>& offsets) {
    const std::string name = input.Text();
    const unsigned version = input.Number();
    const bool isNull = input.Number() == 0;
    unsigned offset = 7;
    TDFHandler().SaveSectionHeader(kPath, isNull ? nullptr : name.c_str(), version, offset);
    Require(offset == file.size());
    offsets.push_back(offset);
    AddHeader(file, isNull ? "" : name, version);
}

// Whether the bytes of the file from here on begin a section that appended data must not overwrite.
bool HasSection(const std::string& file, std::size_t at) {
    if (!Walk(file, 0, file.size(), at).empty()) return true;
    if (file.size() - at < 12) return false;
    const std::uint64_t length = Le32(file, at), nameLength = Le32(file, at + 8);
    if (length > 0x8000000 && at + length <= file.size()) return true;
    if (length <= 0x8000000 && length >= 12 + nameLength && nameLength > 4095) return at + nameLength <= file.size();
    const std::string name = file.substr(at + 12, nameLength);
    const auto isPrintable = [](char c) { return c >= ' ' && c <= '~'; };
    return nameLength > 0 && nameLength < 4096 && name.size() == nameLength &&
           std::all_of(name.begin(), name.end(), isPrintable);
}

// The text of the refusal that these arguments get, "" when the data is appended.
std::string Refusal(const std::string& file, std::size_t offset, bool isNull) {
    if (offset < 4) return "Section header offset to save data is not valid.";
    if (isNull) return "No data to write TDF.";
    if (offset + 4 > file.size()) return "Write I/O error - unable to determine section length.";
    const std::uint64_t length = Le32(file, offset), end = offset + length;
    const auto isAround = [&](const auto& section) { return section.offset < offset && offset < section.End(); };
    const auto sections = Walk(file);
    if (end > file.size() || file.size() - offset < 12 || length < 12 + Le32(file, offset + 8) ||
        std::any_of(sections.begin(), sections.end(), isAround)) {
        return "Section header offset to save data is not valid.";
    }
    if (end != file.size() && HasSection(file, end)) return "Section to save data to is followed by another section.";
    return "";
}

void SaveData(std::string& file, Input& input, const std::vector<unsigned>& offsets) {
    const unsigned which = input.Number(), size = input.Number() % 9, count = input.Number();
    const unsigned offset = which < offsets.size() ? offsets[offsets.size() - 1 - which] : which * 2 % 97;
    std::string data(input.Bytes(std::size_t{size} * count));
    data.resize(std::size_t{size} * count, 'x');
    const bool isNull = which == 255;
    std::string expected = Refusal(file, offset, isNull);
    if (expected.empty() && size == 0 && count != 0) expected = "Write I/O error - unable to write section data.";
    unsigned length = 7;
    Require(expected == ErrorOf([&] {
                TDFHandler().SaveSectionData(kPath, "", offset, isNull ? nullptr : data.data(), size, count, length);
            }));
    if (!expected.empty()) return Require(length == 0);
    const std::size_t end = offset + Le32(file, offset);
    file.replace(end, data.size(), data);
    if (!data.empty()) file.resize(end + data.size());  // nothing stays after the section
    file.replace(offset, 4, Le32(end + data.size() - offset));
    Require(length == Le32(file, offset));
}

// Whether the sections end at the end of the file.
bool IsWhole(const std::string& file) {
    const auto sections = Walk(file);
    return (sections.empty() ? 4 : sections.back().End()) == file.size();
}

// Saves a plain file, or the samples of the file itself.
void Save(std::string& file, Input& input) {
    const bool isTDF = file.substr(0, 4) == "TDF2";
    std::string data(input.Bytes(input.Number<std::uint16_t>()));
    const char* source = "source.bin";
    if (input.Number() % 2) {
        const auto sections = Walk(file);
        const Section* const trace = Find(sections, "BinTraceData", 1);
        if (!isTDF || trace == nullptr || file.size() > 100000) return;
        if (trace->End() > file.size()) {
            TalvoraFileChannelDriver driver;
            driver.LoadFile(kPath, 0, eTraceDataFileType(0));
            return Require(ErrorOf([&] { driver.SaveFile(kPath, eTraceDataFileType(2)); }) ==
                           "Talvora file channel driver: A trace that the end of its file cuts cannot be saved into "
                           "that file.");
        }
        data = file.substr(trace->Data(), trace->DataLength());
        source = kPath;
    } else {
        for (unsigned doublings = input.Number() % 16; doublings != 0 && data.size() < 200000; --doublings)
            data += data;
        WriteFile(source, data);
    }
    TalvoraFileChannelDriver driver;
    driver.LoadFile(source, 0, eTraceDataFileType(0));
    const bool isRefused = isTDF && !IsWhole(file);
    Require(ErrorOf([&] { driver.SaveFile(kPath, eTraceDataFileType(2)); }) ==
            (isRefused ? "TDF file is damaged: a section appended to it could not be found." : ""));
    if (!isTDF || isRefused) return;
    AddHeader(file, "BinTraceData", 1);
    file.replace(file.size() - 24, 4, Le32(24 + data.size()));
    file += data;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Folder folder;
    Input input(data, size);
    std::string file(input.Bytes(input.Number()));
    WriteFile(kPath, file);
    std::vector<unsigned> offsets;
    for (int n = 0; n < 16 && !input.IsEmpty(); ++n) {
        switch (input.Number() % 8) {
            case 0:
                TDFHandler().CreateTDFFile(kPath);
                file = "TDF2";
                offsets.clear();
                break;
            case 1:
            case 2: SaveHeader(file, input, offsets); break;
            case 3: Save(file, input); break;
            default: SaveData(file, input, offsets);
        }
    }
    Require(ReadFile(kPath) == file);
    return 0;
}
