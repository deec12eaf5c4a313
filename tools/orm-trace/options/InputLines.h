// Standard input, line by line.
#pragma once

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>

#include "capture/Error.h"

namespace orm_trace {

class InputLines {
public:
    InputLines() = default;
    InputLines(const InputLines&) = delete;
    InputLines& operator=(const InputLines&) = delete;
    ~InputLines() { std::free(m_line); }

    // Returns: the next line, without its end, valid until the next call; nothing at the end of the input.
    // Errors:  Error.
    std::optional<std::string_view> Next() {
        const ssize_t length = getline(&m_line, &m_size, stdin);
        if (length < 0) {
            if (std::ferror(stdin)) throw Error(ErrorKind::kFailed, "standard input", std::strerror(errno));
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
    char* m_line = nullptr;
    std::size_t m_size = 0;
    std::size_t m_number = 0;
};

}  // namespace orm_trace
