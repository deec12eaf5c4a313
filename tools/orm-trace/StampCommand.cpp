// orm-trace stamp: decodes hardware time stamp words.
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "source_utilities/CalendarTables.h"
#include "timestamp/Timestamp.h"
#include "tools/orm-trace/Command.h"
#include "tools/orm-trace/Driver.h"
#include "tools/orm-trace/Json.h"
#include "tools/orm-trace/NumberOption.h"
#include "tools/orm-trace/ParseNumber.h"
#include "tools/orm-trace/TraceSamples.h"

namespace orm_trace {
namespace {

using Orm::Lux::Trace::uTimestampCD;

// Returns: the time that text writes as YYYY-MM-DD HH:MM:SS[.ffffff]; nothing for any other text.
std::optional<uTimestampCD> ParseTime(const std::string& text) {
    constexpr std::string_view kForm = "0000-00-00 00:00:00";
    const auto isOfForm = [](char c, char form) { return form == '0' ? c >= '0' && c <= '9' : c == form; };
    if (text.size() < kForm.size() ||
        !std::equal(kForm.begin(), kForm.end(), text.begin(), [&](char form, char c) { return isOfForm(c, form); })) {
        return std::nullopt;
    }
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    std::sscanf(text.c_str(), "%d-%d-%d %d:%d:%d", &year, &month, &day, &hour, &minute, &second);
    std::string fraction = text.substr(kForm.size());
    if (!fraction.empty() && (fraction[0] != '.' || fraction.size() < 2 || fraction.size() > 7 ||
                              fraction.find_first_not_of("0123456789", 1) != fraction.npos)) {
        return std::nullopt;
    }
    fraction.resize(7, '0');
    const int micro = std::atoi(fraction.c_str() + 1);
    const bool isLeap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    if (year < 1 || month < 1 || month > 12 || day < 1 || hour > 23 || minute > 59 || second > 59) return std::nullopt;
    const auto& days = isLeap ? ORM_LUX::YDAYS_LEAP : ORM_LUX::YDAYS;  // before each month
    const auto after = static_cast<std::size_t>(month);
    if (static_cast<unsigned>(day) > days[after] - days[after - 1]) return std::nullopt;
    uTimestampCD time;
    time.setTime(year, month, day, hour, minute, second, micro / 1000, micro % 1000);
    return time;
}

// The lines of standard input.
class InputLines {
public:
    ~InputLines() { std::free(m_line); }

    // Returns: the next line, without its end; nothing at the end of the input. Errors: Failure.
    std::optional<std::string_view> Next() {
        const ssize_t length = getline(&m_line, &m_size, stdin);
        if (length < 0) {
            if (std::ferror(stdin)) throw Failure(ExitCode::kFailed, "standard input", std::strerror(errno));
            return std::nullopt;
        }
        ++m_number;
        std::string_view line(m_line, static_cast<std::size_t>(length));
        while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.remove_suffix(1);
        return line;
    }
    std::size_t Number() const noexcept { return m_number; }

private:
    char* m_line = nullptr;
    std::size_t m_size = 0;
    std::size_t m_number = 0;
};

// A decoder, with its options.
class Decoder {
public:
    virtual ~Decoder() = default;
    // Called once, when the options are known. Errors: Failure.
    virtual void Prepare() {}
    // index: the number of a trace's sample, where there is one. Returns: the stamp's text, empty for no stamp.
    virtual std::string Decode(std::uint64_t word, std::optional<std::uint64_t> index) = 0;
};

class StmDecoder : public Decoder {
public:
    explicit StmDecoder(CLI::App& app) {
        app.add_option("--frequency", m_frequency, "Transaction cycles per second")
            ->required()
            ->check([](const std::string& text) {
                const double hertz = std::strtod(text.c_str(), nullptr);
                return std::isfinite(hertz) && hertz > 0 ? "" : "not a finite number above 0: " + text;
            })
            ->option_text("HZ");
        AddNumberOption(app, "--base", m_base, UINT64_MAX,
                        "Index of the sample that cycles are shifted to (default: 0)");
        AddNumberOption(app, "--index", m_index, UINT64_MAX,
                        "Index of the word's sample (default: 0, with --file its number)");
        app.footer("Example, one second after the start:\n  orm-trace stamp stm 170000000 --frequency 1e6\n  1000000");
    }

    std::string Decode(std::uint64_t word, std::optional<std::uint64_t> index) override {
        return m_decoder.GetStmTODStamp(word, m_base, m_index.value_or(index.value_or(0)), 0, m_frequency);
    }

private:
    double m_frequency = 0;
    std::uint64_t m_base = 0;
    std::optional<std::uint64_t> m_index;
    uTimestampCD m_decoder;
};

class RcvDecoder : public Decoder {
public:
    explicit RcvDecoder(CLI::App& app) {
        app.add_option("--zero", m_zeroText, "Time at which the count, with the reference, is 0")
            ->required()
            ->option_text("\"YYYY-MM-DD HH:MM:SS[.ffffff]\"");
        AddNumberOption(app, "--reference", m_reference, UINT64_MAX, "Time-of-day reference count (default: 0)");
        app.footer(
            "Example, 90061.5 seconds after that time:\n"
            "  orm-trace stamp rcv 0x88000DECBE3B4BC0 --zero \"2026-11-16 10:00:00\"\n"
            "   11/17/2026 11:01:01:500:000");
    }

    void Prepare() override {
        const auto zero = ParseTime(m_zeroText);
        if (!zero) throw Failure(ExitCode::kUsage, "--zero", "no time YYYY-MM-DD HH:MM:SS[.ffffff]: " + m_zeroText);
        m_zero = *zero;
    }

    std::string Decode(std::uint64_t word, std::optional<std::uint64_t>) override {
        return m_zero.GetRcvTODStamp(word, static_cast<std::uint32_t>(m_reference),
                                     static_cast<std::uint32_t>(m_reference >> 32));
    }

private:
    std::string m_zeroText;
    std::uint64_t m_reference = 0;
    uTimestampCD m_zero;
};

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
