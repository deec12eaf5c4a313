#include "tdf/TDFHandler.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "tdf/CorvaErrors.h"
#include "tdf/FileIO.h"
#include "tdf/TDFAppender.h"
#include "tdf/TDFFile.h"
#include "tdf/TDFFormat.h"

namespace Orm::Lux::Trace {
namespace {

constexpr const char* kBadFileToLoad = "File name passed to load is not valid.";
constexpr const char* kBadExtension = "TDF file extension must be .tdf.";

char FoldCase(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// Returns: what can be asked of the open file, which is a TDF file.
TDFFile RequireTDF(const FilePtr& stream) {
    const TDFFile file(stream.get());
    const TDFFile::Answer isTDF = file.HasIdentifier();
    Require(isTDF != TDFFile::Answer::kUnreadable, kCannotOpen);
    Require(isTDF == TDFFile::Answer::kYes, "Invalid TDF format.");
    return file;
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
    return stream != nullptr && TDFFile(stream.get()).HasIdentifier() == TDFFile::Answer::kYes;
}

bool TDFHandler::SeekSectionData(FILE* stream, const char* name, unsigned int version, unsigned int& dataLength) {
    if (stream == nullptr) return false;
    dataLength = 0;
    std::fflush(stream);  // the walk reads what is in the file
    const off_t start = ftello(stream);
    if (start < 0) return false;
    TDFFile::Data data;
    const auto found = TDFFile(stream).Find(name, version, static_cast<std::uint64_t>(start), data);
    if (found != TDFFile::Answer::kYes || fseeko(stream, static_cast<off_t>(data.offset), SEEK_SET) != 0) return false;
    dataLength = data.length;
    return true;
}

void TDFHandler::GetSectionDataLengthInBytes(const char* path, const char* name, unsigned int version,
                                             unsigned int& dataLength) {
    dataLength = 0;
    const FilePtr stream = OpenForReading(path);
    Require(stream != nullptr, "File name passed to load file is not valid.");
    dataLength = RequireTDF(stream).Require(name, version, "Section size cannot be located in the file.").length;
}

void TDFHandler::LoadSectionData(const char* path, const char* name, unsigned int version, void* buffer,
                                 unsigned int bufferSize, unsigned int& bytesRead) {
    bytesRead = 0;
    const FilePtr stream = OpenForReading(path);
    Require(stream != nullptr, kBadFileToLoad);
    Require(HasExtension(path, kTDFExtension), kBadExtension);
    Require(buffer != nullptr && bufferSize != 0, "No buffer allocated to load section data.");
    const TDFFile::Data data = RequireTDF(stream).Require(name, version);
    const std::uint32_t wanted = std::min(data.length, bufferSize);
    errno = 0;
    const std::size_t got = ReadAt(stream.get(), data.offset, buffer, wanted);
    Require(got == wanted || errno == 0, kSectionReadError);
    bytesRead = static_cast<unsigned int>(got);
}

void TDFHandler::GetSectionDataPosition(const char* path, const char* name, unsigned int version,
                                        unsigned int& position, unsigned int& dataLength) {
    const FilePtr stream = OpenForReading(path);
    Require(stream != nullptr, kBadFileToLoad);
    Require(HasExtension(path, kTDFExtension), kBadExtension);
    const TDFFile file = RequireTDF(stream);
    dataLength = 0;
    const TDFFile::Data data = file.Require(name, version);
    position = data.offset;
    dataLength = data.length;
}

void TDFHandler::CreateTDFFile(const char* path) {
    Require(path != nullptr, "Null file name to create TDF.");
    Require(HasExtension(path, kTDFExtension), kBadExtension);
    FilePtr stream = OpenEmpty(path);
    Require(stream != nullptr, "Could not create TDF file as specified.");
    const bool written =
        WriteAt(stream.get(), 0, kTDFIdentifier.data(), kTDFIdentifier.size()) == kTDFIdentifier.size();
    Require(CloseChecked(std::move(stream)) && written, "Write error -  TDF file identifier.");
}

void TDFHandler::SaveSectionHeader(const char* path, const char* name, unsigned int version,
                                   unsigned int& headerOffset) {
    headerOffset = 0;
    TDFAppender file(path);
    Require(file.IsOpen(), kBadFileToSave);
    file.AppendHeader(name, version, headerOffset);
    file.Close();
}

void TDFHandler::SaveSectionData(const char* path, const char*, unsigned int headerOffset, void* data,
                                 unsigned int elementSize, unsigned int elementCount, unsigned int& sectionLength) {
    sectionLength = 0;
    TDFAppender file(path);
    Require(file.IsOpen(), kBadFileToSave);
    Require(headerOffset >= kTDFIdentifier.size(), kBadOffset);
    Require(data != nullptr, "No data to write TDF.");
    file.AppendData(headerOffset, data, elementSize, elementCount, sectionLength);
    file.Close();
}

bool TDFHandler::SaveNameVersion(FILE* stream, const char* name, unsigned int version) {
    if (stream == nullptr) return false;
    const std::size_t length = name != nullptr ? std::strlen(name) : 0;
    const FixedHeader fields = StoreHeader(0, version, static_cast<std::uint32_t>(length));
    const std::size_t size = fields.size() - kFieldSize;  // the length field is the caller's
    return std::fwrite(fields.data() + kFieldSize, 1, size, stream) == size &&
           (length == 0 || std::fwrite(name, 1, length, stream) == length);
}

}  // namespace Orm::Lux::Trace

unsigned int FileSize(const char* path) {
    const Orm::Lux::Trace::FilePtr stream = Orm::Lux::Trace::OpenForReading(path);
    std::uint64_t size = 0;
    if (stream == nullptr || !Orm::Lux::Trace::MeasureSize(stream.get(), size)) return 0;
    return static_cast<unsigned int>(size);
}
