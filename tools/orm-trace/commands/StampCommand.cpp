// orm-trace stamp: decodes hardware time stamp words.
#include <optional>
#include <string>
#include <vector>

#include "capture/Origin.h"
#include "tools/orm-trace/commands/Command.h"
#include "tools/orm-trace/host/Driver.h"
#include "tools/orm-trace/host/StampDecoder.h"
#include "tools/orm-trace/host/TraceSamples.h"
#include "tools/orm-trace/options/DriverOption.h"
#include "tools/orm-trace/options/FormatOptions.h"
#include "tools/orm-trace/options/InputLines.h"
#include "tools/orm-trace/options/ParseNumber.h"
#include "tools/orm-trace/output/Printer.h"

namespace orm_trace {
namespace {

struct Stamp {
    std::uint64_t word;
    std::optional<std::uint64_t> sample;  // its index in a trace
    const std::string& text;
};

class TextStamps : public TextPrinter {
public:
    using TextPrinter::TextPrinter;

    void Begin() {}
    void Add(const Stamp& stamp) {
        m_line.clear();
        if (stamp.sample) (m_line += std::to_string(*stamp.sample)) += ' ';
        Write((m_line += stamp.text) += '\n');
    }

private:
    std::string m_line;
};

Json StampJson(const Stamp& stamp) {
    Json object;
    if (stamp.sample) object["sample"] = Number64(*stamp.sample);
    object["word"] = Number64(stamp.word);
    object["stamp"] = stamp.text;
    return object;
}

struct JsonStamps : JsonPrinter {
    using JsonPrinter::JsonPrinter;

    void Begin() { Document().Begin('[', "stamps"); }
    void Add(const Stamp& stamp) { Document().Element(StampJson(stamp)); }
};

struct JsonLinesStamps : JsonLinesPrinter {
    using JsonLinesPrinter::JsonLinesPrinter;

    void Begin() {}
    void Add(const Stamp& stamp) { Line(StampJson(stamp)); }
};

// Where words come from, and how results are printed, is the same for both decoders.
class StampWords {
public:
    StampWords(CLI::App& app, Decoder& decoder) : m_decoder(decoder) {
        auto* words =
            app.add_option("WORD", m_words, "Words, decimal or 0x...; - reads one a line from standard input");
        auto* file = app.add_option("--file", m_file, "Decode every sample of a trace; a line begins with its index");
        file->option_text("TRACE")->excludes(words);
        app.add_flag("--only-stamps", m_onlyStamps, "Leave out samples that give no result")->needs(file);
        AddDriverOption(app, m_driverPath)->needs(file);
        AddFormatOptions(app, m_format);
    }

    ExitCode Run(Output& out) {
        m_decoder.Prepare();
        if (m_file.empty() && m_words.empty()) {
            throw Error(ErrorKind::kArgument, "stamp", "WORD or --file is required");
        }
        return Print<TextStamps, JsonStamps, JsonLinesStamps>(m_format, out, "stamp", [&](auto& printer) {
            printer.Begin();
            const auto add = [&](const Stamp& stamp) { printer.Add(stamp); };
            return m_file.empty() ? DecodeWords(add) : DecodeTrace(add);
        });
    }

private:
    template <class Add> ExitCode DecodeWords(Add add) {
        for (const std::string& text : m_words) {
            if (text == "-") {
                DecodeInput(add);
            } else {
                const auto word = ParseNumber(text);
                if (!word) throw Error(ErrorKind::kArgument, "stamp", "not a 64-bit number: " + text);
                add({*word, std::nullopt, m_decoder.Decode(*word, std::nullopt)});
            }
        }
        return ExitCode::kOk;
    }

    template <class Add> void DecodeInput(Add add) {
        InputLines input;
        while (const auto line = input.Next()) {
            const auto word = ParseNumber(*line);
            if (!word) {
                throw Error(ErrorKind::kInput, "standard input",
                            "line " + std::to_string(input.Number()) + ": not a 64-bit number");
            }
            add({*word, std::nullopt, m_decoder.Decode(*word, std::nullopt)});
        }
    }

    template <class Add> ExitCode DecodeTrace(Add add) {
        Driver driver(m_driverPath);
        TraceSamples samples(driver, m_file);
        const std::uint64_t first = m_decoder.UsesOrigin() ? FirstSample() : 0;
        samples.Require(0, samples.Total(), true);
        while (const auto page = samples.Next()) {
            for (std::size_t n = 0; n < page->count; ++n) {
                const std::string text = m_decoder.Decode(page->samples[n], first + page->first + n);
                if (!text.empty() || !m_onlyStamps) add({page->samples[n], page->first + n, text});
            }
        }
        return samples.Finish();
    }

    // Returns: the index of the trace's first sample in the capture that it was cut from.
    std::uint64_t FirstSample() const {
        const InputFile file(m_file);
        const auto origin = file.HasIdentifier() && file.IsNamedTdf() ? Origin::Find(file) : std::nullopt;
        return origin ? origin->first : 0;
    }

    Decoder& m_decoder;
    std::vector<std::string> m_words;
    std::string m_file;
    bool m_onlyStamps = false;
    std::string m_driverPath;
    PrintFormat m_format = PrintFormat::kText;
};

class StampCommand : public Command {
public:
    explicit StampCommand(CLI::App& app)
        : m_stmApp(app.add_subcommand("stm", "Words of a system trace module, to cycle numbers")),
          m_rcvApp(app.add_subcommand("rcv", "Status words of a trace receiver, to calendar time")),
          m_stm(*m_stmApp),
          m_rcv(*m_rcvApp),
          m_stmWords(*m_stmApp, m_stm),
          m_rcvWords(*m_rcvApp, m_rcv) {
        app.require_subcommand(1);
    }

    ExitCode Run(Output& out) override { return (m_stmApp->parsed() ? m_stmWords : m_rcvWords).Run(out); }

private:
    CLI::App* m_stmApp;
    CLI::App* m_rcvApp;
    StmDecoder m_stm;
    RcvDecoder m_rcv;
    StampWords m_stmWords;
    StampWords m_rcvWords;
};

}  // namespace

std::unique_ptr<Command> AddStampCommand(CLI::App& app) {
    return std::make_unique<StampCommand>(*app.add_subcommand("stamp", "Decode hardware time stamp words"));
}

}  // namespace orm_trace
