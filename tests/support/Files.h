// Files that tests work on, and what tests look at around them.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "corva/cCorvaError.h"

namespace test {

// A folder that is gone after the test.
class TemporaryFolder {
public:
    TemporaryFolder() { chmod(mkdtemp(m_path.data()), 0755); }
    ~TemporaryFolder() { std::filesystem::remove_all(m_path); }

    std::string operator/(std::string_view name) const { return m_path + "/" + std::string(name); }
    const std::string& Path() const { return m_path; }

    // Returns: the path of a file in the folder that now holds these bytes.
    std::string Write(std::string_view name, std::string_view bytes) const {
        std::ofstream(*this / name, std::ios::binary) << bytes;
        return *this / name;
    }

private:
    std::string m_path = std::filesystem::temp_directory_path() / "orm-test-XXXXXX";
};

// One that is the working directory meanwhile.
struct WorkingFolder : TemporaryFolder {
    WorkingFolder() { std::filesystem::current_path(Path()); }
    ~WorkingFolder() { std::filesystem::current_path("/"); }
};

inline std::string ReadAll(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

// A little-endian field, written independently of the library.
inline std::string Le(std::uint64_t value, int bytes) {
    std::string text;
    for (int n = 0; n < bytes; ++n) text += static_cast<char>(value >> (8 * n) & 0xFF);
    return text;
}

// A section's bytes; a length that lies is given.
inline std::string Section(std::string_view name, std::uint32_t version, std::string_view data,
                           std::optional<std::size_t> length = {}) {
    return Le(length.value_or(12 + name.size() + data.size()), 4) + Le(version, 4) + Le(name.size(), 4) +
           std::string(name) + std::string(data);
}
inline std::string Trace(std::string_view data) { return Section("BinTraceData", 1, data); }

// Writes a sparse file of the longest sections, of which the last, a trace, ends at a position, and what follows it.
// Returns: where the trace's section begins.
inline std::uint64_t WriteLarge(const std::string& path, std::uint64_t end, std::string_view behind = "") {
    std::ofstream file(path, std::ios::binary);
    const auto put = [&](std::uint64_t at, std::string_view bytes) { file.seekp(static_cast<long>(at)) << bytes; };
    put(0, "TDF2");
    std::uint64_t at = 4;
    unsigned version = 0;
    for (; at + (1U << 27) + 24 <= end; at += 1U << 27) put(at, Section("filler", ++version, "", 1U << 27));
    put(at, Section("BinTraceData", 1, "", end - at));
    put(end, behind);
    file.close();
    std::filesystem::resize_file(path, end + behind.size());
    return at;
}

// Where 31 and 32 bits end.
inline constexpr std::uint64_t kLargeSizes[] = {(1UL << 31) - 1, 1UL << 31, (1UL << 31) + 1,
                                                (1UL << 32) - 1, 1UL << 32, (1UL << 32) + 1};

inline long OpenDescriptors() { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); }

// Takes the rights of root from the process for a scope, so that permissions count.
struct Unprivileged {
    Unprivileged() { Become(65534); }
    ~Unprivileged() { Become(0); }
    static void Become(uid_t user) {
        if (getuid() == 0 && seteuid(user) != 0) std::abort();
    }
};

// Returns: values as they print, with blanks between them.
template <class... Values> std::string Show(const Values&... values) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    ((text << values << ' '), ...);
    return text.str().substr(0, text.str().size() - 1);
}

// Returns: the text of the error that call throws, "" when it throws none.
template <class Error = Orm::Lux::Corva::cCorvaError, class Call> std::string ErrorOf(Call call) {
    try {
        call();
    } catch (const Error& error) {
        if constexpr (requires { error.GetSeverity(); }) {
            EXPECT_EQ(error.GetSeverity(), 2) << error.what();
        }
        return error.what();
    }
    return "";
}

}  // namespace test
