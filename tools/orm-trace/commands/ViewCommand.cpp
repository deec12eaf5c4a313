// orm-trace view: shows a capture in a browser.
#include <algorithm>
#include <optional>
#include <string>

#include "capture/ReplacementFile.h"
#include "tools/orm-trace/commands/Command.h"
#include "tools/orm-trace/commands/Commands.h"
#include "tools/orm-trace/options/GapOption.h"
#include "tools/orm-trace/options/NumberOption.h"
#include "tools/orm-trace/options/TimeOptions.h"
#include "tools/orm-trace/output/MissingSamples.h"
#include "tools/orm-trace/output/Output.h"
#include "tools/orm-trace/view/Browser.h"
#include "tools/orm-trace/view/CaptureView.h"
#include "tools/orm-trace/view/Page.h"
#include "tools/orm-trace/view/PageServer.h"
#include "tools/orm-trace/view/Report.h"
#include "tools/orm-trace/view/ViewData.h"

namespace orm_trace {
namespace {

class ViewCommand : public Command {
public:
    explicit ViewCommand(CLI::App& app) {
        app.add_option("FILE", m_file, "Trace file")->required();
        m_time.AddTo(app, "Time at 0 ticks: show calendar times instead of seconds");
        AddGapOption(app, m_gap);
        auto* port = AddNumberOption(app, "--port", m_port, std::uint16_t{UINT16_MAX},
                                     "Port to listen on (default: any that is free)");
        auto* noOpen = app.add_flag("--no-open", m_isNotOpened, "Do not open a browser");
        auto* html = app.add_option("--html", m_report, "Write the page with its data to this file");
        html->option_text("OUT")->excludes(port)->excludes(noOpen);
        app.add_option("--words", m_wordsText, "Include the words of samples A to B-1 (default: none)")
            ->option_text("A:B")
            ->needs(html);
        app.footer("Example:\n  orm-trace view capture.tdf --zero \"2026-11-16 10:00:00\"");
    }

    ExitCode Run(Output& out) override {
        if (m_report && m_report->empty()) throw Error(ErrorKind::kArgument, "--html", "needs the name of a file");
        m_time.Prepare();
        const ReportWords words = ParseWords();
        const InputFile file(m_file);
        if (m_report) return WriteReport(file, words);
        return Serve(file, out);
    }

private:
    static constexpr std::uint64_t kMaxReportWords = 65536;

    // Errors: Error (kArgument).
    ReportWords ParseWords() const {
        if (!m_wordsText) return {};
        const std::size_t colon = m_wordsText->find(':');
        const auto from = ParseNumber(m_wordsText->substr(0, colon));
        const auto to = colon != m_wordsText->npos ? ParseNumber(m_wordsText->substr(colon + 1)) : std::nullopt;
        if (!from || !to || *to < *from || *to - *from > kMaxReportWords) {
            throw Error(ErrorKind::kArgument, "--words",
                        "is not of the form A:B, with A up to B and at most 65536 words: " + *m_wordsText);
        }
        return {*from, *to};
    }

    ExitCode WriteReport(const InputFile& file, const ReportWords& words) const {
        ReplacementFile target(*m_report, false, "exists", false);
        const CaptureView view(file, m_time, m_gap);
        const std::string text = ReportText(view, m_file.substr(m_file.rfind('/') + 1), words);
        const Orm::Lux::Trace::FilePtr stream = Orm::Lux::Trace::OpenForUpdate(target.Path().c_str());
        if (!stream || std::fwrite(text.data(), 1, text.size(), stream.get()) != text.size() ||
            std::fflush(stream.get()) != 0) {
            throw MakeSystemError(ErrorKind::kFailed, *m_report, errno);
        }
        target.Publish();
        ExitCode code = ExitCode::kOk;
        if (!view.Note().empty()) {
            Report(m_file, view.Note());
            code = view.HasTrace() ? ExitCode::kIncomplete : ExitCode::kNotATrace;
        }
        const std::uint64_t shown = std::min(words.to, view.Samples()) - std::min(words.from, view.Samples());
        return std::max(code, ReportMissing(m_file, {words.from, words.to - words.from, shown, view.Samples()}));
    }

    ExitCode Serve(const InputFile& file, Output& out) const {
        PageServer server(m_port);  // first, since it can be refused
        const CaptureView view(file, m_time, m_gap);
        ViewData data(view, m_file);
        server.StopAtSignals();  // before anybody learns that it is ready
        const std::string port = std::to_string(server.Port());
        Report("view", "from another machine: ssh -L " + port + ":127.0.0.1:" + port + " HOST");
        out.Write(server.Address() + '\n');  // last, for a program that waits for it
        out.Flush();
        std::optional<Browser> browser;
        if (!m_isNotOpened) browser.emplace(server.Address());
        server.Run(PageWith("", ""), ServedPolicy(), data);
        return ExitCode::kOk;
    }

    std::string m_file;
    TimeOptions m_time;
    std::uint64_t m_gap = 0;
    std::uint16_t m_port = 0;
    bool m_isNotOpened = false;
    std::optional<std::string> m_report;
    std::optional<std::string> m_wordsText;
};

}  // namespace

std::unique_ptr<Command> AddViewCommand(CLI::App& app) {
    return std::make_unique<ViewCommand>(
        *app.add_subcommand("view", "Show a capture in a browser, or as a file for one"));
}

}  // namespace orm_trace
