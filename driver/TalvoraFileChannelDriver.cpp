#include "driver/TalvoraFileChannelDriver.h"

#include <sys/stat.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "corva/cCorvaError.h"
#include "source_utilities/internal/LogCall.h"
#include "source_utilities/uFile.h"
#include "tdf/CorvaErrors.h"
#include "tdf/FileIO.h"
#include "tdf/TDFAppender.h"
#include "tdf/TDFFile.h"
#include "tdf/TDFHandler.h"
#include "tdf/TraceSection.h"

#define TRACE_PREFIX "Trace Talvora File Channel Driver: "

namespace Orm::Lux::Trace {
namespace {

constexpr const char* kNotSupported = "Talvora file channel driver: This capability is not supported.";
constexpr const char* kEmptyFileName = "Talvora file channel driver: Empty file name.";
constexpr const char* kCannotOpenFile = "Talvora file channel driver: Can't open trace data file.";
constexpr const char* kFileIOError = "Talvora file channel driver: File I/O error reading trace file.";
constexpr const char* kInvalidSample = "Talvora file channel driver: The requested sample is not valid.";
constexpr const char* kMemoryAllocationFailure = "Talvora file channel driver: Memory allocation failure.";

static_assert(kSampleSize == sizeof(unsigned long), "a host's buffer holds samples");
static_assert(std::endian::native == std::endian::little, "samples go to the host's buffer as they are in the file");

constexpr unsigned int kSaveChunk = 128 * 1024;  // bytes

bool IsUncompressed(eTraceDataFileType type) noexcept {
    const int value = static_cast<int>(type);
    return value == 1 || value == 3;
}

unsigned int SampleCount(unsigned int bytes) noexcept {
    return static_cast<unsigned int>((std::uint64_t{bytes} + kSampleSize - 1) / kSampleSize);
}

// Opening a FIFO or a device by name could block the host, and neither has a size.
bool HasSize(const std::string& path) noexcept {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && (S_ISREG(status.st_mode) || S_ISBLK(status.st_mode));
}

}  // namespace

const char* const TalvoraFileChannelDriver::TalvoraFileChannelDriverErrorMessages[6] = {
    kNotSupported, kEmptyFileName, kCannotOpenFile, kFileIOError, kInvalidSample, kMemoryAllocationFailure};

TalvoraFileChannelDriver::TalvoraFileChannelDriver()
    : m_file(nullptr),
      m_dataPosition(0),
      m_dataLength(0),
      m_isTDF(false),
      m_numSamples(0),
      m_aheadPosition(0),
      m_aheadSize(0),
      m_nextPosition(0) {}

TalvoraFileChannelDriver::~TalvoraFileChannelDriver() { Close(); }

void TalvoraFileChannelDriver::Close() noexcept {
    FilePtr(std::exchange(m_file, nullptr)).reset();
    m_aheadSize = 0;
    m_nextPosition = 0;
}

void TalvoraFileChannelDriver::ThrowError(eChannelDriverStatus, std::string message) const { ThrowCorvaError(message); }

void TalvoraFileChannelDriver::Refuse(const char* operation) const {
    ORM_LOG_TRACE(TRACE_PREFIX "%s", operation);
    ThrowError(eNotSupported, kNotSupported);
}

void TalvoraFileChannelDriver::FailReading(const char* logText) const {
    ORM_LOG_ERROR(TRACE_PREFIX "%s", logText);
    ThrowError(eFileIOError, kFileIOError);
}

void TalvoraFileChannelDriver::CheckFileArguments(const std::string& fileName, eTraceDataFileType type,
                                                  const char* uncompressedRefusal) const {
    if (IsUncompressed(type)) ThrowError(eCannotOpenFile, std::string(kCannotOpenFile) + uncompressedRefusal);
    if (fileName.empty()) ThrowError(eEmptyFileName, kEmptyFileName);
}

void TalvoraFileChannelDriver::GetAttribute(const char*, _ChannelAttribute&) {
    ThrowCorvaRefusal("Talvora file channel driver", "Talvora file channel driver doesn't support");
}

int TalvoraFileChannelDriver::GetUserConfiguration() { Refuse("GetUserConfiguration"); }
void TalvoraFileChannelDriver::SetConfiguration(const char*) { Refuse("SetConfiguration"); }
void TalvoraFileChannelDriver::StartRecording(bool) { Refuse("StartRecording"); }
void TalvoraFileChannelDriver::StopRecording() { Refuse("StopRecording"); }
void TalvoraFileChannelDriver::ResumeRecording() { Refuse("ResumeRecording"); }
void TalvoraFileChannelDriver::GetChannelStatus(_TraceChannelStatus&) { Refuse("GetChannelStatus"); }

std::string TalvoraFileChannelDriver::GetTODStamp(eTODStampType, unsigned long, unsigned long, unsigned long,
                                                  unsigned char) {
    ORM_LOG_TRACE(TRACE_PREFIX "GetTODStamp");
    return {};
}

int TalvoraFileChannelDriver::GetChannelNum() const {
    ORM_LOG_TRACE(TRACE_PREFIX "GetChannelNum");
    return 0;
}

const char* TalvoraFileChannelDriver::CpuName() const { return nullptr; }

void TalvoraFileChannelDriver::SaveFile(std::string fileName, eTraceDataFileType type) {
    ORM_LOG_TRACE(TRACE_PREFIX "SaveFile");
    CheckFileArguments(fileName, type,
                       "\nThe Talvora File Channel Driver should not be used to save Uncompressed trace files.");
    if (!TDFHandler().HasExtension(fileName.c_str(), kTDFExtension)) return;
    TDFAppender target(fileName.c_str());
    if (!target.IsTDF()) return;

    // Do first whatever can fail without touching the target: a section that was begun cannot be removed.
    if (m_file == nullptr) FailSaving(EBADF);
    if (std::ferror(m_file)) FailSaving(EIO);
    std::uint64_t available = 0;
    const unsigned int length = LengthToSave(available);
    if (available < length && target.IsSameFile(m_file)) {
        ThrowError(
            eFileIOError,
            "Talvora file channel driver: A trace that the end of its file cuts cannot be saved into that file.");
    }
    const std::unique_ptr<char[]> buffer(new (std::nothrow) char[kSaveChunk]);
    if (!buffer) ThrowError(eMemoryAllocationFailure, kMemoryAllocationFailure);
    target.RequireRoom(kTraceHeaderSize + available);

    unsigned int headerOffset = 0;
    target.AppendHeader(kTraceSection, kTraceVersion, headerOffset);
    std::uint64_t position = m_dataPosition;
    const std::uint64_t end = position + length;
    bool isShort = false;
    do {
        const auto chunk = static_cast<unsigned int>(std::min<std::uint64_t>(end - position, kSaveChunk));
        errno = 0;
        const auto read = static_cast<unsigned int>(ReadAt(m_file, position, buffer.get(), chunk));
        isShort = read < chunk;
        if (isShort && errno != 0) {
            const int error = errno;
            std::fputc(0, m_file);  // a stream for reading refuses it, and keeps the error for every later read
            FailSaving(error);
        }
        position += read;
        unsigned int sectionLength = 0;
        target.AppendData(headerOffset, buffer.get(), 1, read, sectionLength);
    } while (position != end && !isShort);
    // If the file has lost its name, what was appended to it is lost too.
    if (!target.IsNamed()) ThrowError(eFileIOError, kBadFileToSave);
    target.Close();
}

// The bytes of the loaded trace: of a file that is not a TDF file, all that fit in a section. available
// is how many of these the file has: fewer if its end cuts the section.
unsigned int TalvoraFileChannelDriver::LengthToSave(std::uint64_t& available) const {
    std::uint64_t size = 0;
    if (!MeasureSize(m_file, size)) FailSaving(errno);
    const std::uint64_t length = m_isTDF ? m_dataLength : size;
    if (!m_isTDF && kTraceHeaderSize + length > kMaxSectionLength) {
        ThrowError(eFileIOError, "Talvora file channel driver: The trace makes a section of " +
                                     std::to_string(kTraceHeaderSize + length) + " bytes, more than the " +
                                     std::to_string(kMaxSectionLength) + " bytes that readers find.");
    }
    available = std::min(length, size - std::min<std::uint64_t>(size, m_dataPosition));
    return static_cast<unsigned int>(length);
}

void TalvoraFileChannelDriver::FailSaving(int error) const {
    ThrowError(eFileIOError, std::string(kFileIOError) + "\n" + std::strerror(error));
}

void TalvoraFileChannelDriver::LoadFile(std::string fileName, unsigned long, eTraceDataFileType type) {
    ORM_LOG_TRACE(TRACE_PREFIX "LoadFile");
    CheckFileArguments(fileName, type,
                       "\nThe Talvora File Channel Driver should not be used to open Uncompressed trace files.");
    try {
        Close();
        m_numSamples = 0;
        m_dataPosition = 0;
        m_isTDF = false;
        m_fileName.swap(fileName);  // needs no memory: the name of a closed file must not stay
        m_file = OpenForReading(m_fileName.c_str()).release();
        if (m_file != nullptr) {
            FindSamples();
            return;
        }
    } catch (const Corva::cCorvaError& error) {
        ORM_LOG_ERROR(TRACE_PREFIX "caught error loading file.");
        ThrowError(eFileIOError, TextOf(error));
    } catch (...) {
        ORM_LOG_ERROR(TRACE_PREFIX "caught unknown error loading file.");
        ThrowError(eFileIOError, "");
    }
    m_dataLength = 0;
    fileName.swap(m_fileName);
    m_fileName.clear();
    const std::string text = "Failed to open " + fileName + " for reading.";
    ORM_LOG_ERROR("%s", text.c_str());
    ThrowError(eFileIOError, text);
}

// Finds the samples in the file that was opened. Errors: cCorvaError; the driver then has no samples.
void TalvoraFileChannelDriver::FindSamples() {
    if (!TDFHandler().HasExtension(m_fileName.c_str(), kTDFExtension)) return;
    const TDFFile file(m_file);
    const TDFFile::Answer isTDF = file.HasIdentifier();
    if (isTDF == TDFFile::Answer::kNo) return;
    m_isTDF = true;
    m_dataLength = 0;
    Require(isTDF == TDFFile::Answer::kYes, kCannotOpen);
    const TDFFile::Data data = file.Require(kTraceSection, kTraceVersion);
    m_dataPosition = data.offset;
    m_dataLength = data.length;
}

unsigned int TalvoraFileChannelDriver::GetNumSamples() const {
    if (m_numSamples != 0) return m_numSamples;
    if (m_isTDF) {
        m_numSamples = SampleCount(m_dataLength);
    } else if (!m_fileName.empty() && HasSize(m_fileName)) {
        ORM_LUX::uFile file(nullptr, nullptr);
        file.Open(m_fileName.c_str(), "rb");
        m_numSamples = SampleCount(static_cast<unsigned int>(file.GetSize()));
        file.Close();
    }
    return m_numSamples;
}

void TalvoraFileChannelDriver::SeekReadTraceData(unsigned int StartSample, unsigned int NumSamples,
                                                 unsigned long* buffer, unsigned int* samplesRead) {
    const unsigned int count = GetNumSamples();
    ORM_LOG_TRACE(TRACE_PREFIX "SeekReadTraceData\nInput: StartSample #%i, NumSamples #%i, CurrentSampleCount #%i\n",
                  static_cast<int>(StartSample), static_cast<int>(NumSamples), static_cast<int>(count));
    // The sum wraps in 32 bits, as hosts know it: such a run is not cut here but by the end of the file.
    if (count < StartSample + NumSamples) NumSamples = count - StartSample;
    if (count < StartSample) {
        ORM_LOG_ERROR(TRACE_PREFIX "StartSample exceeds CurrentSampleCount");
        ThrowError(eInvalidSample, kInvalidSample);
    }
    const unsigned int position = m_dataPosition + kSampleSize * StartSample;  // wraps, as the contract says
    const std::size_t read = ReadSamples(position, NumSamples, buffer);
    if (samplesRead != nullptr) *samplesRead = static_cast<unsigned int>(read);
    if ((buffer == nullptr && NumSamples != 0) || ferror_unlocked(m_file)) FailReading("failed fread");
    ORM_LOG_TRACE(TRACE_PREFIX "SeekReadTraceData\n\tReturn: Samples read #%i\n", static_cast<int>(read));
}

}  // namespace Orm::Lux::Trace
