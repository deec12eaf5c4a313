// What hosts and plug-ins have compiled in: sizes of classes, offsets of fields, values of enumerators. A change here
// needs a new major version (docs/abi.md). The order of virtual functions is recorded in abi-baseline.xml.gz.
#include <pthread.h>

#include <cstddef>
#include <type_traits>

#include "corva/cCorvaError.h"
#include "driver/TalvoraFileChannelDriver.h"
#include "source_utilities/uDll.h"
#include "source_utilities/uEngineeringUnits.h"
#include "source_utilities/uEnvironment.h"
#include "source_utilities/uLogSystem.h"
#include "source_utilities/uProcess.h"
#include "source_utilities/uString.h"
#include "source_utilities/uTime.h"
#include "tdf/TDFHandler.h"
#include "timestamp/Timestamp.h"

// Both compilers support offsetof also for classes with bases and virtual functions.
#pragma GCC diagnostic ignored "-Winvalid-offsetof"

#define SIZE(type, size) static_assert(sizeof(type) == (size))
#define FIELD(type, field, offset) static_assert(offsetof(type, field) == (offset))

namespace ORM_LUX {

// The C library's mutex. What follows one in a class lies further back where it is larger.
#if defined(__aarch64__)
constexpr std::size_t kMutex = 48;
#else
constexpr std::size_t kMutex = 40;
#endif
SIZE(pthread_mutex_t, kMutex);

SIZE(source_utilities_error, 16);
SIZE(uString::error, 16);
SIZE(uString, 1);
SIZE(uProcess, 1);
SIZE(uEnvironment, 1);
SIZE(uEngineeringUnits, 8);
SIZE(uTime, 8);

SIZE(uMutex, kMutex + 16);
FIELD(uMutex, m_mutex, 0);
FIELD(uMutex, m_lockCount, kMutex);
FIELD(uMutex, m_owner, kMutex + 8);

SIZE(uFile, 80 + kMutex);
FIELD(uFile, m_isOpen, 8);
FIELD(uFile, m_path, 16);
FIELD(uFile, m_mode, 48);
FIELD(uFile, m_stream, 56);
FIELD(uFile, m_lock, 64);

SIZE(uTimeSnapshot, 48);
FIELD(uTimeSnapshot, m_status, 8);
FIELD(uTimeSnapshot, m_year, 12);
FIELD(uTimeSnapshot, m_month, 16);
FIELD(uTimeSnapshot, m_day, 20);
FIELD(uTimeSnapshot, m_hour, 24);
FIELD(uTimeSnapshot, m_minute, 28);
FIELD(uTimeSnapshot, m_second, 32);
FIELD(uTimeSnapshot, m_milli, 36);
FIELD(uTimeSnapshot, m_yday, 40);
FIELD(uTimeSnapshot, m_wday, 44);
static_assert(uTimeSnapshot::STATUS_VALID == 0 && uTimeSnapshot::STATUS_INVALID == 1);
static_assert(uTimeSnapshot::STATUS_NO_FORMAT == 2);
static_assert(uTime::STATUS_VALID == 0 && uTime::STATUS_INVALID == 1 && uTime::STATUS_NO_FORMAT == 2);

SIZE(uEnvironment::ScopedDirectoryChanger, 40);
FIELD(uEnvironment::ScopedDirectoryChanger, m_savedDirectory, 8);

SIZE(uLogger, 168 + 2 * kMutex);
FIELD(uLogger, m_file, 8);
FIELD(uLogger, m_fileName, 88 + kMutex);
FIELD(uLogger, m_outputEnabled, 120 + kMutex);
FIELD(uLogger, m_logToStdio, 121 + kMutex);
FIELD(uLogger, m_logDbgOutWindow, 122 + kMutex);
FIELD(uLogger, m_append, 123 + kMutex);
FIELD(uLogger, m_nameValid, 124 + kMutex);
FIELD(uLogger, m_fileOpen, 125 + kMutex);
FIELD(uLogger, m_mutex, 128 + kMutex);
FIELD(uLogger, m_bufSize, 144 + 2 * kMutex);
FIELD(uLogger, m_pBuf, 152 + 2 * kMutex);
FIELD(uLogger, m_levelMask, 160 + 2 * kMutex);
static_assert(uLogger::LOG_M == 1 && uLogger::LOG_W == 2 && uLogger::LOG_F == 4);
static_assert(uLogger::LOG_A == 8 && uLogger::LOG_E == 16);
static_assert(uLogger::TD_NONE == 0 && uLogger::TD_DATE == 1 && uLogger::TD_TIME == 2 && uLogger::TD_DATE_TIME == 3);
static_assert(sizeof(uLogger::TIME_DATE) == 4);

SIZE(uLogSystem, 72);
FIELD(uLogSystem, m_pLogger, 0);
FIELD(uLogSystem, m_loggingLevel, 8);
FIELD(uLogSystem, m_useLoggerLookup, 12);
FIELD(uLogSystem, m_refCount, 16);
FIELD(uLogSystem, m_loggers, 24);

SIZE(uDll, 80);
FIELD(uDll, m_path, 0);
FIELD(uDll, m_mode, 32);
FIELD(uDll, m_handle, 40);
FIELD(uDll, m_error, 48);

}  // namespace ORM_LUX

namespace Orm::Lux::Trace {

static_assert(sizeof(eTODStampType) == 4 && sizeof(eTraceDataFileType) == 4);

SIZE(TDFHandler, 1);

SIZE(uTimestampCD, 56);
FIELD(uTimestampCD, m_micro, 48);

// The interface has two vtables: the class's own (with TraceChannelAttributes), then CChannelDriverProgress's.
SIZE(TraceChannelAttributes, 8);
SIZE(CChannelDriverProgress, 8);
SIZE(CChannelDriver, 16);
static_assert(std::has_virtual_destructor_v<TraceChannelAttributes>);
static_assert(!std::has_virtual_destructor_v<CChannelDriverProgress>);

// After these fields the driver's layout is free: only the library creates and frees it.
FIELD(TalvoraFileChannelDriver, m_file, 16);
FIELD(TalvoraFileChannelDriver, m_dataPosition, 24);
FIELD(TalvoraFileChannelDriver, m_dataLength, 28);
FIELD(TalvoraFileChannelDriver, m_isTDF, 32);
FIELD(TalvoraFileChannelDriver, m_numSamples, 36);
FIELD(TalvoraFileChannelDriver, m_fileName, 40);
static_assert(TalvoraFileChannelDriver::eNotSupported == 0 && TalvoraFileChannelDriver::eEmptyFileName == 1);
static_assert(TalvoraFileChannelDriver::eCannotOpenFile == 2 && TalvoraFileChannelDriver::eFileIOError == 3);
static_assert(TalvoraFileChannelDriver::eInvalidSample == 4 && TalvoraFileChannelDriver::eMemoryAllocationFailure == 5);
static_assert(sizeof TalvoraFileChannelDriver::TalvoraFileChannelDriverErrorMessages == 6 * sizeof(char*));

using Corva::cCorvaErrorIF;
static_assert(cCorvaErrorIF::Severity_Information == 0 && cCorvaErrorIF::Severity_Warning == 1);
static_assert(cCorvaErrorIF::Severity_Error == 2 && sizeof(cCorvaErrorIF::Severity_Type) == 4);

}  // namespace Orm::Lux::Trace
