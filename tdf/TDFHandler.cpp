#include "tdf/TDFHandler.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "tdf/CorvaErrors.h"
#include "tdf/OpenFile.h"
#include "tdf/TDFFormat.h"
#include "tdf/TDFSectionReader.h"

namespace Orm::Lux::Trace {
namespace {

void Require(bool holds, const char* message) {
    if (!holds) ThrowCorvaError(message);
}

char FoldCase(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool HasIdentifier(std::FILE* stream) noexcept {
    TDFIdentifier found{};
    return std::fread(found.data(), 1, found.size(), stream) == found.size() && found == kTDFIdentifier;
}

// Opens a TDF file; the stream stands behind the identifier. It is not buffered: the section reader reads ahead as far
// as it pays, and section data goes straight to the caller.
FilePtr OpenTDF(const char* path) {
    FilePtr stream = OpenForReading(path);
    Require(stream != nullptr, "Could not open TDF file as specified.");
    std::setvbuf(stream.get(), nullptr, _IONBF, 0);
    Require(HasIdentifier(stream.get()), "Invalid TDF format.");
    return stream;
}

bool Find(TDFSectionReader& reader, const char* name, unsigned int version) noexcept {
    return name != nullptr && reader.Find(name, version);
}

[[noreturn]] void ThrowNotLocated(const char* name) {
    ThrowCorvaError(std::string(name != nullptr ? name : "") + " section cannot be located in the file.");
}

}  // namespace

TDFHandler::TDFHandler() = default;

TDFHandler::~TDFHandler() = default;

bool TDFHandler::IsFileAvailable(const char* path) {
    return path != nullptr && *path != '\0' && OpenForReading(path) != nullptr;
}

bool TDFHandler::HasExtension(const char* path, const char* extension) {
    if (path == nullptr || extension == nullptr) return false;
    const std::string_view name(path);
    const std::string_view ending(extension);
    if (name.size() <= ending.size()) return false;
    const std::size_t at = name.size() - ending.size();
    return name[at - 1] == '.' && std::equal(ending.begin(), ending.end(), name.begin() + static_cast<long>(at),
                                             [](char a, char b) { return FoldCase(a) == FoldCase(b); });
}

bool TDFHandler::ISTDF(const char* path) {
    if (!HasExtension(path, kTDFExtension)) return false;
    const FilePtr stream = OpenForReading(path);
    return stream != nullptr && HasIdentifier(stream.get());
}

bool TDFHandler::SeekSectionData(FILE* stream, const char* name, unsigned int version, unsigned int& dataLength) {
    if (stream == nullptr) return false;
    dataLength = 0;
    const off_t start = ftello(stream);
    if (start < 0) return false;
    TDFSectionReader reader(stream, static_cast<std::uint64_t>(start));
    if (!Find(reader, name, version)) return false;
    if (fseeko(stream, static_cast<off_t>(reader.Section().DataPosition()), SEEK_SET) != 0) return false;
    dataLength = reader.Section().DataLength();
    return true;
}

void TDFHandler::GetSectionDataLengthInBytes(const char* path, const char* name, unsigned int version,
                                             unsigned int& dataLength) {
    dataLength = 0;
    Require(IsFileAvailable(path), "File name passed to load file is not valid.");
    const FilePtr stream = OpenTDF(path);
    TDFSectionReader reader(stream.get(), kTDFIdentifier.size());
    Require(Find(reader, name, version), "Section size cannot be located in the file.");
    dataLength = reader.Section().DataLength();
}

void TDFHandler::LoadSectionData(const char* path, const char* name, unsigned int version, void* buffer,
                                 unsigned int bufferSize, unsigned int& bytesRead) {
    bytesRead = 0;
    Require(IsFileAvailable(path), "File name passed to load is not valid.");
    Require(HasExtension(path, kTDFExtension), "TDF file extension must be .tdf.");
    Require(buffer != nullptr && bufferSize != 0, "No buffer allocated to load section data.");
    const FilePtr stream = OpenTDF(path);
    unsigned int dataLength = 0;
    if (!SeekSectionData(stream.get(), name, version, dataLength)) ThrowNotLocated(name);
    const std::size_t got = std::fread(buffer, 1, std::min(dataLength, bufferSize), stream.get());
    Require(!std::ferror(stream.get()), "Read I/O error - section data corrupted.");
    bytesRead = static_cast<unsigned int>(got);
}

void TDFHandler::GetSectionDataPosition(const char* path, const char* name, unsigned int version,
                                        unsigned int& position, unsigned int& dataLength) {
    Require(IsFileAvailable(path), "File name passed to load is not valid.");
    Require(HasExtension(path, kTDFExtension), "TDF file extension must be .tdf.");
    const FilePtr stream = OpenTDF(path);
    dataLength = 0;
    TDFSectionReader reader(stream.get(), kTDFIdentifier.size());
    if (!Find(reader, name, version)) ThrowNotLocated(name);
    position = reader.Section().DataPosition();
    dataLength = reader.Section().DataLength();
}

}  // namespace Orm::Lux::Trace

unsigned int FileSize(const char* path) {
    const Orm::Lux::Trace::FilePtr stream = Orm::Lux::Trace::OpenForReading(path);
    std::uint64_t size = 0;
    if (stream == nullptr || !Orm::Lux::Trace::SeekToSize(stream.get(), size)) return 0;
    return static_cast<unsigned int>(size);
}
