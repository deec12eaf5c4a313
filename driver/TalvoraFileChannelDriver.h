// The channel driver that serves captured traces from files.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "driver/CChannelDriver.h"
#include "source_utilities/Export.h"

namespace Orm {
namespace Lux {
namespace Trace {

// Serves the samples of a trace file: those in the section "BinTraceData", version 1, of a TDF file (extension "tdf"
// and the TDF identifier), or the whole content of any other file. A sample is 8 bytes, a little-endian 64-bit word;
// sample n lies at byte m_dataPosition + 8 n. Positions, lengths and counts are 32 bits wide.
//
// Each operation writes its name to the log if logging is on. Operations of live channels are refused with
// "Talvora file channel driver: This capability is not supported.".
// Errors: cCorvaError as stated, and std::bad_alloc if memory for a text runs out.
class ORM_EXPORT TalvoraFileChannelDriver : public CChannelDriver {
public:
    // The kind of failure. It is not part of the thrown error.
    enum eChannelDriverStatus : int {
        eNotSupported,
        eEmptyFileName,
        eCannotOpenFile,
        eFileIOError,
        eInvalidSample,
        eMemoryAllocationFailure
    };
    // The text of each status.
    static const char* const TalvoraFileChannelDriverErrorMessages[6];

    TalvoraFileChannelDriver();
    ~TalvoraFileChannelDriver() override;
    TalvoraFileChannelDriver(const TalvoraFileChannelDriver&) = delete;
    TalvoraFileChannelDriver& operator=(const TalvoraFileChannelDriver&) = delete;

    // Refuses every attribute, with severity 0 and the text "Talvora file channel driver doesn't support".
    void GetAttribute(const char* name, _ChannelAttribute& attribute) override;

    // Refused.
    int GetUserConfiguration() override;
    void SetConfiguration(const char* text) override;
    void StartRecording(bool) override;
    void StopRecording() override;
    void ResumeRecording() override;
    void GetChannelStatus(_TraceChannelStatus& status) override;

    // Appends the loaded samples to the TDF file fileName, as a section "BinTraceData", version 1. A file that is not a
    // TDF file is saved whole. The loaded file may be the target too. If the end of the loaded file cuts its
    // samples, those in the file are saved; for a TDF file that LoadFile refused, a section without data. A target that
    // has such a section already gets a second one, which readers do not see.
    // The target grows chunk by chunk, each of at most 128 KiB: a save that fails, or is killed, leaves the chunks
    // written so far as a section that loads as a shorter trace. Use GetNumSamples to compare, and then save into
    // another file: in this one readers see the shorter trace, and part of a chunk after it makes every later save
    // fail. Needs 28 KiB of stack.
    // Does nothing, without an error, if fileName has another extension, does not exist, or is not a regular file with
    // the TDF identifier.
    // Errors: only the last three can occur after something was written to the target:
    //         type 1 or 3: "Talvora file channel driver: Can't open trace data file.\nThe Talvora File Channel Driver
    //         should not be used to save Uncompressed trace files.";
    //         an empty name: "Talvora file channel driver: Empty file name.";
    //         a target that exists but cannot be opened or read: "File name passed to save file is not valid.";
    //         no file, or one that cannot seek: the read error below;
    //         a plain file of more than 134217704 bytes: a text with the size and the limit;
    //         samples that the end of the file cuts, with that file as target: "Talvora file channel driver: A trace
    //         that the end of its file cuts cannot be saved into that file.";
    //         no memory: "Talvora file channel driver: Memory allocation failure.";
    //         a target that cannot be opened for writing: "Could not open TDF file as specified.";
    //         a target whose sections do not end at its end: "TDF file is damaged: a section appended to it could not
    //         be found.";
    //         a section that would end beyond 4 GiB: "TDF file would exceed 4 GiB.";
    //         a failed read: "Talvora file channel driver: File I/O error reading trace file.\n" + the system's text;
    //         a failed write: the text of TDFHandler::SaveSectionHeader or SaveSectionData;
    //         a target that was removed or replaced during the save: "File name passed to save file is not valid.".
    void SaveFile(std::string fileName, eTraceDataFileType type) override;

    // Opens fileName and finds its samples; the file stays open until the next LoadFile or the driver's end. The number
    // is ignored. A FIFO or device never blocks here: a character device has no samples, and nothing fails; a FIFO has
    // no samples either, and reading it fails. The call waits for a file on which another process holds a lease.
    // Needs 24 KiB of stack.
    // Errors: the first two leave the trace loaded before in place.
    //         type 1 or 3: "Talvora file channel driver: Can't open trace data file.\nThe Talvora File Channel Driver
    //         should not be used to open Uncompressed trace files.";
    //         an empty name: "Talvora file channel driver: Empty file name.";
    //         a file that cannot be opened: "Failed to open " + fileName + " for reading."; the driver is then in its
    //         initial state, with no file;
    //         a file named .tdf whose first bytes cannot be read: "Could not open TDF file as specified."; a TDF file
    //         that cannot be read further on: "Read I/O error - section data corrupted."; a TDF file without the
    //         section, or damaged before it: the text of the TDF reader. The file then stays open, without samples;
    //         any other failure: an empty text.
    void LoadFile(std::string fileName, unsigned long, eTraceDataFileType type) override;

    // NumSamples is cut at the last sample; StartSample equal to the number of samples reads nothing.
    // samplesRead counts whole samples: one that the end of the file cuts is not counted. A last sample that reaches
    // beyond its section is completed by the bytes after it. Sums and positions are taken in 32 bits and wrap.
    // A call that continues the one before may get up to 32 KiB that were read ahead, and then does not see what was
    // written to the file since. Any other call reads the file as it is now.
    // samplesRead: written once reading was tried, even if it failed. May be null.
    // Errors: StartSample beyond the number of samples: "Talvora file channel driver: The requested sample is not
    //         valid."; no file, a failed seek or read, a null buffer with something to read: "Talvora file channel
    //         driver: File I/O error reading trace file.". Once a read has failed, also one of SaveFile, each one fails
    //         until the next LoadFile.
    void SeekReadTraceData(unsigned int StartSample, unsigned int NumSamples, unsigned long* buffer,
                           unsigned int* samplesRead) override;

    // Returns: the number of samples, including a last one that is cut short; 0 without a file. Never throws. A
    //          count of 0 is looked up again at each call, any other is kept until the next LoadFile. A plain file is
    //          measured by its name at that moment: one that was removed or replaced since LoadFile, or a relative name
    //          after a change of the working directory, counts as what the name leads to now, or as 0.
    unsigned int GetNumSamples() const override;

    // Returns: null; the driver knows no processor.
    const char* CpuName() const override;
    // Returns: an empty text.
    std::string GetTODStamp(eTODStampType type, unsigned long, unsigned long, unsigned long, unsigned char) override;
    // Returns: 0.
    int GetChannelNum() const;

    // Throws cCorvaError of severity 2 with message.
    [[noreturn]] void ThrowError(eChannelDriverStatus status, std::string message) const;

    FILE* m_file;                               // owned, null when no file is open
    unsigned int m_dataPosition, m_dataLength;  // of the samples, in bytes; the length is that of a TDF file
    bool m_isTDF;
    mutable unsigned int m_numSamples;  // 0: to be computed
    std::string m_fileName;

private:
    void CheckFileArguments(const std::string& fileName, eTraceDataFileType type,
                            const char* uncompressedRefusal) const;
    [[noreturn]] void Refuse(const char* operation) const;
    [[noreturn]] void FailReading(const char* logText) const;
    [[noreturn]] void FailSaving(int error) const;
    unsigned int LengthToSave(std::uint64_t& available) const;
    void Close() noexcept;
    void FindSamples();

    std::size_t ReadSamples(unsigned int position, unsigned int count, unsigned long* buffer);
    std::size_t ReadAhead(std::uint64_t position, std::size_t size, char* out) noexcept;

    // The samples that were read ahead for a host that reads in order. With this size, reading single samples costs one
    // system call per 4096 samples, and pages of 512 one per 8 pages; larger pages go straight to the host's buffer.
    static constexpr std::size_t kAheadSize = 32 * 1024;
    std::uint64_t m_aheadPosition;
    std::size_t m_aheadSize;       // bytes that it holds
    std::uint64_t m_nextPosition;  // where a run would continue the one before
    std::array<char, kAheadSize> m_ahead;
};

}  // namespace Trace
}  // namespace Lux
}  // namespace Orm
