// What the fuzz targets share: reading the input, failing, files in memory, and a second walk over the sections of a
// TDF file, which knows nothing of the library's.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

// Ends the process, for the fuzzer to keep the input, unless what must hold does.
inline void Require(bool holds, int line = __builtin_LINE(), const char* file = __builtin_FILE()) {
    if (holds) return;
    std::fprintf(stderr, "%s:%d: this does not hold\n", file, line);
    __builtin_trap();
}

// Takes values from the front of an input; after its end everything is 0 or empty.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : m_rest(reinterpret_cast<const char*>(data), size) {}

    template <class T = std::uint8_t> T Number() {
        std::uint64_t value = 0;
        for (std::size_t n = 0; n < sizeof(T) && !m_rest.empty(); ++n, m_rest.remove_prefix(1))
            value |= std::uint64_t{static_cast<unsigned char>(m_rest[0])} << (8 * n);
        return static_cast<T>(value);
    }
    std::string_view Bytes(std::size_t count) {
        const std::string_view bytes = m_rest.substr(0, count);
        m_rest.remove_prefix(bytes.size());
        return bytes;
    }
    // A text without a zero byte, after a byte with its length.
    std::string Text() { return std::string(Bytes(Number())).c_str(); }
    std::string_view Rest() { return Bytes(m_rest.size()); }
    bool IsEmpty() const { return m_rest.empty(); }

private:
    std::string_view m_rest;
};

// A folder in memory that is the working directory, and gone when the process ends in order.
class Folder {
public:
    Folder() {
        Require(mkdtemp(m_path.data()) != nullptr);
        std::filesystem::current_path(m_path);
    }
    ~Folder() { std::filesystem::remove_all(m_path); }
    const std::string& Path() const { return m_path; }

private:
    std::string m_path = std::string(access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp") + "/orm-fuzz-XXXXXX";
};

inline void WriteFile(const char* path, std::string_view bytes) {
    const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    Require(write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
    close(file);
}

inline std::string ReadFile(const char* path) {
    std::string bytes;
    const int file = open(path, O_RDONLY);
    if (file < 0) return bytes;
    bytes.resize(static_cast<std::size_t>(lseek(file, 0, SEEK_END)));
    Require(pread(file, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
    close(file);
    return bytes;
}

// The text of the error that call throws, "" when it throws none.
template <class Call> std::string ErrorOf(Call call) {
    try {
        call();
    } catch (const std::exception& error) {
        return error.what();
    }
    return "";
}

inline std::uint64_t Le32(std::string_view bytes, std::size_t at) {
    Input field(reinterpret_cast<const std::uint8_t*>(bytes.data()) + at, 4);
    return field.Number<std::uint32_t>();
}
inline std::string Le32(std::size_t value) {
    std::string text;
    for (int n = 0; n < 32; n += 8) text += static_cast<char>(value >> n);
    return text;
}

// Whether words of this type are receiver time stamps.
inline bool IsStampType(std::uint64_t type) {
    return std::string_view("\x88\x90\x98\xA0\xB0\xC0\xC8\xD8\xE0\xE8").find(static_cast<char>(type)) !=
           std::string_view::npos;
}

struct Section {
    std::uint64_t offset, length, version;
    std::string_view name;
    std::uint64_t Data() const { return offset + 12 + name.size(); }
    std::uint64_t DataLength() const { return length - 12 - name.size(); }
    std::uint64_t End() const { return offset + length; }
};

// The sections that readers follow in these bytes, which lie at `base` of a file that zeros follow up to `size`.
inline std::vector<Section> Walk(std::string_view bytes, std::size_t base, std::size_t size, std::size_t start) {
    std::vector<Section> sections;
    for (std::uint64_t at = start; at >= base && at - base < bytes.size() && size - at >= 12;) {
        const std::size_t in = at - base;
        std::string header(bytes.substr(in, 12));
        header.resize(12);
        const std::uint64_t length = Le32(header, 0), nameLength = Le32(header, 8);
        if (length > 0x8000000 || nameLength > 4095 || length < 12 + nameLength) break;
        if (at + length > 0xFFFFFFFF || nameLength > size - at - 12) break;
        const std::string_view name = bytes.substr(std::min(in + 12, bytes.size()), nameLength);
        sections.push_back({at, length, Le32(header, 4), name});
        if (name.size() < nameLength)
            sections.back().name = {nullptr, nameLength};  // it has zeros from after the bytes
        at += length;
    }
    return sections;
}
inline std::vector<Section> Walk(std::string_view file) { return Walk(file, 0, file.size(), 4); }

// The section that a lookup finds, null when there is none.
inline const Section* Find(const std::vector<Section>& sections, std::string_view name, std::uint64_t version) {
    const auto found = std::find_if(sections.begin(), sections.end(),
                                    [&](const auto& each) { return each.name == name && each.version == version; });
    return found != sections.end() ? &*found : nullptr;
}

}  // namespace fuzz
