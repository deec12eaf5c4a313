// Damages golden files in every way of a list, and prints what lookups through the built library find in each. Their
// other operations and a driver have to agree with that.
//
//   damage-cases DIRECTORY [STEP]     with a STEP, only every so many cases
#include <fcntl.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "corva/cCorvaError.h"
#include "driver/CChannelDriver.h"
#include "support/Files.h"
#include "tdf/TDFHandler.h"

namespace {

using namespace Orm::Lux::Trace;
using Orm::Lux::Corva::cCorvaError;
using Query = std::pair<std::string, unsigned>;

constexpr const char* kTrace = "BinTraceData";
constexpr const char* kNotFound = " section cannot be located in the file.";
constexpr std::size_t kRoom = 4096;

// What to ask an undamaged file for, and where its fields lie; independent of the library.
struct Golden {
    explicit Golden(std::string content) : bytes(std::move(content)) {
        if (bytes.size() >= 4) fields.push_back(0);
        const bool isTDF = bytes.substr(0, 4) == "TDF2";
        if (!isTDF) queries.emplace_back(kTrace, 1);
        for (std::size_t at = 4; isTDF && at + 12 <= bytes.size();) {
            fields.insert(fields.end(), {at, at + 4, at + 8});
            const std::size_t length = Field(at), nameLength = Field(at + 8), nameEnd = at + 12 + nameLength;
            if (length > 1U << 27 || nameLength > 4095 || length < 12 + nameLength || nameEnd > bytes.size()) break;
            const Query query(bytes.substr(at + 12, nameLength), Field(at + 4));
            const bool canBeAsked = query.first.find('\0') == std::string::npos;
            if (canBeAsked && std::count(queries.begin(), queries.end(), query) == 0) queries.push_back(query);
            at += length;
        }
        queries.emplace_back("Absent", 1);
    }
    unsigned Field(std::size_t at) const {
        unsigned value = 0;
        for (int n = 3; n >= 0; --n)
            value = value << 8 | static_cast<unsigned char>(bytes[at + static_cast<unsigned>(n)]);
        return value;
    }
    std::string bytes;
    std::vector<Query> queries;
    std::vector<std::size_t> fields;
};

class Cases {
public:
    explicit Cases(long step) : m_step(step) {
        m_descriptor = open(m_path.c_str(), O_RDWR | O_CREAT, 0600);
        void* pages = mmap(nullptr, 2 * kRoom, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        m_end = static_cast<char*>(pages) + kRoom;
        mprotect(m_end, kRoom, PROT_NONE);
    }
    ~Cases() { close(m_descriptor); }

    void Run(const std::string& name, const Golden& golden) {
        const std::string& whole = golden.bytes;
        Case(golden, name + " whole", whole);
        for (std::size_t n = 0; n < whole.size(); ++n) {
            Case(golden, name + " cut " + std::to_string(n), whole.substr(0, n));
        }
        for (std::size_t n = 0; n < 8 * whole.size(); ++n) {
            std::string bytes = whole;
            bytes[n / 8] = static_cast<char>(bytes[n / 8] ^ 1 << n % 8);
            Case(golden, name + " flip " + std::to_string(n / 8) + "." + std::to_string(n % 8), bytes);
        }
        for (const std::size_t at : golden.fields) {
            for (const unsigned value : {0U, 1U, 11U, 12U, 13U, 255U, 4095U, 4096U, 134217728U, 134217729U, 2147483647U,
                                         2147483648U, 4294967283U, 4294967295U}) {
                Case(golden, name + " field " + std::to_string(at) + "=" + std::to_string(value),
                     std::string(whole).replace(at, 4, test::Le(value, 4)));
            }
        }
    }
    bool Agree() const { return m_agree; }

private:
    template <class Call> static std::string ErrorOf(Call call) { return test::ErrorOf<cCorvaError>(call); }

    void Case(const Golden& golden, const std::string& label, const std::string& bytes) {
        if (m_case++ % m_step != 0) return;
        m_label = label;
        if (pwrite(m_descriptor, bytes.data(), bytes.size(), 0) < 0 ||
            ftruncate(m_descriptor, static_cast<off_t>(bytes.size())) != 0) {
            std::abort();
        }
        std::printf("%s:", label.c_str());
        for (const auto& [name, version] : golden.queries) {
            std::printf(" %s", Look(name.c_str(), version, bytes).c_str());
            if (name == kTrace && version == 1) Drive(bytes);
        }
        std::putchar('\n');
    }

    void Require(bool holds, const char* what) {
        if (!holds) std::fprintf(stderr, "%s: %s disagrees\n", m_label.c_str(), what);
        m_agree = m_agree && holds;
    }

    // Returns: what a lookup finds, as it is printed. Fields keep it for the driver.
    std::string Look(const char* name, unsigned version, const std::string& bytes) {
        m_position = m_length = 0;
        unsigned length = 99, read = 99;
        m_error = ErrorOf([&] { m_tdf.GetSectionDataPosition(m_path.c_str(), name, version, m_position, m_length); });
        const std::string lengthError =
            ErrorOf([&] { m_tdf.GetSectionDataLengthInBytes(m_path.c_str(), name, version, length); });
        const auto room = static_cast<unsigned>(std::clamp<std::size_t>(m_length, 1, kRoom));
        const auto load = [&] { m_tdf.LoadSectionData(m_path.c_str(), name, version, m_end - room, room, read); };
        Require(ErrorOf(load) == m_error && lengthError.empty() == m_error.empty(), "an error");
        Require(length == m_length && m_position <= bytes.size(), "a length or position");
        const std::string data = bytes.substr(m_position, m_error.empty() ? m_length : 0);
        Require(read == data.size() && std::memcmp(m_end - room, data.data(), read) == 0, "the data");
        if (m_error.empty()) return std::to_string(m_position) + "+" + std::to_string(m_length);
        return m_error == name + std::string(kNotFound) ? "-" : m_error == "Invalid TDF format." ? "!" : m_error;
    }

    // A driver serves the samples that the last lookup found, or those of the whole of what is no TDF file.
    void Drive(const std::string& bytes) {
        const bool isTDF = m_error != "Invalid TDF format.";
        const std::string error = ErrorOf([&] { m_driver->LoadFile(m_path, 0, eTraceDataFileType{}); });
        Require(error == (isTDF ? m_error : ""), "the driver");
        if (!error.empty()) return;
        const std::size_t length = isTDF ? m_length : bytes.size(), count = (length + 7) / 8;
        const auto wanted = static_cast<unsigned>(std::min(count, kRoom / 8));
        const std::size_t whole = std::min<std::size_t>(wanted, (bytes.size() - m_position) / 8);
        char* const buffer = m_end - 8 * wanted;
        unsigned read = 99;
        m_driver->SeekReadTraceData(0, wanted, reinterpret_cast<unsigned long*>(buffer), &read);
        Require(m_driver->GetNumSamples() == count && read == whole, "a count of samples");
        Require(std::memcmp(buffer, bytes.data() + m_position, 8 * whole) == 0, "a sample");
    }

    test::TemporaryFolder m_folder;
    std::string m_path = m_folder / "case.tdf";
    int m_descriptor;
    char* m_end;  // of a buffer of kRoom bytes, before a page that nothing may touch
    TDFHandler m_tdf;
    std::unique_ptr<CChannelDriver, void (*)(CChannelDriver*)> m_driver{CreateChannelDriver(), &DestroyChannelDriver};
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
    for (const auto& file : files) cases.Run(file.filename(), Golden(test::ReadAll(file)));
    return cases.Agree() ? 0 : 1;
}
