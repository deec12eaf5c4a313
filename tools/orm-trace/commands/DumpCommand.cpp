// orm-trace dump: prints the data of a section.
#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <vector>

#include "capture/SectionWalk.h"
#include "tools/orm-trace/commands/Command.h"
#include "tools/orm-trace/options/ChoiceOption.h"
#include "tools/orm-trace/options/NumberOption.h"
#include "tools/orm-trace/options/ParseNumber.h"
#include "tools/orm-trace/options/SectionPattern.h"
#include "tools/orm-trace/output/Text.h"

namespace orm_trace {
namespace {

enum class Format { kHex, kRaw, kCsv };

constexpr std::size_t kLine = 16;        // bytes of a line of hex text
constexpr std::size_t kWordSize = 8;     // bytes
constexpr std::size_t kChunk = 1 << 16;  // a multiple of both

// Appends a line: the offset of the bytes in the data, the bytes, and those that are text.
void AppendHexLine(std::string& text, std::uint64_t offset, std::string_view bytes) {
    constexpr std::size_t kBytes = 10, kText = kBytes + 3 * kLine + 3;  // columns
    std::array<char, kText + kLine> line;
    line.fill(' ');
    PutHex(line.data(), offset, 8);
    line[kText - 1] = '|';
    for (std::size_t n = 0; n < bytes.size(); ++n) {
        PutHex(line.data() + kBytes + 3 * n + (n < kLine / 2 ? 0 : 1), static_cast<unsigned char>(bytes[n]), 2);
        line[kText + n] = bytes[n] >= ' ' && bytes[n] <= '~' ? bytes[n] : '.';
    }
    text.append(line.data(), kText + bytes.size()) += "|\n";
}

// Appends the index of a word and its value, which has fewer digits where the data ends within it.
void AppendCsvLine(std::string& text, std::uint64_t offset, std::string_view bytes) {
    std::uint64_t word = 0;
    for (std::size_t n = bytes.size(); n-- > 0;) word = word << 8 | static_cast<unsigned char>(bytes[n]);
    AppendDec(text, offset / kWordSize);
    text += ',';
    AppendHexWord(text, word, static_cast<int>(2 * bytes.size()));
    text += '\n';
}

struct Range {
    std::uint64_t from = 0;
    std::optional<std::uint64_t> to;
};

Range ParseRange(const std::string& text) {
    const std::size_t colon = text.find(':');
    const std::string from = text.substr(0, colon);
    const std::string to = colon == text.npos ? "" : text.substr(colon + 1);
    const auto first = from.empty() ? std::optional<std::uint64_t>(0) : ParseNumber(from);
    const auto end = to.empty() ? std::nullopt : ParseNumber(to);
    if (colon == text.npos || !first || (!to.empty() && (!end || *end < *first))) {
        throw Error(ErrorKind::kArgument, "--range", "is not of the form A:B, with A up to B: " + text);
    }
    return {*first, end};
}

class DumpCommand : public Command {
public:
    explicit DumpCommand(CLI::App& app) {
        app.add_option("FILE", m_file, "TDF file, under any name")->required();
        auto* choice = app.add_option_group("section")->require_option(1);
        choice->add_option("--section", m_section, "First section with this name and, if given, version")
            ->option_text("NAME[:VERSION]");
        AddNumberOption(*choice, "--index", m_index, UINT64_MAX, "Section with this index, counted from 0");
        app.add_option("--range", m_range, "Bytes A to B-1 of the data; either may be left out")->option_text("A:B");
        AddChoiceOption(app, "--format", m_format,
                        {{"hex", Format::kHex}, {"raw", Format::kRaw}, {"csv", Format::kCsv}},
                        "hex text, raw bytes, or csv of 64-bit words with their index");
        app.footer("Example:\n  orm-trace dump capture.tdf --section BinTraceData:1 --range 0:64 --format csv");
    }

    ExitCode Run(Output& out) override {
        if (!m_index) m_pattern = SectionPattern::Parse(m_section);
        const Range range = ParseRange(m_range);
        if (m_format == Format::kCsv && range.from % kWordSize != 0) {
            throw Error(ErrorKind::kArgument, "--range", "begins within a word: " + m_range);
        }
        const InputFile file(m_file);
        file.RequireIdentifier();
        SectionWalk walk(file);
        while (walk.Next()) {
            if (m_index ? walk.Index() == *m_index : m_pattern.Fits(walk.Section()))
                return Dump(file, walk, range, out);
        }
        const auto& fault = walk.Fault();
        throw Error(ErrorKind::kInput, m_file,
                    "has no " + (m_index ? "section " + std::to_string(*m_index) : m_pattern.Label()) +
                        (fault ? ": the search ends at " + fault->Message() : ""));
    }

private:
    ExitCode Dump(const InputFile& file, const SectionWalk& walk, const Range& range, Output& out) const {
        const std::uint64_t wanted =
            range.to.value_or(std::max<std::uint64_t>(walk.Section().DataLength(), range.from));
        const std::uint64_t end = std::min(wanted, std::max(walk.DataAvailable(), range.from));
        std::uint64_t at = range.from;
        std::vector<char> chunk(kChunk);
        std::string text;
        while (at < end) {
            const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(kChunk, end - at));
            const std::size_t got = file.ReadAt(walk.Section().DataOffset() + at, chunk.data(), size);
            if (got == 0) break;
            const std::string_view bytes(chunk.data(), got);
            Print(bytes, at, text, out);
            at += got;
        }
        if (at == wanted && at <= walk.Section().DataLength()) return ExitCode::kOk;
        const std::string what =
            at == wanted ? "has no byte " + std::to_string(at) : Missing(wanted - at, wanted - range.from, "byte");
        Report(m_file, what + ": the data ends before byte " +
                           std::to_string(std::min<std::uint64_t>(at, walk.Section().DataLength())));
        return ExitCode::kIncomplete;
    }

    void Print(std::string_view bytes, std::uint64_t offset, std::string& text, Output& out) const {
        if (m_format == Format::kRaw) return out.Write(bytes);
        const std::size_t step = m_format == Format::kHex ? kLine : kWordSize;
        const auto append = m_format == Format::kHex ? AppendHexLine : AppendCsvLine;
        text.clear();
        for (std::size_t n = 0; n < bytes.size(); n += step) append(text, offset + n, bytes.substr(n, step));
        out.Write(text);
    }

    std::string m_file;
    std::string m_section;
    SectionPattern m_pattern;
    std::optional<std::uint64_t> m_index;  // of the section asked for; else the first that fits the pattern
    std::string m_range = ":";
    Format m_format = Format::kHex;
};

}  // namespace

std::unique_ptr<Command> AddDumpCommand(CLI::App& app) {
    return std::make_unique<DumpCommand>(*app.add_subcommand("dump", "Print the data of a section"));
}

}  // namespace orm_trace
