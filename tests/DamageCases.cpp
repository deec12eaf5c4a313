// Damages golden files in every way of a list, and prints what lookups through the built library find in each: "!"
// where there is no TDF file, "-" where no such section, or position+length. Asking
// for the length alone and loading have to agree.
//
//   damage-cases DIRECTORY [STEP]     with a STEP, only every so many cases
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
    explicit Cases(long step) : m_step(step) {
        void* pages = mmap(nullptr, 2 * kRoom, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        m_end = static_cast<char*>(pages) + kRoom;
        mprotect(m_end, kRoom, PROT_NONE);
    }

    void Run(const std::string& name, const std::string& whole) {
        std::vector<std::size_t> fields;  // positions of the 32-bit fields
        Survey(whole, fields);
        Case(name + " whole", whole);
        for (std::size_t n = 0; n < whole.size(); ++n) Case(name + " cut " + std::to_string(n), whole.substr(0, n));
        for (std::size_t n = 0; n < 8 * whole.size(); ++n) {
            std::string bytes = whole;
            bytes[n / 8] = static_cast<char>(bytes[n / 8] ^ 1 << n % 8);
            Case(name + " flip " + std::to_string(n / 8) + "." + std::to_string(n % 8), bytes);
        }
        for (const std::size_t at : fields) {
            for (const unsigned value : {0U, 1U, 11U, 12U, 13U, 255U, 4095U, 4096U, 134217728U, 134217729U, 2147483647U,
                                         2147483648U, 4294967283U, 4294967295U}) {
                Case(name + " field " + std::to_string(at) + "=" + std::to_string(value),
                     std::string(whole).replace(at, 4, test::Le(value, 4)));
            }
        }
    }
    bool Agree() const { return m_agree; }

private:
    // Finds, without the library, what to ask an undamaged file for, and where its fields are.
    void Survey(const std::string& bytes, std::vector<std::size_t>& fields) {
        const auto field = [&](std::size_t at) { return std::memcpy(&m_length, &bytes[at], 4), m_length; };
        const bool isTDF = bytes.substr(0, 4) == "TDF2";
        m_queries.clear();
        if (!isTDF) m_queries.emplace_back("BinTraceData", 1);
        if (bytes.size() >= 4) fields = {0};
        for (std::size_t at = 4; isTDF && at + 12 <= bytes.size();) {
            fields.insert(fields.end(), {at, at + 4, at + 8});
            const std::size_t length = field(at), nameLength = field(at + 8), headerSize = 12 + nameLength;
            if (length > 1U << 27 || nameLength > 4095 || length < headerSize || at + headerSize > bytes.size()) break;
            const Query query(bytes.substr(at + 12, nameLength), field(at + 4));
            const bool isNew = std::count(m_queries.begin(), m_queries.end(), query) == 0;
            if (isNew && query.first.find('\0') == query.first.npos) m_queries.push_back(query);
            at += length;
        }
        m_queries.emplace_back("Absent", 1);
    }

    void Case(const std::string& label, const std::string& bytes) {
        if (m_case++ % m_step != 0) return;
        if (pwrite(m_file, bytes.data(), bytes.size(), 0) < 0 ||
            ftruncate(m_file, static_cast<off_t>(bytes.size())) != 0)
            std::abort();
        std::printf("%s:", (m_label = label).c_str());
        for (const auto& [name, version] : m_queries) {
            std::printf(" %s", Look(name.c_str(), version, bytes).c_str());
        }
        std::putchar('\n');
    }

    void Require(bool holds, const char* what) {
        if (!holds) std::fprintf(stderr, "%s: %s disagrees\n", m_label.c_str(), what);
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
    long m_step, m_case = 0;
    bool m_agree = true;
    std::string m_label, m_error;
    unsigned m_position = 0, m_length = 0;
};

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::filesystem::path> files(std::filesystem::directory_iterator(argv[1]), {});
    std::sort(files.begin(), files.end());
    Cases cases(argc > 2 ? std::atol(argv[2]) : 1);
    for (const auto& file : files) cases.Run(file.filename(), test::ReadAll(file));
    return cases.Agree() ? 0 : 1;
}
