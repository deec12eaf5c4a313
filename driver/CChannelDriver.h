// What a trace host uses: the abstract channel driver and the types of its operations. A host includes this header,
// and corva/cCorvaError.h to catch errors. It loads the driver library with dlopen, gets a driver from
// CreateChannelDriver, and links only the Corva library.
//
// Conventions for every driver:
// Ownership: CreateChannelDriver creates a driver, DestroyChannelDriver frees it. Arguments belong to the caller and
//            are not kept.
// Errors:    operations throw Orm::Lux::Corva::cCorvaError, a text with a severity. After a throw the driver can still
//            be used.
// Threads:   one driver belongs to one thread at a time; different drivers may be used at the same time.
#pragma once

#include <string>

#include "source_utilities/Export.h"

namespace Orm {
namespace Lux {
namespace Trace {

// Structures and enumerations that the host defines. The uncompressed kinds of eTraceDataFileType are 1 and 3.
struct _ChannelAttribute;
struct _TraceChannelStatus;
enum eTODStampType : int;
enum eTraceDataFileType : int;

class ORM_EXPORT TraceChannelAttributes {
public:
    virtual ~TraceChannelAttributes() = default;

    // Fills attribute with what is known under name.
    virtual void GetAttribute(const char* name, _ChannelAttribute& attribute) = 0;
};

class ORM_EXPORT CChannelDriverProgress {
public:
    // Reports how far a long operation has come, in two numbers and a text of the driver's choice. A driver without
    // such operations leaves number1, number2 and text as they are.
    virtual void GetProgress(int& /*number1*/, int& /*number2*/, std::string& /*text*/) {}

protected:
    ~CChannelDriverProgress() = default;  // never deleted through this base
};

// The order of the operations is frozen. New ones come only with a new factory.
class ORM_EXPORT CChannelDriver : public TraceChannelAttributes, public CChannelDriverProgress {
public:
    ~CChannelDriver() override = default;

    // Live channels: configuration and recording. What option means is the driver's choice.
    virtual int GetUserConfiguration() = 0;
    virtual void SetConfiguration(const char* text) = 0;
    virtual void StartRecording(bool option) = 0;
    virtual void StopRecording() = 0;
    virtual void ResumeRecording() = 0;

    // Appends the loaded trace to the file fileName.
    virtual void SaveFile(std::string fileName, eTraceDataFileType type) = 0;

    // Loads the trace in the file fileName in place of the one loaded before. What option means is the driver's choice.
    virtual void LoadFile(std::string fileName, unsigned long option, eTraceDataFileType type) = 0;

    // Copies samples StartSample and following, at most NumSamples of them, to buffer, and their number to samplesRead.
    // REQUIRES: buffer holds NumSamples samples. samplesRead may be null only where the driver says so.
    virtual void SeekReadTraceData(unsigned int StartSample, unsigned int NumSamples, unsigned long* buffer,
                                   unsigned int* samplesRead) = 0;

    // Returns: the number of samples in the loaded trace, 0 when none is loaded.
    virtual unsigned int GetNumSamples() const = 0;

    // Returns: the name of the traced processor, null when the driver does not know it. Valid until the driver is
    // destroyed.
    virtual const char* CpuName() const = 0;

    virtual void GetChannelStatus(_TraceChannelStatus& status) = 0;

    // Returns: a time stamp of a kind as text, empty when the driver has no stamps. What the numbers mean depends on
    //          the kind of stamp and is the driver's choice.
    virtual std::string GetTODStamp(eTODStampType type, unsigned long number1, unsigned long number2,
                                    unsigned long number3, unsigned char number4) = 0;
};

}  // namespace Trace
}  // namespace Lux
}  // namespace Orm

// The library's two entry points, found with dlsym.

// Creates a driver. The first call in a process also prepares the process: it determines the id under which the
// processes of one debug session log (ORM_TRACE_DEBUGCLIENT_PID), creates the trace directories, publishes them in
// ORM_TRACE_LOGGING_DIR, ORM_TRACE_DATA_DIR and ORM_TRACE_SETTINGS_DIR, and starts logging. A failure of these steps is
// not reported, and the next call tries again.
// Ownership: the caller frees the driver with DestroyChannelDriver.
// Errors:    only std::bad_alloc, if memory for the driver runs out.
// Threads:   may be called from several threads at once, and while other drivers are in use. After fork() while another
//            thread is in this call, the child must not call it before exec: its lock may be held forever.
extern "C" ORM_EXPORT Orm::Lux::Trace::CChannelDriver* CreateChannelDriver();

// Closes the driver's trace file and frees the driver. Null is ignored.
extern "C" ORM_EXPORT void DestroyChannelDriver(Orm::Lux::Trace::CChannelDriver* driver);
