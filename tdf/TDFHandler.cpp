#include "tdf/TDFHandler.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

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

// Opens a TDF file. The stream is not buffered: the section reader reads ahead as far as it pays, and section data goes
// straight to the caller.
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

constexpr const char* kTooLarge = "TDF file would exceed 4 GiB.";
constexpr const char* kHeaderSizeWriteError = "Write error - size of TDF header.";

bool WriteField(std::FILE* stream, std::uint32_t value) noexcept {
    const Field bytes = StoreLittleEndian(value);
    return std::fwrite(bytes.data(), 1, bytes.size(), stream) == bytes.size();
}

bool ReadFieldAt(std::FILE* stream, std::uint64_t position, std::uint32_t& value) noexcept {
    Field bytes{};
    if (ReadAt(stream, bytes.data(), bytes.size(), position) != bytes.size()) return false;
    value = LoadLittleEndian(bytes.data());
    return true;
}

// A position that cannot be taken shows in the read or write that follows: it fails, or finds the stream elsewhere.
bool SeekTo(std::FILE* stream, std::uint64_t position) noexcept {
    return fseeko(stream, static_cast<off_t>(position), SEEK_SET) == 0;
}

FilePtr OpenToAppend(const char* path) {
    FilePtr stream = OpenForUpdate(path);
    Require(stream != nullptr, "Could not open TDF file as specified.");
    return stream;
}

// Whether a section begins at this position of a file of this size: one that readers follow, or one that only exceeds
// their limits. What a failed append leaves behind is none.
bool HasSectionAt(std::FILE* stream, std::uint64_t position, std::uint64_t size) noexcept {
    TDFSectionReader reader(stream, position);
    if (reader.Next() == TDFSectionReader::Step::kSection) return true;
    const TDFDamage& damage = reader.Damage();
    switch (damage.fault) {
        case TDFFault::kLengthTooLong:
        case TDFFault::kNameTooLong: return damage.offset + damage.claimed <= size;
        case TDFFault::kReadError: return true;
        default: return false;
    }
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
    std::fflush(stream);  // the walk reads what is in the file
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

void TDFHandler::CreateTDFFile(const char* path) {
    Require(path != nullptr, "Null file name to create TDF.");
    Require(HasExtension(path, kTDFExtension), "TDF file extension must be .tdf.");
    FilePtr stream = OpenEmpty(path);
    Require(stream != nullptr, "Could not create TDF file as specified.");
    const bool written =
        std::fwrite(kTDFIdentifier.data(), 1, kTDFIdentifier.size(), stream.get()) == kTDFIdentifier.size();
    Require(Close(std::move(stream)) && written, "Write error -  TDF file identifier.");
}

void TDFHandler::SaveSectionHeader(const char* path, const char* name, unsigned int version,
                                   unsigned int& headerOffset) {
    headerOffset = 0;
    Require(IsFileAvailable(path), "File name passed to save file is not valid.");
    FilePtr stream = OpenToAppend(path);
    const std::uint64_t headerSize = kFixedHeaderSize + (name != nullptr ? std::strlen(name) : 0);
    const unsigned int offset = FileSize(path);
    // The size was measured by name and has 32 bits; it counts when it is that of the file that is open here.
    std::uint64_t size = 0;
    const bool measured = MeasureSize(stream.get(), size) && SeekTo(stream.get(), size);
    Require(measured, "Write error -  TDF section header size.");
    Require(size + headerSize <= kMaxPosition, kTooLarge);
    Require(size == offset, "Could not determine the size of the TDF file.");
    headerOffset = offset;

    // Until the header is complete its length is 0, which no reader follows.
    Require(WriteField(stream.get(), 0), "Write error -  TDF section header size.");
    Require(SaveNameVersion(stream.get(), name, version), "Write error -  TDF section name and version.");
    const bool written =
        SeekTo(stream.get(), offset) && WriteField(stream.get(), static_cast<std::uint32_t>(headerSize));
    Require(written, kHeaderSizeWriteError);
    Require(Close(std::move(stream)), kHeaderSizeWriteError);
}

void TDFHandler::SaveSectionData(const char* path, const char*, unsigned int headerOffset, void* data,
                                 unsigned int elementSize, unsigned int elementCount, unsigned int& sectionLength) {
    constexpr const char* kBadOffset = "Section header offset to save data is not valid.";
    sectionLength = 0;
    Require(IsFileAvailable(path), "File name passed to save file is not valid.");
    Require(headerOffset >= kTDFIdentifier.size(), kBadOffset);
    Require(data != nullptr, "No data to write TDF.");
    FilePtr stream = OpenToAppend(path);

    std::uint64_t size = 0;
    std::uint32_t length = 0;
    const bool measured = MeasureSize(stream.get(), size) && ReadFieldAt(stream.get(), headerOffset, length);
    Require(measured, "Write I/O error - unable to determine section length.");
    const std::uint64_t end = std::uint64_t{headerOffset} + length;
    Require(length >= kFixedHeaderSize && end <= size, kBadOffset);
    Require(end == size || !HasSectionAt(stream.get(), end, size),
            "Section to save data to is followed by another section.");
    const std::uint64_t added = std::uint64_t{elementSize} * elementCount;
    Require(added <= kMaxPosition && end + added <= kMaxPosition, kTooLarge);

    const bool written =
        SeekTo(stream.get(), end) && std::fwrite(data, elementSize, elementCount, stream.get()) == elementCount;
    Require(written, "Write I/O error - unable to write section data.");
    Require(!std::ferror(stream.get()), "Write error - section data corrupted.");
    const std::uint32_t newLength = length + static_cast<std::uint32_t>(added);
    sectionLength = newLength;
    Require(SeekTo(stream.get(), headerOffset) && WriteField(stream.get(), newLength), kHeaderSizeWriteError);
    Require(Close(std::move(stream)), kHeaderSizeWriteError);
}

bool TDFHandler::SaveNameVersion(FILE* stream, const char* name, unsigned int version) {
    if (stream == nullptr) return false;
    const std::size_t length = name != nullptr ? std::strlen(name) : 0;
    return WriteField(stream, version) && WriteField(stream, static_cast<std::uint32_t>(length)) &&
           (length == 0 || std::fwrite(name, 1, length, stream) == length);
}

}  // namespace Orm::Lux::Trace

unsigned int FileSize(const char* path) {
    const Orm::Lux::Trace::FilePtr stream = Orm::Lux::Trace::OpenForReading(path);
    std::uint64_t size = 0;
    if (stream == nullptr || !Orm::Lux::Trace::MeasureSize(stream.get(), size)) return 0;
    return static_cast<unsigned int>(size);
}
