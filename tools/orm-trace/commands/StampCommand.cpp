// orm-trace stamp: decodes hardware time stamp words.
#include <optional>
#include <string>
#include <vector>

#include "tools/orm-trace/commands/Command.h"
#include "tools/orm-trace/output/Document.h"
#include "tools/orm-trace/host/Driver.h"
#include "tools/orm-trace/options/InputLines.h"
#include "tools/orm-trace/options/ParseNumber.h"
#include "tools/orm-trace/host/StampDecoder.h"
#include "tools/orm-trace/host/TraceSamples.h"

namespace orm_trace {
namespace {

// The stamps, as lines or as elements of a document.
class StampLines {
public:
    StampLines(Output& out, JsonWriter* json) : m_out(out), m_json(json) {
        if (m_json) m_json->Begin('[', "stamps");
    }

    void Add(std::uint64_t word, std::optional<std::uint64_t> number, const std::string& stamp) {
        if (m_json) {
            Json object;
            if (number) object["sample"] = Number64(*number);
            object["word"] = Number64(word);
            object["stamp"] = stamp;
            m_json->Element(object);
            return;
        }
        m_line.clear();
        if (number) (m_line += std::to_string(*number)) += ' ';
        m_out.Write((m_line += stamp) += '\n');
    }

private:
    Output& m_out;
    JsonWriter* m_json;
    std::string m_line;
};

// Where words come from, and how results are written, is the same for both decoders.
class StampWords {
public:
    StampWords(CLI::App& app, Decoder& decoder) : m_decoder(decoder) {
        auto* words =
            app.add_option("WORD", m_words, "Words, decimal or 0x...; - reads one a line from standard input");
        auto* file = app.add_option("--file", m_file, "Decode every sample of a trace; a line begins with its number");
        file->option_text("TRACE")->excludes(words);
        app.add_flag("--only-stamps", m_onlyStamps, "Leave out samples that are no stamps")->needs(file);
        app.add_option(kDriverOption, m_driverPath, kDriverOptionHelp)->option_text("PATH")->needs(file);
        app.add_flag(kJsonOption, m_json, kJsonOptionHelp);
    }

    ExitCode Run(Output& out) {
        m_decoder.Prepare();
        if (m_file.empty() && m_words.empty()) {
            throw Failure(ExitCode::kUsage, "stamp", "WORD or --file is required");
        }
        return WithDocument(out, m_json, "stamp", [&](JsonWriter* json) {
            StampLines lines(out, json);
            return m_file.empty() ? DecodeWords(lines) : DecodeTrace(lines);
        });
    }

private:
    ExitCode DecodeWords(StampLines& lines) {
        for (const std::string& text : m_words) {
            if (text == "-") {
                DecodeInput(lines);
            } else {
                const auto word = ParseNumber(text);
                if (!word) throw Failure(ExitCode::kUsage, "stamp", "not a 64-bit number: " + text);
                lines.Add(*word, std::nullopt, m_decoder.Decode(*word, std::nullopt));
            }
        }
        return ExitCode::kOk;
    }

    void DecodeInput(StampLines& lines) {
        InputLines input;
        while (const auto line = input.Next()) {
            const auto word = ParseNumber(*line);
            if (!word) {
                throw Failure(ExitCode::kNotATrace, "standard input",
                              "line " + std::to_string(input.Number()) + ": not a 64-bit number");
            }
            lines.Add(*word, std::nullopt, m_decoder.Decode(*word, std::nullopt));
        }
    }

    ExitCode DecodeTrace(StampLines& lines) {
        Driver driver(m_driverPath);
        TraceSamples samples(driver, m_file);
        samples.Require(0, samples.Total());
        while (const auto page = samples.Next()) {
            for (std::size_t n = 0; n < page->count; ++n) {
                const std::string stamp = m_decoder.Decode(page->samples[n], page->first + n);
                if (!stamp.empty() || !m_onlyStamps) lines.Add(page->samples[n], page->first + n, stamp);
            }
        }
        return samples.Finish();
    }

    Decoder& m_decoder;
    std::vector<std::string> m_words;
    std::string m_file;
    bool m_onlyStamps = false;
    std::string m_driverPath;
    bool m_json = false;
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
