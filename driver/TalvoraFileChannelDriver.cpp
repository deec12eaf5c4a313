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

// Reads bytes at a position without the stream. A run that continues the one before is served from a read-ahead, any
// other straight from the file. All is read by position: a child process shares the stream's place in the file, and may
// move it.
// Returns: whether all bytes were there. What ends or fails on the way is left to the stream, which tells.
bool TalvoraFileChannelDriver::ReadAhead(std::uint64_t position, std::size_t size, char* out) noexcept {
    if (m_file == nullptr || out == nullptr || ferror_unlocked(m_file)) return false;
    const bool continues = position == m_nextPosition;
    const std::uint64_t end = position + size;
    if (position >= m_aheadPosition && position < m_aheadPosition + m_aheadSize) {
        const std::size_t at = position - m_aheadPosition;
        const std::size_t ready = std::min(size, m_aheadSize - at);
        std::memcpy(out, m_ahead.data() + at, ready);
        out += ready;
        position += ready;
        size -= ready;
    }
    if (size != 0 && (!continues || size >= m_ahead.size())) {
        if (ReadAt(m_file, out, size, position) != size) return false;
    } else if (size != 0) {
        m_aheadPosition = position;
        m_aheadSize = ReadAt(m_file, m_ahead.data(), m_ahead.size(), position);
        if (m_aheadSize < size) return false;
        std::memcpy(out, m_ahead.data(), size);
    }
    m_nextPosition = end;
    return true;
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
    const char* const target = fileName.c_str();
    TDFHandler tdf;
    if (!tdf.ISTDF(target)) return;

    // What can fail without the target is done before anything is written to it: a section, once begun, stays.
    if (m_file == nullptr) FailSaving(EBADF);
    if (std::ferror(m_file)) FailSaving(EIO);
    const unsigned int length = LengthToSave();
    if (std::fseek(m_file, static_cast<long>(m_dataPosition), SEEK_SET) != 0) FailSaving(errno);
    const std::unique_ptr<char[]> buffer(new (std::nothrow) char[kSaveChunk]);
    if (!buffer) ThrowError(eMemoryAllocationFailure, kMemoryAllocationFailure);

    unsigned int headerOffset = 0;
    tdf.SaveSectionHeader(target, kTraceSection, kTraceVersion, headerOffset);
    unsigned int remaining = length;
    do {
        const std::size_t chunk = std::min(remaining, kSaveChunk);
        const auto read = static_cast<unsigned int>(std::fread(buffer.get(), 1, chunk, m_file));
        if (std::ferror(m_file)) FailSaving(errno);
        remaining -= read;
        unsigned int sectionLength = 0;
        tdf.SaveSectionData(target, kTraceSection, headerOffset, buffer.get(), 1, read, sectionLength);
    } while (remaining != 0 && !std::feof(m_file));
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
            TDFHandler tdf;
            m_isTDF = tdf.ISTDF(m_fileName.c_str());
            if (!m_isTDF) return;
            m_dataLength = 0;
            tdf.GetSectionDataPosition(m_fileName.c_str(), kTraceSection, kTraceVersion, m_dataPosition, m_dataLength);
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
    if (count < StartSample + NumSamples) NumSamples = count - StartSample;
    if (count < StartSample) {
        ORM_LOG_ERROR(TRACE_PREFIX "StartSample exceeds CurrentSampleCount");
        ThrowError(eInvalidSample, kInvalidSample);
    }
    const unsigned int position = m_dataPosition + kSampleSize * StartSample;
    std::size_t read = NumSamples;
    if (NumSamples == 0 ||
        !ReadAhead(position, std::size_t{kSampleSize} * NumSamples, reinterpret_cast<char*>(buffer))) {
        if (m_file == nullptr || std::fseek(m_file, static_cast<long>(position), SEEK_SET) != 0) {
            FailReading("failed fseek");
        }
        read = buffer != nullptr ? std::fread(buffer, kSampleSize, NumSamples, m_file) : 0;
    }
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
