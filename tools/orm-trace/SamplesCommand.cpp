// orm-trace samples: prints the samples of a trace.
#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/orm-trace/Command.h"
#include "tools/orm-trace/Driver.h"

namespace orm_trace {
namespace {

enum class Format { kHex, kDec, kRaw };

constexpr unsigned int kPage = 16 * 1024;  // samples

void AppendHex(std::string& text, std::uint64_t sample) {
    text += "0x";
    for (int shift = 60; shift >= 0; shift -= 4) text += "0123456789abcdef"[(sample >> shift) & 0xF];
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
        app.add_option("--from", m_from, "First sample, counted from 0")->capture_default_str();
        app.add_option("--count", m_count, "Number of samples (default: up to the last one)");
        app.add_option("--format", m_format, "hex or dec, one sample a line, or raw little-endian bytes")
            ->transform(CLI::Transformer(std::vector<std::pair<std::string, Format>>{
                {"hex", Format::kHex}, {"dec", Format::kDec}, {"raw", Format::kRaw}}))
            ->option_text("hex|dec|raw [hex]");
        app.add_option(kDriverOption, m_driverPath, kDriverOptionHelp)->option_text("PATH");
        app.footer("Example:\n  orm-trace samples capture.tdf --from 1000 --count 16 --format dec");
    }

    ExitCode Run(Output& out) override {
        Driver driver(m_driverPath);
        const std::uint64_t total = driver.Load(m_file);
        const std::uint64_t present = m_from < total ? total - m_from : 0;
        if (m_from > total) {
            Report(m_file,
                   "begins " + std::to_string(m_from - total) + " samples beyond the last of " + std::to_string(total));
            return ExitCode::kIncomplete;
        }
        const std::uint64_t wanted = m_count.value_or(static_cast<std::uint32_t>(present));
        const std::uint64_t printed = Print(driver, out, std::min(wanted, present));
        if (printed == wanted) return ExitCode::kOk;
        Report(m_file, std::to_string(wanted - printed) + " of " + std::to_string(wanted) +
                           " samples are missing: the trace ends before sample " + std::to_string(m_from + printed));
        return ExitCode::kIncomplete;
    }

private:
    // Prints samples from the first on. Returns: how many there were. A trace without samples is read all the same: a
    // file that cannot be read at all says so then.
    std::uint64_t Print(Driver& driver, Output& out, std::uint64_t wanted) {
        std::vector<unsigned long> page(static_cast<std::size_t>(std::min<std::uint64_t>(wanted, kPage)) + 1);
        std::uint64_t printed = 0;
        unsigned int asked = 0;
        unsigned int read = 0;
        do {
            asked = static_cast<unsigned int>(std::min<std::uint64_t>(wanted - printed, kPage));
            read = driver.Read(static_cast<unsigned int>(m_from + printed), asked, page.data());
            out.Write(Text(page.data(), read));
            printed += read;
        } while (read == asked && printed < wanted);
        return printed;
    }

    std::string_view Text(const unsigned long* samples, unsigned int count) {
        if (m_format == Format::kRaw) return {reinterpret_cast<const char*>(samples), count * sizeof(*samples)};
        m_text.clear();
        const auto append = m_format == Format::kHex ? AppendHex : AppendDec;
        for (unsigned int n = 0; n < count; ++n) append(m_text, samples[n]);
        return m_text;
    }

    std::string m_file;
    std::uint32_t m_from = 0;
    std::optional<std::uint32_t> m_count;
    Format m_format = Format::kHex;
    std::string m_driverPath;
    std::string m_text;  // of a page
};

}  // namespace

std::unique_ptr<Command> AddSamplesCommand(CLI::App& app) {
    return std::make_unique<SamplesCommand>(*app.add_subcommand("samples", "Print the samples of a trace"));
}

}  // namespace orm_trace
