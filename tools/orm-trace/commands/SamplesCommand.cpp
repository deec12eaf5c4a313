// orm-trace samples: prints the samples of a trace.
#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/orm-trace/commands/Command.h"
#include "tools/orm-trace/host/Driver.h"
#include "tools/orm-trace/host/TraceSamples.h"
#include "tools/orm-trace/options/DriverOption.h"
#include "tools/orm-trace/options/NumberOption.h"
#include "tools/orm-trace/output/Text.h"

namespace orm_trace {
namespace {

void AppendHex(std::string& text, std::uint64_t sample) {
    AppendHexWord(text, sample);
    text += '\n';
}

void AppendDec(std::string& text, std::uint64_t sample) {
    std::array<char, 20> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), sample).ptr;
    text.append(digits.data(), end) += '\n';
}

class SamplesCommand : public Command {
public:
    explicit SamplesCommand(CLI::App& app) {
        app.add_option("FILE", m_file, "Trace file: a TDF file, or any file of 64-bit samples")->required();
        AddNumberOption(app, "--from", m_from, UINT32_MAX, "First sample, counted from 0");
        AddNumberOption(app, "--count", m_count, UINT32_MAX, "Number of samples (default: up to the last one)");
        app.add_option("--format", m_format, "hex or dec, one sample a line, or raw little-endian bytes")
            ->check(CLI::IsMember({"hex", "dec", "raw"}))
            ->option_text("hex|dec|raw [hex]");
        AddDriverOption(app, m_driverPath);
        app.footer("Example:\n  orm-trace samples capture.tdf --from 1000 --count 16 --format dec");
    }

    ExitCode Run(Output& out) override {
        Driver driver(m_driverPath);
        TraceSamples samples(driver, m_file);
        const std::uint64_t total = samples.Total();
        samples.Require(m_from, m_count.has_value() ? *m_count : total - std::min<std::uint64_t>(total, m_from));
        while (const auto page = samples.Next()) out.Write(Text(page->samples, page->count));
        return samples.Finish();
    }

private:
    std::string_view Text(const unsigned long* samples, std::size_t count) {
        if (m_format == "raw") return {reinterpret_cast<const char*>(samples), count * sizeof(*samples)};
        m_text.clear();
        const auto append = m_format == "hex" ? AppendHex : AppendDec;
        for (std::size_t n = 0; n < count; ++n) append(m_text, samples[n]);
        return m_text;
    }

    std::string m_file;
    std::uint32_t m_from = 0;
    std::optional<std::uint32_t> m_count;
    std::string m_format = "hex";
    std::string m_driverPath;
    std::string m_text;  // of a page
};

}  // namespace

std::unique_ptr<Command> AddSamplesCommand(CLI::App& app) {
    return std::make_unique<SamplesCommand>(*app.add_subcommand("samples", "Print the samples of a trace"));
}

}  // namespace orm_trace
