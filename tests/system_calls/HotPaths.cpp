// The hot paths of the library, each between two marks that strace shows: access() of a file that is named by the path.
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "driver/CChannelDriver.h"
#include "source_utilities/uLogger.h"
#include "support/Tick.h"
#include "tdf/TDFHandler.h"
#include "timestamp/Timestamp.h"

namespace {

using Orm::Lux::Trace::CChannelDriver;
using Orm::Lux::Trace::TDFHandler;
using ORM_LUX::uLogger;

constexpr auto kFileType = static_cast<Orm::Lux::Trace::eTraceDataFileType>(0);
constexpr unsigned int kSamples = 1U << 20;
constexpr unsigned int kSections = 1000;

void Mark(const char* path) {
    if (access(path, F_OK) == 0) std::abort();
}

template <class Path> void Take(const char* name, Path&& path) {
    Mark(name);
    path();
    Mark("end");
}

void ReadPages(CChannelDriver& driver, unsigned int page, unsigned int step, unsigned int count) {
    std::vector<unsigned long> samples(page);
    unsigned int read = 0;
    for (unsigned int n = 0, first = 0; n < count; ++n, first = (first + step) % (kSamples - page))
        driver.SeekReadTraceData(first, page, samples.data(), &read);
}

}  // namespace

int main() {
    TDFHandler tdf;
    std::ofstream("plain.bin").close();
    std::filesystem::resize_file("plain.bin", std::size_t{kSamples} * 8);
    unsigned int offset = 0, length = 0;
    tdf.CreateTDFFile("trace.tdf");
    CChannelDriver* const driver = CreateChannelDriver();
    driver->LoadFile("plain.bin", 0, kFileType);
    Take("save 8 MiB of samples", [&] { driver->SaveFile("trace.tdf", kFileType); });

    Take("load a plain file", [&] { driver->LoadFile("plain.bin", 0, kFileType); });
    Take("load a TDF file", [&] { driver->LoadFile("trace.tdf", 0, kFileType); });
    Take("1000 sequential pages of 16 samples", [&] { ReadPages(*driver, 16, 16, 1000); });
    Take("100 sequential pages of 1024 samples", [&] { ReadPages(*driver, 1024, 1024, 100); });
    Take("10 sequential pages of 65536 samples", [&] { ReadPages(*driver, 65536, 65536, 10); });
    Take("100 scattered pages of 16 samples", [&] { ReadPages(*driver, 16, 77777, 100); });
    Take("100 scattered pages of 4096 samples", [&] { ReadPages(*driver, 4096, 77777, 100); });

    char text[] = "text of a section";
    tdf.CreateTDFFile("many.tdf");
    const auto append = [&](const std::string& name) {
        tdf.SaveSectionHeader("many.tdf", name.c_str(), 1, offset);
        tdf.SaveSectionData("many.tdf", name.c_str(), offset, text, 1, sizeof text - 1, length);
    };
    const auto find = [&](const char* name) { tdf.GetSectionDataPosition("many.tdf", name, 1, offset, length); };
    Take("append a section", [&] { append("Section0"); });
    for (unsigned int n = 1; n < kSections; ++n) append("Section" + std::to_string(n));
    Take("find the first of 1000 sections", [&] { find("Section0"); });
    Take("find the last of 1000 sections", [&] { find("Section999"); });

    uLogger logger("log.txt", true);
    logger.Log(uLogger::LOG_M, uLogger::TD_TIME, "opens the file\n");
    test::AwaitTick();
    Take("100 log lines", [&] {
        for (int n = 0; n < 100; ++n) logger.Log(uLogger::LOG_M, uLogger::TD_TIME, "line %d\n", n);
    });
    Orm::Lux::Trace::uTimestampCD zero;
    zero.setTime(2026, 11, 16, 10, 0, 0, 0, 0);
    Take("1000 time stamps", [&] {
        for (unsigned long n = 0; n < 1000; ++n) zero.GetRcvTODStamp((0x88UL << 56) + n * 1000003, 0, 0);
    });
    DestroyChannelDriver(driver);
}
