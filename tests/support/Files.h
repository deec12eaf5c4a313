// Files that tests work on.
#pragma once

#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>

namespace test {

// A folder that is gone after the test.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "orm-test-XXXXXX").string();
        m_path = mkdtemp(pattern.data());
        chmod(m_path.c_str(), 0755);
    }
    ~TemporaryFolder() { std::filesystem::remove_all(m_path); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string operator/(std::string_view name) const { return m_path + "/" + std::string(name); }
    const std::string& Path() const { return m_path; }

    // Returns: the path of a file in the folder that now holds these bytes.
    std::string Write(std::string_view name, std::string_view bytes) const {
        const std::string path = *this / name;
        std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        return path;
    }
    // Returns: the path of a sparse file of this size that begins with these bytes.
    std::string WriteSparse(std::string_view name, std::string_view bytes, std::uint64_t size) const {
        const std::string path = Write(name, bytes);
        EXPECT_EQ(truncate(path.c_str(), static_cast<off_t>(size)), 0);
        return path;
    }

private:
    std::string m_path;
};

inline std::string ReadAll(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

// Little-endian fields, written independently of the library.
inline std::string Le(std::uint64_t value, int bytes) {
    std::string text;
    for (int n = 0; n < bytes; ++n) text += static_cast<char>(value >> (8 * n) & 0xFF);
    return text;
}
inline std::string Le32(std::uint32_t value) { return Le(value, 4); }
inline std::string Sample(std::uint64_t value) { return Le(value, 8); }

// A section's bytes; a length or name length that lies is given.
inline std::string Section(std::string_view name, std::uint32_t version, std::string_view data,
                           std::optional<std::uint32_t> length = {}, std::optional<std::uint32_t> nameLength = {}) {
    const auto honest = static_cast<std::uint32_t>(12 + name.size() + data.size());
    return Le32(length.value_or(honest)) + Le32(version) +
           Le32(nameLength.value_or(static_cast<std::uint32_t>(name.size()))) + std::string(name) + std::string(data);
}
inline std::string Tdf(std::string_view sections) { return "TDF2" + std::string(sections); }

inline int OpenDescriptors() {
    int count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) ++count;
    return count;
}

// Takes the rights of root from the process for a scope, so that permissions count.
class Unprivileged {
public:
    Unprivileged() : m_wasRoot(geteuid() == 0) {
        if (m_wasRoot && seteuid(65534) != 0) std::abort();
    }
    ~Unprivileged() {
        if (m_wasRoot && seteuid(0) != 0) std::abort();
    }
    Unprivileged(const Unprivileged&) = delete;
    Unprivileged& operator=(const Unprivileged&) = delete;

private:
    bool m_wasRoot;
};

}  // namespace test
