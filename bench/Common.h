// Code that the benchmarks share.
//
// A benchmark is named WORK/PARTICIPANT, where WORK may have several parts. The participants of one work do equivalent
// work and are compared with each other:
//   library    this library;
//   limit      the bare system calls for the work;
//   peer:NAME  an alternative library.
// Works named "Growth/WHAT/SIZE" are compared with each other instead.
// Differences that make a comparison unequal are noted at the participant, and in ratios.py.
#pragma once

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>

#include "driver/CChannelDriver.h"

namespace bench {

inline constexpr std::uint64_t kMebibyte = std::uint64_t{1} << 20;

// The directory for the files of this process, new in TMPDIR and removed when the process ends. Creating it also keeps
// the library from logging and from creating its directories in the user's home.
inline const std::filesystem::path& Directory() {
    struct Owner {
        std::filesystem::path path;
        Owner() {
            std::string name = (std::filesystem::temp_directory_path() / "orm-bench-XXXXXX").string();
            if (mkdtemp(name.data()) == nullptr) throw std::system_error(errno, std::generic_category(), name);
            path = name;
            setenv("HOME", name.c_str(), 1);
            unsetenv("ORM_TRACE_LOGGING");
        }
        ~Owner() {
            std::error_code ignored;
            std::filesystem::remove_all(path, ignored);
        }
        Owner(const Owner&) = delete;
        Owner& operator=(const Owner&) = delete;
    };
    static const Owner owner;
    return owner.path;
}

inline std::string PathOf(const std::string& name) { return (Directory() / name).string(); }

inline void Require(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
}

// Random numbers, the same for the same seed, which must not be 0.
class Random {
public:
    explicit Random(std::uint64_t seed) : m_state(seed * 0x9E3779B97F4A7C15) {}

    std::uint32_t Below(std::uint32_t limit) {
        m_state ^= m_state << 13;
        m_state ^= m_state >> 7;
        m_state ^= m_state << 17;
        return static_cast<std::uint32_t>(((m_state >> 32) * limit) >> 32);
    }

private:
    std::uint64_t m_state;
};

class Descriptor {
public:
    Descriptor(const std::string& path, int flags) : m_value(open(path.c_str(), flags | O_CLOEXEC, 0600)) {
        Require(m_value >= 0, "cannot open a file");
    }
    ~Descriptor() { close(m_value); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    operator int() const { return m_value; }

private:
    int m_value;
};

struct FileCloser {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

inline FilePtr Open(const std::string& path, const char* mode) {
    FilePtr stream(std::fopen(path.c_str(), mode));
    Require(stream != nullptr, "cannot open a file");
    return stream;
}

inline void Write(std::FILE* stream, const void* data, std::size_t size) {
    Require(std::fwrite(data, 1, size, stream) == size, "cannot write a file");
}

// Writes the identifier of a TDF file, and the header of a section. The machine is little-endian, like the format.
inline void WriteTDFIdentifier(std::FILE* stream) { Write(stream, "TDF2", 4); }

inline void WriteSectionHeader(std::FILE* stream, const std::string& name, std::uint32_t version,
                               std::uint32_t dataLength) {
    const auto nameLength = static_cast<std::uint32_t>(name.size());
    const std::uint32_t fields[] = {12 + nameLength + dataLength, version, nameLength};
    Write(stream, fields, sizeof fields);
    Write(stream, name.data(), name.size());
}

// A driver as a host has it: created by the factory, used through the abstract interface.
struct DriverDestroyer {
    void operator()(Orm::Lux::Trace::CChannelDriver* driver) const { DestroyChannelDriver(driver); }
};
using DriverPtr = std::unique_ptr<Orm::Lux::Trace::CChannelDriver, DriverDestroyer>;

inline constexpr auto kFileType = static_cast<Orm::Lux::Trace::eTraceDataFileType>(0);

inline DriverPtr LoadedDriver(const std::string& file) {
    Directory();  // prepares the environment
    DriverPtr driver(CreateChannelDriver());
    driver->LoadFile(file, 0, kFileType);
    return driver;
}

// Each registers the benchmarks of its unit.
void RegisterFind();
void RegisterLog();
void RegisterCommands();
void RegisterRead();
void RegisterSave();
void RegisterStamp();

}  // namespace bench
