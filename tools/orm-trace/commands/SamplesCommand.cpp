// orm-trace samples: prints the samples of a trace.
#include <algorithm>
#include <cstdint>
#include <string>

#include "capture/SampleFile.h"
#include "tools/orm-trace/commands/Command.h"
#include "tools/orm-trace/host/Driver.h"
#include "tools/orm-trace/host/TraceSamples.h"
#include "tools/orm-trace/options/ChoiceOption.h"
#include "tools/orm-trace/options/DriverOption.h"
#include "tools/orm-trace/options/FormatOptions.h"
#include "tools/orm-trace/options/RangeOptions.h"
#include "tools/orm-trace/output/Text.h"

namespace orm_trace {
namespace {

enum class SampleFormat { kHex, kDec, kRaw };

// What is printed of a sample in addition to its word.
struct Columns {
    SampleFormat format;
    bool hasNumber;
    const TimeOptions& time;

    bool HasTime() const noexcept { return time.Zero().has_value(); }
};

class TextSamples : public TextPrinter {
public:
    TextSamples(Output& out, const char* command) : TextPrinter(out, command), m_hasColor(out.HasColor()) {}

    void Begin() {}
    void Page(const TraceSamples::Page& page, const Columns& columns) {
        if (columns.format == SampleFormat::kRaw) {
            return Write({reinterpret_cast<const char*>(page.samples), page.count * sizeof(*page.samples)});
        }
        m_text.clear();
        for (std::size_t n = 0; n < page.count; ++n) AppendLine(page.first + n, page.samples[n], columns);
        Write(m_text);
    }

private:
    void AppendLine(std::uint64_t sample, std::uint64_t word, const Columns& columns) {
        if (columns.hasNumber) {
            AppendDec(m_text, sample);
            m_text += ' ';
        }
        const bool isColored = m_hasColor && IsStamp(word);
        if (isColored) m_text += kStampColor;
        columns.format == SampleFormat::kHex ? AppendHexWord(m_text, word) : AppendDec(m_text, word);
        if (columns.time.HasTicks() && IsStamp(word)) {
            AppendDec(m_text += ' ', TicksOf(word, columns.time.Reference()));
        }
        if (columns.HasTime() && IsStamp(word)) {
            const std::string time = columns.time.TimeOf(word);
            if (time[0] != ' ') m_text += ' ';
            m_text += time;
        }
        if (isColored) m_text += kNoColor;
        m_text += '\n';
    }

    bool m_hasColor;
    std::string m_text;  // of a page
};

Json SampleJson(std::uint64_t sample, std::uint64_t word, const Columns& columns) {
    Json object{{"sample", Number64(sample)}, {"word", Number64(word)}};
    if (!IsStamp(word)) return object;
    if (columns.time.HasTicks()) object["ticks"] = Number64(TicksOf(word, columns.time.Reference()));
    if (columns.HasTime()) object["time"] = columns.time.TimeOf(word);
    return object;
}

struct JsonSamples : JsonPrinter {
    using JsonPrinter::JsonPrinter;

    void Begin() { Document().Begin('[', "words"); }
    void Page(const TraceSamples::Page& page, const Columns& columns) {
        for (std::size_t n = 0; n < page.count; ++n) {
            Document().Element(SampleJson(page.first + n, page.samples[n], columns));
        }
    }
};

struct JsonLinesSamples : JsonLinesPrinter {
    using JsonLinesPrinter::JsonLinesPrinter;

    void Begin() {}
    void Page(const TraceSamples::Page& page, const Columns& columns) {
        for (std::size_t n = 0; n < page.count; ++n) Line(SampleJson(page.first + n, page.samples[n], columns));
    }
};

class SamplesCommand : public Command {
public:
    explicit SamplesCommand(CLI::App& app) {
        app.add_option("FILE", m_file, "Trace file: a TDF file, or any file of 64-bit samples")->required();
        AddChoiceOption(app, "--format", m_format,
                        {{"hex", SampleFormat::kHex}, {"dec", SampleFormat::kDec}, {"raw", SampleFormat::kRaw}},
                        "hex or dec, one sample a line, or raw little-endian bytes");
        app.add_flag("--number", m_hasNumber, "Print the index of each sample");
        m_time.AddWithFormsTo(app);
        m_range.AddTo(app);
        AddDriverOption(app, m_driverPath);
        AddFormatOptions(app, m_printFormat);
        app.footer("Example:\n  orm-trace samples capture.tdf --from 1000 --count 16 --number");
    }

    ExitCode Run(Output& out) override {
        m_time.Prepare();
        m_range.Prepare();
        const Columns columns{m_format, m_hasNumber, m_time};
        // A range by time needs the time at 0 ticks, too.
        const bool wantsTime = m_time.IsExact() || (columns.HasTime() && !m_range.IsByTime());
        if (m_format == SampleFormat::kRaw && (m_hasNumber || m_time.HasTicks() || wantsTime)) {
            throw Error(ErrorKind::kArgument, "--format raw", "has no room for numbers, ticks and times");
        }
        const auto print = [&](auto& printer) {
            printer.File(m_file);
            Driver driver(m_driverPath);
            TraceSamples samples(driver, m_file);
            const SampleRange range = m_range.IsByTime() ? RangeByTime() : m_range.Of(samples.Total());
            samples.Require(range.first, range.count, range.isOpen);
            printer.Begin();
            while (const auto page = samples.Next()) printer.Page(*page, columns);
            return samples.Finish();
        };
        return Print<TextSamples, JsonSamples, JsonLinesSamples>(m_printFormat, out, "samples", print);
    }

private:
    SampleRange RangeByTime() const {
        const InputFile input(m_file);
        return m_range.Of(SampleFile(input), m_time);
    }

    std::string m_file;
    SampleFormat m_format = SampleFormat::kHex;
    bool m_hasNumber = false;
    TimeOptions m_time;
    RangeOptions m_range;
    std::string m_driverPath;
    PrintFormat m_printFormat = PrintFormat::kText;
};

}  // namespace

std::unique_ptr<Command> AddSamplesCommand(CLI::App& app) {
    return std::make_unique<SamplesCommand>(*app.add_subcommand("samples", "Print the samples of a trace"));
}

}  // namespace orm_trace
