#include "tdf/TDFFile.h"

#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "tdf/CorvaErrors.h"
#include "tdf/FileIO.h"
#include "tdf/TDFFormat.h"
#include "tdf/TDFSectionReader.h"

namespace Orm::Lux::Trace {

TDFFile::Answer TDFFile::HasIdentifier() const noexcept {
    TDFIdentifier found{};
    errno = 0;
    if (ReadAt(m_stream, 0, found.data(), found.size()) == found.size()) {
        return found == kTDFIdentifier ? Answer::kYes : Answer::kNo;
    }
    const int error = errno;
    struct stat status {};
    fstat(fileno(m_stream), &status);  // if this fails, status stays 0: not a regular file
    return error != 0 && S_ISREG(status.st_mode) ? Answer::kUnreadable : Answer::kNo;
}

TDFFile::Answer TDFFile::Find(const char* name, std::uint32_t version, std::uint64_t start, Data& data) const noexcept {
    if (name == nullptr) return Answer::kNo;
    TDFSectionReader reader(m_stream, start);
    if (!reader.Find(name, version)) {
        return reader.Fault().kind == TDFFaultKind::kReadError ? Answer::kUnreadable : Answer::kNo;
    }
    data = {reader.Section().DataOffset(), reader.Section().DataLength()};
    return Answer::kYes;
}

TDFFile::Data TDFFile::Require(const char* name, std::uint32_t version, const char* notFound) const {
    Data data;
    const Answer isFound = Find(name, version, kTDFIdentifier.size(), data);
    if (isFound == Answer::kYes) return data;
    if (isFound == Answer::kUnreadable) ThrowCorvaError(kSectionReadError);
    if (notFound != nullptr) ThrowCorvaError(notFound);
    ThrowCorvaError(std::string(name != nullptr ? name : "") + " section cannot be located in the file.");
}

}  // namespace Orm::Lux::Trace
