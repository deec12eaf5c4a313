// A text file, line by line.
#pragma once

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "capture/Error.h"
#include "tdf/FileIO.h"

namespace orm_trace {

class InputLines {
public:
    // A path of - is standard input. A pipe is waited for. Errors: Error (kInput): the file cannot be opened.
    explicit InputLines(const std::string& path = "-")
        : m_name(path == "-" ? "standard input" : path),
          m_own(path == "-" ? nullptr : std::fopen(path.c_str(), "rbe")),
          m_stream(path == "-" ? stdin : m_own.get()) {
        if (m_stream == nullptr) throw MakeSystemError(ErrorKind::kInput, m_name, errno);
    }
    InputLines(const InputLines&) = delete;
    InputLines& operator=(const InputLines&) = delete;
    ~InputLines() { std::free(m_line); }

    // Returns: the next line, without its end, valid until the next call; nothing at the end of the file.
    // Errors:  Error (kInput).
    std::optional<std::string_view> Next() {
        const ssize_t length = getline(&m_line, &m_size, m_stream);
        if (length < 0) {
            if (std::ferror(m_stream)) throw MakeSystemError(ErrorKind::kInput, m_name, errno);
            return std::nullopt;
        }
        ++m_number;
        std::string_view line(m_line, static_cast<std::size_t>(length));
        while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.remove_suffix(1);
        return line;
    }
    // Returns: of the line given last, from 1.
    std::size_t Number() const noexcept { return m_number; }

private:
    std::string m_name;
    Orm::Lux::Trace::FilePtr m_own;
    std::FILE* m_stream;
    char* m_line = nullptr;
    std::size_t m_size = 0;
    std::size_t m_number = 0;
};

}  // namespace orm_trace
