// orm-trace save: appends the samples of a trace to a TDF file, as a host does.
#include <string>

#include "capture/AppendTarget.h"
#include "capture/InputFile.h"
#include "tdf/TraceSection.h"
#include "tools/orm-trace/commands/Command.h"
#include "tools/orm-trace/host/Driver.h"
#include "tools/orm-trace/host/TraceSamples.h"
#include "tools/orm-trace/options/DriverOption.h"
#include "tools/orm-trace/options/SectionOptions.h"
#include "tools/orm-trace/output/ProgressBar.h"
#include "tools/orm-trace/output/Text.h"

namespace orm_trace {
namespace {

using namespace Orm::Lux::Trace;

class SaveCommand : public Command {
public:
    explicit SaveCommand(CLI::App& app) {
        app.add_option("TRACE", m_trace, "Trace file: a TDF file, or any file of 64-bit samples")->required();
        app.add_option("TARGET", m_target, "TDF file to append the samples to, made with create")->required();
        app.add_flag("--allow-duplicate", m_allowDuplicate,
                     "Append even if the file has samples, which are the ones that readers see");
        AddDriverOption(app, m_driverPath);
        app.footer("Example:\n  orm-trace create capture.tdf && orm-trace save raw.bin capture.tdf");
    }

    ExitCode Run(Output&) override {
        InputFile(m_target).RequireIdentifier();
        Driver driver(m_driverPath);
        const std::uint64_t samples = driver.Load(m_trace);  // which may wait, as for a FIFO
        AppendTarget target(m_target, [](const Error& error) { Report(error); });
        if (!m_allowDuplicate) RequireNew(target, kTraceSection, kTraceVersion);
        {
            const GrowthWatch progress(m_target, samples * kSampleSize);
            driver.Save(m_target);
        }
        if (target.Appended() < kTraceHeaderSize)
            throw Error(ErrorKind::kFailed, m_target, "the driver wrote nothing to it");
        const std::uint64_t saved = (target.Appended() - kTraceHeaderSize + kSampleSize - 1) / kSampleSize;
        target.Keep();
        if (saved >= samples) return ExitCode::kOk;  // a trace that is being written may have grown
        Report(m_trace,
               Missing(samples - saved, samples, "sample") + ": the trace ends before sample " + std::to_string(saved));
        return ExitCode::kIncomplete;
    }

private:
    std::string m_trace;
    std::string m_target;
    bool m_allowDuplicate = false;
    std::string m_driverPath;
};

}  // namespace

std::unique_ptr<Command> AddSaveCommand(CLI::App& app) {
    return std::make_unique<SaveCommand>(*app.add_subcommand("save", "Append the samples of a trace to a TDF file"));
}

}  // namespace orm_trace
