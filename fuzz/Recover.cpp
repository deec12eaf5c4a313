// orm-trace recover: what comes out is whole and holds every section that readers saw, and the source is left alone.
// The first byte of the input chooses options; the others are the damaged file.
#include "fuzz/Fuzz.h"
#include "tools/orm-trace/Command.h"

using namespace fuzz;
using orm_trace::ExitCode;

namespace {

// The subcommand with these options. Setting up a command line costs more than the work, so it is done once for each.
struct Recovery {
    explicit Recovery(const std::string& options) { app.parse("recover f.tdf" + options); }

    ExitCode Run() {
        orm_trace::Output out;
        try {
            const ExitCode code = command->Run(out);
            out.Close();
            return code;
        } catch (const orm_trace::Failure& failure) {
            return failure.Code();
        }
    }

    CLI::App app;
    std::unique_ptr<orm_trace::Command> command = orm_trace::AddRecoverCommand(app);
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Folder folder;
    static Recovery dryRuns[] = {Recovery(" --dry-run"), Recovery(" --dry-run --tail"), Recovery(" --dry-run --json"),
                                 Recovery(" --dry-run --tail --json")};
    static Recovery recoveries[] = {Recovery(" -o out.tdf"), Recovery(" -o out.tdf --tail"),
                                    Recovery(" -o out.tdf --json"), Recovery(" -o out.tdf --tail --json")};
    static const int standardError = dup(STDERR_FILENO), null = open("/dev/null", O_WRONLY);
    Input input(data, size);
    const unsigned options = input.Number();
    const std::string file(input.Rest());
    WriteFile("f.tdf", file);
    unlink("out.tdf");
    dup2(null, STDERR_FILENO);
    dup2(null, STDOUT_FILENO);
    const ExitCode dry = dryRuns[options % 4].Run(), code = recoveries[options % 4].Run();
    dup2(standardError, STDERR_FILENO);
    Require(ReadFile("f.tdf") == file && dry == code);

    const bool isTDF = file.substr(0, 4) == "TDF2";
    const auto sections = isTDF ? Walk(file) : std::vector<Section>();
    const bool isWhole = isTDF && (sections.empty() ? 4 : sections.back().End()) == file.size();
    const std::string out = ReadFile("out.tdf");
    if (code == ExitCode::kNotATrace) return Require(sections.empty() && !isWhole && access("out.tdf", F_OK) != 0), 0;
    Require(code == (isWhole ? ExitCode::kOk : ExitCode::kIncomplete));
    if (isWhole) return Require(out == file), 0;
    const auto recovered = Walk(out);
    Require(out.substr(0, 4) == "TDF2" && recovered.back().End() == out.size() && recovered.size() >= sections.size());
    for (std::size_t n = 0; n < sections.size(); ++n) {
        const Section &was = sections[n], &is = recovered[n];
        Require(was.name == is.name && was.version == is.version && was.offset == is.offset);
        // The last one may be cut, end where a section is found within it, or have a tail.
        Require(was.length == is.length || n + 1 == sections.size());
        Require(is.length <= was.length || options & 1);
        Require(out.compare(is.Data(), is.DataLength(), file, was.Data(), is.DataLength()) == 0);
    }
    // What a scan has found lies at the end of both.
    const std::size_t found = sections.size() < recovered.size() ? out.size() - recovered[sections.size()].offset : 0;
    Require(out.compare(out.size() - found, found, file, file.size() - found, found) == 0);
    return 0;
}
