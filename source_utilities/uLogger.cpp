#include "source_utilities/uLogger.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/time.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>

#include "source_utilities/internal/LogCall.h"
#include "source_utilities/internal/ScopedLock.h"
#include "source_utilities/internal/SharedTimeMutex.h"
#include "source_utilities/internal/WriteLine.h"
#include "source_utilities/uTime.h"

namespace ORM_LUX {
namespace {

// Flags that a thread sets while others log.
bool IsSet(const bool& flag) { return std::atomic_ref<bool>(const_cast<bool&>(flag)).load(std::memory_order_relaxed); }
bool Exchange(bool& flag, bool value) { return std::atomic_ref<bool>(flag).exchange(value, std::memory_order_relaxed); }

// The modes in which a log is opened, without and with append. Each exists twice: which of the two equal texts
// m_file.m_mode points to says whether the file ends in part of a line. No other field has room for that, and hosts see
// the same text.
constexpr char kModes[2][2][sizeof("a+")] = {{"w+", "a+"}, {"w+", "a+"}};

bool EndsInPart(const uFile& file) { return file.m_mode == kModes[1][0] || file.m_mode == kModes[1][1]; }

// Lines go to the end of the file wherever the host has moved the stream, even if the file was not opened for
// appending.
void AppendAlways(const uFile& file) {
    const int descriptor = fileno(file.m_stream);
    const int flags = fcntl(descriptor, F_GETFL);
    if (flags >= 0) fcntl(descriptor, F_SETFL, flags | O_APPEND);
}

// A style of time stamp, with the text for the current second: the calendar is used once per second, not once per line.
struct StampStyle {
    const char* calendarFormat;
    std::size_t milliSeconds;  // where their digits are in the text, 0 if it has none
    time_t second = -1;        // that text is for
    std::array<char, 32> text{};
    int length = 0;
};

// Copies a text of length characters, in an array that may be longer, to buf of size bytes, cut to fit.
template <std::size_t N> int Put(char* buf, int size, const std::array<char, N>& text, int length) {
    const int fitting = std::min(length, size - 1);
    if (size > static_cast<int>(N)) {
        std::memcpy(buf, text.data(), N);  // a known size, which is faster
    } else {
        std::memcpy(buf, text.data(), static_cast<std::size_t>(fitting));
    }
    buf[fitting] = '\0';
    return fitting;
}

// Formats as vsnprintf does, and faster, when the text fits and all conversions are %d, %i, %u or %s.
// Returns: the length of the text; negative for vsnprintf to do it.
[[gnu::format(printf, 3, 0)]] int FormatPlain(char* buf, int size, const char* format, va_list args) {
    char* at = buf;
    char* const end = buf + size;
    const auto put = [&](const char* text, std::size_t length) {
        if (length >= static_cast<std::size_t>(end - at)) return false;
        std::memcpy(at, text, length);
        at += length;
        return true;
    };
    const auto putNumber = [&](auto number) {
        const auto [digitsEnd, error] = std::to_chars(at, end, number);
        at = digitsEnd;
        return error == std::errc();
    };
    while (true) {
        const char* const next = strchrnul(format, '%');
        if (!put(format, static_cast<std::size_t>(next - format))) return -1;
        if (*next == '\0') break;
        bool isPut = false;
        if (next[1] == 'd' || next[1] == 'i') {
            isPut = putNumber(va_arg(args, int));
        } else if (next[1] == 'u') {
            isPut = putNumber(va_arg(args, unsigned));
        } else if (next[1] == 's') {
            const char* const text = va_arg(args, const char*);
            isPut = text != nullptr && put(text, std::strlen(text));
        }
        if (!isPut) return -1;
        format = next + 2;
    }
    *at = '\0';
    return static_cast<int>(at - buf);
}

}  // namespace

uLogger::uLogger() : uLogger(nullptr, false) { SetFileName("KVB_log.txt", false); }

uLogger::uLogger(const char* fileName, bool append)
    : m_file(fileName, nullptr),
      m_fileName(fileName != nullptr ? fileName : ""),
      m_outputEnabled(true),
      m_logToStdio(false),
      m_logDbgOutWindow(false),
      m_append(append),
      m_nameValid(true),
      m_fileOpen(false),
      m_bufSize(kLineBufferSize),
      m_pBuf(new char[kLineBufferSize]),
      m_levelMask(LOG_M | LOG_W | LOG_F | LOG_A | LOG_E) {}

uLogger::~uLogger() {
    CloseFile();
    delete[] m_pBuf;
}

bool uLogger::SetFileName(const char* fileName, bool append) {
    const ScopedLock lock(m_mutex);
    try {
        m_fileName = fileName != nullptr ? fileName : "";
    } catch (...) {  // out of memory
        return m_fileOpen;
    }
    m_append = append;
    if (m_fileOpen) {
        CloseFile();
        OpenFile();
    }
    return m_fileOpen;
}

bool uLogger::OpenFile() {
    m_file.Close();
    const bool endsInPart = m_append && EndsInPart(m_file) && m_file.m_path == m_fileName;
    m_fileOpen = m_file.Open(m_fileName.c_str(), kModes[endsInPart][m_append]);
    if (m_fileOpen) AppendAlways(m_file);
    return m_fileOpen;
}

bool uLogger::CloseFile() {
    m_fileOpen = false;
    return m_file.Close();
}

bool uLogger::EnableOutput(bool on) {
    const ScopedLock lock(m_mutex);
    const bool before = Exchange(m_outputEnabled, on);
    if (!on) CloseFile();
    return before;
}

void uLogger::EnableLogToStdio(bool on) { Exchange(m_logToStdio, on); }

void uLogger::EnableLogDbgOutWindow(bool on) { Exchange(m_logDbgOutWindow, on); }

void uLogger::Clear() {
    const ScopedLock lock(m_mutex);
    m_file.Erase();
    m_fileOpen = m_file.IsOpen();
    if (!m_fileOpen) return;
    AppendAlways(m_file);
    if (EndsInPart(m_file) && m_file.GetSize() == 0) m_file.m_mode = kModes[0][m_append];
}

void uLogger::Flush() {
    const ScopedLock lock(m_mutex);
    m_file.Flush();
}

const char* uLogger::GetName() const { return m_nameValid ? m_fileName.c_str() : ""; }

void uLogger::Log(unsigned level, TIME_DATE td, const char* format, ...) {
    va_list args;
    va_start(args, format);
    Log(level, td, format, args);
    va_end(args);
}

void uLogger::Log(unsigned level, TIME_DATE td, const char* format, va_list& args) {
    if (!IsSet(m_outputEnabled) || level == 0 || m_levelMask == 0 || format == nullptr) return;
    const int error = errno;  // the host's, which the message may show and logging must not change
    const ScopedLock lock(m_mutex);
    int length = SprintfLevel(level, m_pBuf, m_bufSize);
    length += SprintfCurrentTime(m_pBuf + length, m_bufSize - length, td);
    errno = error;
    va_list copy;
    va_copy(copy, args);
    const int formatted = FormatPlain(m_pBuf + length, m_bufSize - length, format, copy);
    va_end(copy);
    if (formatted >= 0) {
        length += formatted;
    } else {
        m_pBuf[length] = '\0';
        std::vsnprintf(m_pBuf + length, static_cast<std::size_t>(m_bufSize - length), format, args);
        length += static_cast<int>(std::strlen(m_pBuf + length));
    }
    // A text that fills the buffer is cut to make room for the newline, unless it ends in one.
    if (length == m_bufSize - 1 && m_pBuf[length - 1] != '\n' && m_pBuf[length - 1] != '\r') --length;
    AddToLog(m_pBuf, length);
    errno = error;
}

void uLogger::Log(const char* format, ...) {
    va_list args;
    va_start(args, format);
    Log(format, args);
    va_end(args);
}

void uLogger::Log(const char* format, va_list& args) { Log(LOG_M, TD_NONE, format, args); }

void uLogger::LogTimeStamp() { Log(LOG_M, TD_DATE_TIME, "\n"); }

void uLogger::LogModuleInfo() {
    Dl_info info{};
    const char* name = "";
    if (dladdr(reinterpret_cast<void*>(&uLogger::LogModuleInfo), &info) != 0 && info.dli_fname != nullptr) {
        const char* slash = std::strrchr(info.dli_fname, '/');
        if (slash != nullptr) name = slash + 1;
    }
    if (uLogger* logger = LoggerAbove(0)) logger->Log("MODULE INFO - %s", name);
}

int uLogger::SprintfTime(char* buf, int size, const tm* t) {
    if (buf == nullptr || size < 1 || t == nullptr) return 0;
    return static_cast<int>(std::strftime(buf, static_cast<std::size_t>(size), "%m/%d/%y %H:%M:%S", t));
}

int uLogger::SprintfLevel(unsigned level, char* buf, int size) {
    if (buf == nullptr || size < 1) return 0;
    const auto letter = [level](unsigned bit, char c) { return (level & bit) != 0 ? c : ' '; };
    const std::array<char, 6> block{letter(LOG_M, 'M'), letter(LOG_W, 'W'), letter(LOG_F, 'F'),
                                    letter(LOG_A, 'A'), letter(LOG_E, 'E'), ' '};
    return Put(buf, size, block, static_cast<int>(block.size()));
}

int uLogger::SprintfCurrentTime(char* buf, int size, TIME_DATE td) {
    // Guarded by SharedTimeMutex, like the time that they show.
    static std::array<StampStyle, 3> styles{
        {{"%m/%d/%y | ", 0}, {"%H:%M:%S:000 | ", 9}, {"%m/%d/%y %H:%M:%S:000 | ", 18}}};
    if (buf == nullptr || size < 1) return 0;
    if (td < TD_DATE || td > TD_DATE_TIME) return Put(buf, size, std::array<char, 1>{' '}, 1);

    const ScopedLock lock(SharedTimeMutex());
    timeval clock{};
    gettimeofday(&clock, nullptr);
    uTime now;
    uTime::m_milli = static_cast<unsigned int>(clock.tv_usec / 1000);
    StampStyle& style = styles[static_cast<std::size_t>(td - TD_DATE)];
    if (style.second != clock.tv_sec) {
        now.GetLocal();
        now.FormatTime(style.text.data(), static_cast<int>(style.text.size()), style.calendarFormat);
        style.length = static_cast<int>(std::strlen(style.text.data()));
        style.second = clock.tv_sec;
    }
    if (style.milliSeconds != 0) {
        const auto digit = [](unsigned int n) { return static_cast<char>('0' + n % 10); };
        const unsigned int milli = now.GetMilliSecond();
        const std::array<char, 3> digits{digit(milli / 100), digit(milli / 10), digit(milli)};
        std::memcpy(style.text.data() + style.milliSeconds, digits.data(), digits.size());
    }
    return Put(buf, size, style.text, style.length);
}

int uLogger::AddToLog(char* line, int length) {
    if (!IsSet(m_outputEnabled)) return length;
    if (!m_fileOpen) OpenFile();
    length = LineEnd(line, length);
    bool isWritten = false;
    if (m_file.IsOpen()) {
        const ScopedLock lock(m_file.m_lock);
        const bool endedInPart = EndsInPart(m_file);
        bool endsInPart = endedInPart;
        isWritten = WriteLine(m_file.m_stream, line, static_cast<std::size_t>(length), endsInPart);
        if (endsInPart != endedInPart) m_file.m_mode = kModes[endsInPart][m_append];
    }
    if (IsSet(m_logToStdio)) {
        PrintLine(line, static_cast<std::size_t>(length));
        isWritten = true;
    }
    return isWritten ? length : 0;
}

int uLogger::LineEnd(char* line, int length) {
    if (length <= 0) length = static_cast<int>(std::strlen(line));
    const auto drop = [&](char end) {
        const bool found = length > 0 && line[length - 1] == end;
        if (found) --length;
        return found;
    };
    if (drop('\n')) {
        drop('\r');
    } else if (drop('\r')) {
        drop('\n');
    }
    line[length++] = '\n';
    line[length] = '\0';
    return length;
}

}  // namespace ORM_LUX
