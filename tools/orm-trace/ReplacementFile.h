// A file that is made under another name first.
#pragma once

#include <sys/types.h>

#include <string>

namespace orm_trace {

// A file beside the one to be made, which takes its place when it is complete, and is gone otherwise.
class ReplacementFile {
public:
    // replace: a regular file of that name may exist. isTdf: it is to be a TDF file.
    // Errors:  Failure: kUsage for a TDF file's name without the extension .tdf, kFailed when the file exists and is not
    //          to be replaced (ifExists says so), or cannot be made.
    ReplacementFile(std::string target, bool replace, const char* ifExists, bool isTdf = true);
    ~ReplacementFile();
    ReplacementFile(const ReplacementFile&) = delete;
    ReplacementFile& operator=(const ReplacementFile&) = delete;

    const std::string& Path() const noexcept { return m_path; }

    // Gives the file its name, once its bytes are on the disk, with the permissions of the file that it replaces.
    // Errors: Failure (kFailed).
    void Publish();

private:
    mode_t ModeOfTarget(const char* ifExists) const;

    std::string m_target;
    bool m_replace;
    bool m_isTdf;
    mode_t m_mode;
    std::string m_path;  // empty once the file has its name
};

}  // namespace orm_trace
