// orm-trace create: makes a TDF file of sections.
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "tdf/TDFFormat.h"
#include "tdf/TDFHandler.h"
#include "tools/orm-trace/AppendTarget.h"
#include "tools/orm-trace/Command.h"
#include "tools/orm-trace/Progress.h"
#include "tools/orm-trace/SectionOptions.h"

namespace orm_trace {
namespace {

using Orm::Lux::Trace::TDFHandler;

[[noreturn]] void ThrowSystemError(const std::string& path) {
    throw Failure(ExitCode::kFailed, path, std::strerror(errno));
}

// A file beside the one to be made, which takes its place when it is complete, and is gone otherwise.
class ReplacementFile {
public:
    explicit ReplacementFile(const std::string& final) : m_final(final) {
        const std::filesystem::path path(final);
        m_path = path.parent_path() / ("." + path.stem().string() + ".XXXXXX.tdf");
        const int descriptor = mkostemps(m_path.data(), static_cast<int>(std::strlen(".tdf")), O_CLOEXEC);
        if (descriptor < 0) ThrowSystemError(final);
        close(descriptor);
    }
    ~ReplacementFile() {
        if (!m_path.empty()) unlink(m_path.c_str());
    }
    ReplacementFile(const ReplacementFile&) = delete;
    ReplacementFile& operator=(const ReplacementFile&) = delete;

    const std::string& Path() const noexcept { return m_path; }

    // Gives the file its name, with the permissions mode, once its bytes are on the disk.
    void Publish(bool replace, mode_t mode) {
        const int descriptor = open(m_path.c_str(), O_RDONLY | O_CLOEXEC);
        const bool stored = descriptor >= 0 && fchmod(descriptor, mode) == 0 && fsync(descriptor) == 0;
        const int error = errno;
        if (descriptor >= 0) close(descriptor);
        errno = error;
        const unsigned flags = replace ? 0 : RENAME_NOREPLACE;
        if (!stored || renameat2(AT_FDCWD, m_path.c_str(), AT_FDCWD, m_final.c_str(), flags) != 0) {
            ThrowSystemError(m_final);
        }
        m_path.clear();
    }

private:
    std::string m_final;
    std::string m_path;
};

class CreateCommand : public Command {
public:
    explicit CreateCommand(CLI::App& app) {
        app.add_option("OUT", m_out, "TDF file to make, with the extension .tdf")->required();
        m_sections.AddTo(app);
        app.add_flag("--force", m_force, "Replace OUT if it exists");
        app.footer(
            "Example:\n  orm-trace create capture.tdf --section Notes:1@notes.txt --section BinTraceData:1@raw.bin");
    }

    ExitCode Run(Output&) override {
        if (!TDFHandler().HasExtension(m_out.c_str(), Orm::Lux::Trace::kTDFExtension)) {
            throw Failure(ExitCode::kUsage, m_out, "TDF file extension must be .tdf.");
        }
        const mode_t mode = ModeOfOut();
        auto sources = m_sections.Open(nullptr);
        ReplacementFile file(m_out);
        Translated(ExitCode::kFailed, m_out, [&] { TDFHandler().CreateTDFFile(file.Path().c_str()); });
        const Progress progress(file.Path(), m_sections.TotalSize(sources));
        AppendTarget target(file.Path());
        for (SectionSource& source : sources) target.Append(source);
        target.Keep();
        file.Publish(m_force, mode);
        return ExitCode::kOk;
    }

private:
    // Returns: the permissions that OUT has or, as a new file, gets. Errors: Failure, when it may not be replaced.
    mode_t ModeOfOut() const {
        struct stat status {};
        if (lstat(m_out.c_str(), &status) != 0) {
            if (errno != ENOENT) ThrowSystemError(m_out);
            const mode_t mask = umask(0);
            umask(mask);
            return 0666 & ~mask;
        }
        if (!S_ISREG(status.st_mode)) throw Failure(ExitCode::kFailed, m_out, "exists and is no regular file");
        if (!m_force) throw Failure(ExitCode::kFailed, m_out, "exists (--force replaces it)");
        return status.st_mode & 07777;
    }

    std::string m_out;
    SectionOptions m_sections;
    bool m_force = false;
};

}  // namespace

std::unique_ptr<Command> AddCreateCommand(CLI::App& app) {
    return std::make_unique<CreateCommand>(*app.add_subcommand("create", "Make a TDF file of sections"));
}

}  // namespace orm_trace
