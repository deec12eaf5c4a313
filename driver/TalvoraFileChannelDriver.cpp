#include "driver/TalvoraFileChannelDriver.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "corva/cCorvaError.h"
#include "source_utilities/LogCall.h"
#include "source_utilities/ScopedLock.h"
#include "source_utilities/SharedTime.h"
#include "source_utilities/uEnvironment.h"
#include "source_utilities/uFile.h"
#include "source_utilities/uProcess.h"
#include "source_utilities/uString.h"
#include "source_utilities/uTime.h"
#include "tdf/CorvaErrors.h"
#include "tdf/OpenFile.h"
#include "tdf/TDFAppender.h"
#include "tdf/TDFFile.h"
#include "tdf/TDFHandler.h"
#include "tdf/TraceSection.h"

#define TRACE_PREFIX "Trace Talvora File Channel Driver: "

namespace Orm::Lux::Trace {
namespace {

using ORM_LUX::uEnvironment;
using ORM_LUX::uLogSystem;
using ORM_LUX::uProcess;
using ORM_LUX::uString;
using ORM_LUX::uTime;

constexpr const char* kNotSupported = "Talvora file channel driver: This capability is not supported.";
constexpr const char* kEmptyFileName = "Talvora file channel driver: Empty file name.";
constexpr const char* kCannotOpenFile = "Talvora file channel driver: Can't open trace data file.";
constexpr const char* kFileIOError = "Talvora file channel driver: File I/O error reading trace file.";
constexpr const char* kInvalidSample = "Talvora file channel driver: The requested sample is not valid.";
constexpr const char* kMemoryAllocationFailure = "Talvora file channel driver: Memory allocation failure.";

static_assert(kSampleSize == sizeof(unsigned long), "a host's buffer holds samples");

constexpr unsigned int kSaveChunk = 128 * 1024;  // bytes

// Process-wide values that live until the process ends, later than any static destructor could run.
template <class T> union NeverDestroyed {
    NeverDestroyed() : value() {}
    ~NeverDestroyed() {}
    T value;
};

NeverDestroyed<ORM_LUX::uMutex> g_startUpMutex;  // guards what follows
bool g_init = false;
NeverDestroyed<std::string> g_pid;
NeverDestroyed<std::string> g_traceLogDir;
NeverDestroyed<std::string> g_traceDataDir;
NeverDestroyed<std::string> g_traceSettingsDir;
NeverDestroyed<std::string> g_fileName;

template <class T> void AppendNumber(std::string& text, T value) {
    uString::FromNumeric<T>(text, value, std::ios::fmtflags(), 0, 0, '\0');
}

// The processes of one debug session share the id of the process that began it, as long as that one is alive.
void SettleDebugClient() {
    std::string& pid = g_pid.value;
    pid = uEnvironment::GetVar("ORM_TRACE_DEBUGCLIENT_PID");
    if (!pid.empty() && uProcess::LookupProcess(uString::ToNumeric<unsigned long>(pid.c_str())) == 0) pid.clear();
    if (!pid.empty()) return;
    AppendNumber(pid, uProcess::GetPid());
    uEnvironment::SetVar("ORM_TRACE_DEBUGCLIENT_PID", pid.c_str());
}

void PublishTraceDirectories() {
    g_traceLogDir.value.clear();
    uEnvironment::GetTraceLoggingDirectory(g_traceLogDir.value);
    uEnvironment::GetTraceTemporaryDataDirectory(g_traceDataDir.value);
    uEnvironment::GetTraceUserSettingsDirectory(g_traceSettingsDir.value);

    uEnvironment::MakeDirectory(g_traceLogDir.value.c_str());
    uEnvironment::MakeDirectory(g_traceDataDir.value.c_str());
    uEnvironment::MakeDirectory(g_traceSettingsDir.value.c_str());

    uEnvironment::SetVar("ORM_TRACE_LOGGING_DIR", g_traceLogDir.value.c_str());
    uEnvironment::SetVar("ORM_TRACE_DATA_DIR", g_traceDataDir.value.c_str());
    uEnvironment::SetVar("ORM_TRACE_SETTINGS_DIR", g_traceSettingsDir.value.c_str());
}

// For example orm_trace_log_11162026_4242.txt; the numbers are not padded, 5 March is 35.
void NameLogFile() {
    const ORM_LUX::ScopedLock lock(ORM_LUX::SharedTimeMutex());
    std::string& name = g_fileName.value;
    uTime time;
    name = "orm_trace_log_";
    AppendNumber(name, static_cast<int>(time.GetLocal().GetMonth()));
    AppendNumber(name, static_cast<int>(time.GetLocal().GetDay()));
    AppendNumber(name, time.GetLocal().GetYear());
    name += "_" + g_pid.value + ".txt";
}

// Prepares the process, once, and makes sure that logging runs. What fails is left to the next call.
void StartUp() noexcept {
    const ORM_LUX::ScopedLock lock(g_startUpMutex.value);
    try {
        if (!g_init) {
            SettleDebugClient();
            PublishTraceDirectories();
            NameLogFile();
            g_init = true;
        }
        uLogSystem::GetLogSystem()->InitLog(g_fileName.value.c_str(), "ORM_TRACE_LOGGING", "ORM_TRACE_LOGGING_DIR",
                                            true);
    } catch (...) {
    }
}

bool IsUncompressed(eTraceDataFileType type) noexcept {
    const int value = static_cast<int>(type);
    return value == 1 || value == 3;
}

unsigned int SampleCount(unsigned int bytes) noexcept {
    return static_cast<unsigned int>((std::uint64_t{bytes} + kSampleSize - 1) / kSampleSize);
}

// Opening a FIFO or a device by name could make the host wait; neither has a size.
bool HasSize(const std::string& path) noexcept {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && (S_ISREG(status.st_mode) || S_ISBLK(status.st_mode));
}

bool IsSameFile(const struct stat& a, const struct stat& b) noexcept {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

bool IsSameFile(std::FILE* a, std::FILE* b) noexcept {
    struct stat first {
    }, second{};
    return fstat(fileno(a), &first) == 0 && fstat(fileno(b), &second) == 0 && IsSameFile(first, second);
}

// Returns: whether path still leads to this open file.
bool IsNamed(std::FILE* stream, const std::string& path) noexcept {
    struct stat open {
    }, named{};
    return fstat(fileno(stream), &open) == 0 && stat(path.c_str(), &named) == 0 && IsSameFile(open, named);
}

// Returns: false when path leads to no regular file with the TDF identifier.
// Errors: cCorvaError, when that cannot be found out. REQUIRES: errno is that of opening, where opening failed.
bool IsTDF(const TDFAppender& file, const std::string& path) {
    struct stat status {};
    if (file.Stream() == nullptr) {
        if (errno == ENOENT || errno == ENOTDIR) return false;
        const bool isOther = stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
        Require(isOther, kBadFileToSave);
        return false;
    }
    if (fstat(fileno(file.Stream()), &status) == 0 && !S_ISREG(status.st_mode)) return false;
    const TDFFile::Answer isTDF = TDFFile(file.Stream()).HasIdentifier();
    Require(isTDF != TDFFile::Answer::kUnreadable, kBadFileToSave);
    return isTDF == TDFFile::Answer::kYes;
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

// Reads bytes at a position without the stream. A run that continues the one before is served from a read-ahead. Any
// other drops it, so that bytes which somebody has changed are seen, and goes straight to the file. All is read by
// position: a child process shares the stream's file offset and may move it.
// Returns: the bytes read, fewer at the end of the file, where errno is left alone, and where reading fails, which sets
//          errno.
std::size_t TalvoraFileChannelDriver::ReadAhead(std::uint64_t position, std::size_t size, char* out) noexcept {
    if (position != m_nextPosition) m_aheadSize = 0;
    const bool continues = position == m_nextPosition;
    std::size_t done = 0;
    if (position >= m_aheadPosition && position < m_aheadPosition + m_aheadSize) {
        const std::size_t at = position - m_aheadPosition;
        done = std::min(size, m_aheadSize - at);
        std::memcpy(out, m_ahead.data() + at, done);
    }
    const std::size_t left = size - done;
    if (left != 0 && (!continues || left >= m_ahead.size())) {
        done += ReadAt(m_file, out + done, left, position + done);
    } else if (left != 0) {
        m_aheadPosition = position + done;
        m_aheadSize = ReadAt(m_file, m_ahead.data(), m_ahead.size(), m_aheadPosition);
        const std::size_t got = std::min(left, m_aheadSize);
        std::memcpy(out + done, m_ahead.data(), got);
        done += got;
    }
    m_nextPosition = position + done;
    return done;
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
    if (!IsTDF(target, fileName)) return;

    // Do first whatever can fail without touching the target: a section that was begun cannot be removed.
    if (m_file == nullptr) FailSaving(EBADF);
    if (std::ferror(m_file)) FailSaving(EIO);
    const unsigned int length = LengthToSave();
    const std::uint64_t available = AvailableToSave(length);
    if (available < length && IsSameFile(m_file, target.Stream())) {
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
        const auto read = static_cast<unsigned int>(ReadAt(m_file, buffer.get(), chunk, position));
        isShort = read < chunk;
        if (isShort && errno != 0) FailSaving(errno);
        position += read;
        unsigned int sectionLength = 0;
        target.AppendData(headerOffset, buffer.get(), 1, read, sectionLength);
    } while (position != end && !isShort);
    // What was appended to a file that has lost its name is lost too.
    if (!IsNamed(target.Stream(), fileName)) ThrowError(eFileIOError, kBadFileToSave);
    target.Close();
}

// The bytes of the loaded trace: a file that is no TDF file is saved whole, as far as a section may be long.
unsigned int TalvoraFileChannelDriver::LengthToSave() const {
    if (m_isTDF) return m_dataLength;
    std::uint64_t size = 0;
    if (!MeasureSize(m_file, size)) FailSaving(errno);
    const std::uint64_t length = size + kTraceHeaderSize;
    if (length > kMaxSectionLength) {
        ThrowError(eFileIOError, "Talvora file channel driver: The trace makes a section of " + std::to_string(length) +
                                     " bytes, more than the " + std::to_string(kMaxSectionLength) +
                                     " bytes that readers find.");
    }
    return static_cast<unsigned int>(size);
}

// The bytes of the loaded trace that its file has: fewer than its length where the end of the file cuts it.
std::uint64_t TalvoraFileChannelDriver::AvailableToSave(unsigned int length) const {
    std::uint64_t size = 0;
    if (!MeasureSize(m_file, size)) FailSaving(errno);
    return std::min<std::uint64_t>(length, size - std::min<std::uint64_t>(size, m_dataPosition));
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
        m_fileName = fileName;
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
    m_dataPosition = data.position;
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

// Returns: the whole samples read. What cannot be read by position is left to the stream, which keeps the error.
std::size_t TalvoraFileChannelDriver::ReadSamples(unsigned int position, unsigned int count, unsigned long* buffer) {
    if (m_file != nullptr && buffer != nullptr && count != 0 && !ferror_unlocked(m_file)) {
        errno = 0;
        const std::size_t size = std::size_t{kSampleSize} * count;
        const std::size_t got = ReadAhead(position, size, reinterpret_cast<char*>(buffer));
        if (got == size || errno == 0) return got / kSampleSize;
    }
    if (m_file == nullptr || std::fseek(m_file, static_cast<long>(position), SEEK_SET) != 0) {
        FailReading("failed fseek");
    }
    return buffer != nullptr ? std::fread(buffer, kSampleSize, count, m_file) : 0;
}

void TalvoraFileChannelDriver::SeekReadTraceData(unsigned int StartSample, unsigned int NumSamples,
                                                 unsigned long* buffer, unsigned int* samplesRead) {
    const unsigned int count = GetNumSamples();
    ORM_LOG_TRACE(TRACE_PREFIX "SeekReadTraceData\nInput: StartSample #%i, NumSamples #%i, CurrentSampleCount #%i\n",
                  static_cast<int>(StartSample), static_cast<int>(NumSamples), static_cast<int>(count));
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

extern "C" Orm::Lux::Trace::CChannelDriver* CreateChannelDriver() {
    auto driver = std::make_unique<Orm::Lux::Trace::TalvoraFileChannelDriver>();
    Orm::Lux::Trace::StartUp();
    return driver.release();
}

extern "C" void DestroyChannelDriver(Orm::Lux::Trace::CChannelDriver* driver) { delete driver; }
