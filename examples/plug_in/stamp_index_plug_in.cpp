// A plug-in: finds the time stamps among the samples of a capture, and adds them to it as a section of text. It links
// the library for its services: the TDF reader and writer, the decoder of time stamps, and the log.
#include <exception>
#include <string>
#include <vector>

#include "corva/cCorvaError.h"
#include "source_utilities/uLogSystem.h"
#include "tdf/TDFHandler.h"
#include "timestamp/Timestamp.h"

using Orm::Lux::Corva::cCorvaError;
using Orm::Lux::Trace::TDFHandler;
using Orm::Lux::Trace::uTimestampCD;
using ORM_LUX::uLogger;
using ORM_LUX::uLogSystem;

namespace {

std::vector<unsigned long> LoadSamples(const char* path) {
    TDFHandler tdf;
    unsigned int bytes = 0;
    tdf.GetSectionDataLengthInBytes(path, "BinTraceData", 1, bytes);
    std::vector<unsigned long> samples(bytes / sizeof(unsigned long) + 1);
    tdf.LoadSectionData(path, "BinTraceData", 1, samples.data(), bytes, bytes);
    samples.resize(bytes / sizeof(unsigned long));
    return samples;
}

bool HasSection(const char* path, const char* section) {
    try {
        unsigned int position = 0;
        unsigned int length = 0;
        TDFHandler().GetSectionDataPosition(path, section, 1, position, length);
        return true;
    } catch (const cCorvaError&) {
        return false;
    }
}

// A section is its header, followed by data, which can be written in as many chunks as you like.
void SaveText(const char* path, const char* section, std::string text) {
    TDFHandler tdf;
    unsigned int header = 0;
    unsigned int length = 0;
    tdf.SaveSectionHeader(path, section, 1, header);
    tdf.SaveSectionData(path, section, header, text.data(), 1, static_cast<unsigned int>(text.size()), length);
}

}  // namespace

// What the host calls. A capture that has a section of stamps already keeps it: readers would find only the first of
// two equal sections. Returns: the number of stamps, -1 after a failure, which is logged.
extern "C" __attribute__((visibility("default"))) int IndexStamps(const char* path) {
    // The log that the driver has started in this process, or else a new file of that name.
    uLogSystem* const log = uLogSystem::GetLogSystem();
    log->InitLog("stamp_index.txt", "ORM_TRACE_LOGGING", "ORM_TRACE_LOGGING_DIR", false);
    try {
        uTimestampCD start;  // of the hardware's clock
        start.setTime(2026, 11, 16, 10, 0, 0, 0, 0);
        std::string index;
        int count = 0;
        for (const unsigned long sample : LoadSamples(path)) {
            if (!start.isRcvrStatusTimeStamp(sample)) continue;
            index += start.GetRcvTODStamp(sample, 0, 0) + "\n";
            ++count;
        }
        if (!HasSection(path, "StampIndex")) SaveText(path, "StampIndex", index);
        return count;
    } catch (const std::exception& error) {  // an error of the library, or out of memory
        log->m_pLogger->Log(uLogger::LOG_E, uLogger::TD_TIME, "%s: %s", path, error.what());
        return -1;
    }
}
