// orm-trace recover: what comes out is whole and holds the sections that readers saw, with what it says is lost it holds
// every byte, and the source does not change.
// The first byte of the input chooses options; the others are the damaged file.
#include "fuzz/Fuzz.h"
#include "fuzz/ToolRun.h"

using namespace fuzz;
using orm_trace::ExitCode;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Folder folder;
    static const std::string options[] = {"", " --tail", " --json", " --tail --json"};
    static std::vector<ToolRun> dryRuns, recoveries;
    for (std::size_t n = dryRuns.size(); n < std::size(options); ++n) {
        dryRuns.emplace_back(orm_trace::AddRecoverCommand, "recover f.tdf --dry-run" + options[n]);
        recoveries.emplace_back(orm_trace::AddRecoverCommand, "recover f.tdf --lost lost -o out.tdf" + options[n]);
    }
    Input input(data, size);
    const unsigned which = input.Number() % 4;
    const std::string file(input.Rest());
    WriteFile("f.tdf", file);
    for (const char* name : {"out.tdf", "lost"}) unlink(name);
    const ExitCode dry = dryRuns[which].Run(), code = recoveries[which].Run();
    Require(ReadFile("f.tdf") == file && dry == code);

    const bool isTDF = file.substr(0, 4) == "TDF2";
    const auto sections = isTDF ? Walk(file) : std::vector<Section>();
    const bool isWhole = isTDF && (sections.empty() ? 4 : sections.back().End()) == file.size();
    const std::string out = ReadFile("out.tdf");
    if (code == ExitCode::kNotATrace) return Require(sections.empty() && !isWhole && access("out.tdf", F_OK) != 0), 0;
    Require(code == (isWhole ? ExitCode::kOk : ExitCode::kIncomplete));
    if (isWhole) return Require(out == file), 0;
    const auto recovered = Walk(out);
    const std::size_t lost = ReadFile("lost").size();
    Require(out.substr(0, 4) == "TDF2" && recovered.back().End() == out.size());
    Require(recovered.size() + 2 >= sections.size());
    Require(out.size() + lost == file.size() || (!isTDF && out.size() + lost <= file.size() + 4));
    // Damage makes doubtful what comes directly before it, and nothing else.
    for (std::size_t n = 0; n + 2 < sections.size(); ++n) {
        Require(recovered[n].offset == sections[n].offset && recovered[n].length == sections[n].length);
    }
    // Each section is in the file, after the one before, byte for byte except for its length.
    std::size_t at = 0;
    for (const Section& section : recovered) {
        const std::string_view bytes = std::string_view(out).substr(section.offset + 4, section.length - 4);
        at = file.find(bytes, at);
        Require(at != file.npos);
        at += bytes.size();
    }
    return 0;
}
