#include "source_utilities/uFile.h"

#include "source_utilities/internal/OpenDescriptor.h"
#include "source_utilities/internal/ScopedLock.h"

namespace ORM_LUX {

uFile::uFile(const char* path, const char* mode)
    : m_isOpen(false), m_path(path != nullptr ? path : ""), m_mode(mode), m_stream(nullptr) {}

uFile::~uFile() = default;

bool uFile::Open(const char* path, const char* mode) {
    m_mode = mode;
    try {
        if (path != nullptr && m_path != path) m_path = path;
    } catch (...) {  // out of memory
        m_isOpen = false;
        return false;
    }
    return OpenInternal(m_path.c_str(), m_mode);
}

bool uFile::Open() {
    if (m_path.empty() || m_mode == nullptr) return false;
    return OpenInternal(m_path.c_str(), m_mode);
}

bool uFile::OpenInternal(const char* path, const char* mode) {
    if (mode == nullptr || *mode == '\0') mode = "r";
    m_stream = path != nullptr ? OpenStream(path, mode) : nullptr;
    m_isOpen = m_stream != nullptr;
    return IsOpen();
}

bool uFile::Close() {
    m_isOpen = false;
    const ScopedLock lock(m_lock);
    if (m_stream == nullptr) return false;
    std::fclose(m_stream);
    m_stream = nullptr;
    return true;
}

bool uFile::IsOpen() const { return m_isOpen; }

void uFile::Erase() {
    if (m_stream == nullptr || m_path.empty()) return;
    const bool wasOpen = IsOpen();
    if (wasOpen) Close();
    if (OpenInternal(m_path.c_str(), "w")) Close();
    if (wasOpen) Open();
}

const char* uFile::GetPath() const { return m_path.c_str(); }

const char* uFile::GetOpenMode() const { return m_mode; }

unsigned long uFile::Read(void* buffer, unsigned long size) {
    if (!IsOpen() || buffer == nullptr) return 0;
    const ScopedLock lock(m_lock);
    return std::fread(buffer, 1, size, m_stream);
}

unsigned int uFile::Write(const void* buffer, unsigned long size) {
    if (!IsOpen() || buffer == nullptr) return 0;
    const ScopedLock lock(m_lock);
    return static_cast<unsigned int>(std::fwrite(buffer, 1, size, m_stream));
}

bool uFile::WriteString(const char* text) {
    if (!IsOpen() || text == nullptr) return false;
    const ScopedLock lock(m_lock);
    return std::fputs(text, m_stream) >= 0;
}

bool uFile::ReadString(char* buffer, unsigned long size) {
    if (!IsOpen() || buffer == nullptr) return false;
    const ScopedLock lock(m_lock);
    // With room for the terminator only, fgets() succeeds at the end of the file too.
    return std::fgets(buffer, static_cast<int>(size), m_stream) != nullptr && static_cast<int>(size) > 1;
}

long uFile::Printf(const char* format, ...) {
    va_list args;
    va_start(args, format);
    const long written = Printf(format, args);
    va_end(args);
    return written;
}

long uFile::Printf(const char* format, va_list& args) {
    if (!IsOpen()) return 0;
    const ScopedLock lock(m_lock);
    return std::vfprintf(m_stream, format, args);
}

bool uFile::Flush() {
    if (!IsOpen()) return false;
    const ScopedLock lock(m_lock);
    return std::fflush(m_stream) == 0;
}

bool uFile::SeekToBegin() {
    if (!IsOpen()) return false;
    const ScopedLock lock(m_lock);
    std::rewind(m_stream);
    return true;
}

bool uFile::SeekToEnd() {
    if (!IsOpen()) return false;
    const ScopedLock lock(m_lock);
    return std::fseek(m_stream, 0, SEEK_END) == 0;
}

bool uFile::GetPosition(fpos_t& position) {
    if (!IsOpen()) return false;
    const ScopedLock lock(m_lock);
    return std::fgetpos(m_stream, &position) == 0;
}

bool uFile::SetPosition(fpos_t position) {
    if (!IsOpen()) return false;
    const ScopedLock lock(m_lock);
    return std::fsetpos(m_stream, &position) == 0;
}

bool uFile::IsEof() const { return IsOpen() && std::feof(m_stream) != 0; }

bool uFile::IsError() const { return !IsOpen() || std::ferror(m_stream) != 0; }

void uFile::ClearError() {
    if (IsOpen()) std::clearerr(m_stream);
}

long uFile::GetSize() {
    const ScopedLock lock(m_lock);
    fpos_t start{};
    fpos_t end{};
    if (!GetPosition(start) || !SeekToEnd() || !GetPosition(end)) return 0;
    SetPosition(start);
    return DifferenceFILEPOS(end, start);
}

void uFile::ZeroFILEPOS(fpos_t& position) { position.__pos = 0; }

long uFile::DifferenceFILEPOS(fpos_t a, fpos_t b) {
    return static_cast<long>(static_cast<unsigned long>(a.__pos) - static_cast<unsigned long>(b.__pos));
}

}  // namespace ORM_LUX
