// Answers what lookups through the built library find in each case that comes from standard input, a line a case: "!"
// for a file that is not a TDF file, "-" for a section that is not found, or position+length. Asking for the length only and loading
// have to agree.
//
// A case is, in 32-bit little-endian numbers, the number of lookups, and for each the version, the length of the name and
// the name; then the length of the file, and its bytes.
#include <fcntl.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstring>

#include "support/Files.h"
#include "tdf/TDFHandler.h"

namespace {

using namespace Orm::Lux::Trace;
using Query = std::pair<std::string, unsigned>;  // name and version

constexpr const char* kNotTDF = "Invalid TDF format.";
constexpr std::size_t kRoom = 4096;

class Cases {
public:
    Cases() {
        void* pages = mmap(nullptr, 2 * kRoom, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        m_end = static_cast<char*>(pages) + kRoom;
        mprotect(m_end, kRoom, PROT_NONE);
    }

    // Returns: false at the end of the input.
    bool Run() {
        unsigned count = 0;
        if (std::fread(&count, sizeof count, 1, stdin) != 1) return false;
        m_queries.resize(count);
        for (auto& [name, version] : m_queries) {
            version = Number();
            name = Bytes();
        }
        const std::string bytes = Bytes();
        if (pwrite(m_file, bytes.data(), bytes.size(), 0) < 0 ||
            ftruncate(m_file, static_cast<off_t>(bytes.size())) != 0)
            std::abort();
        ++m_case;
        for (const auto& [name, version] : m_queries) std::printf("%s ", Look(name.c_str(), version, bytes).c_str());
        std::putchar('\n');
        return true;
    }
    bool Agree() const { return m_agree; }

private:
    static unsigned Number() {
        unsigned number = 0;
        if (std::fread(&number, sizeof number, 1, stdin) != 1) std::abort();
        return number;
    }
    static std::string Bytes() {
        std::string bytes(Number(), '\0');
        if (std::fread(bytes.data(), 1, bytes.size(), stdin) != bytes.size()) std::abort();
        return bytes;
    }

    void Require(bool holds, const char* what) {
        if (!holds) std::fprintf(stderr, "case %d: %s disagrees\n", m_case, what);
        m_agree = m_agree && holds;
    }

    // Calls with the file's path. Returns: the text of the error.
    template <class Operation, class... Arguments> std::string Try(Operation operation, Arguments&&... arguments) {
        return test::ErrorOf([&] { (m_tdf.*operation)(m_path.c_str(), std::forward<Arguments>(arguments)...); });
    }

    std::string Look(const char* name, unsigned version, const std::string& bytes) {
        m_position = m_length = 0;
        unsigned length = 99, read = 99;
        m_error = Try(&TDFHandler::GetSectionDataPosition, name, version, m_position, m_length);
        const bool isFound = m_error.empty();
        const std::string data = bytes.substr(m_position, isFound ? m_length : 0);
        Require(Try(&TDFHandler::GetSectionDataLengthInBytes, name, version, length).empty() == isFound, "finding");
        Require(length == m_length, "a length");
        for (const std::size_t room : {std::size_t{m_length}, data.size() / 2, data.size() + 5}) {
            const auto size = static_cast<unsigned>(std::clamp<std::size_t>(room, 1, kRoom));
            char* const buffer = m_end - size;
            const std::string error = Try(&TDFHandler::LoadSectionData, name, version, buffer, size, read);
            Require(error == m_error && read == std::min<std::size_t>(size, data.size()), "loading");
            Require(std::memcmp(buffer, data.data(), std::min<std::size_t>(read, data.size())) == 0, "the data");
        }
        if (isFound) return std::to_string(m_position) + "+" + std::to_string(m_length);
        return m_error == kNotTDF ? "!" : m_error == name + kNotFound ? "-" : m_error;
    }

    const std::string kNotFound = " section cannot be located in the file.";
    test::TemporaryFolder m_folder;
    std::string m_path = m_folder / "case.tdf";
    int m_file = open(m_path.c_str(), O_RDWR | O_CREAT, 0600);
    char* m_end;  // of a buffer of kRoom bytes, before a page that nothing may touch
    TDFHandler m_tdf;
    std::vector<Query> m_queries;
    int m_case = 0;
    bool m_agree = true;
    std::string m_error;
    unsigned m_position = 0, m_length = 0;
};

}  // namespace

int main() {
    Cases cases;
    while (cases.Run()) continue;
    return cases.Agree() ? 0 : 1;
}
