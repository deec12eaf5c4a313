// The settings of the logging system that come from the environment, its files, and the lines in them.
#include "fuzz/Fuzz.h"
#include "source_utilities/uLogSystem.h"

using namespace fuzz;
using ORM_LUX::uLogger;
using ORM_LUX::uLogSystem;

namespace {

// Takes what the pattern says from the front of the text: 9 is a digit, any other character itself.
void Take(std::string& text, std::string_view pattern) {
    Require(text.size() >= pattern.size());
    for (std::size_t n = 0; n < pattern.size(); ++n)
        Require(pattern[n] == '9' ? text[n] >= '0' && text[n] <= '9' : text[n] == pattern[n]);
    text.erase(0, pattern.size());
}

void CheckLine(uLogger& log, const std::string& path, bool isOn, Input& input) {
    const std::size_t before = ReadFile(path.c_str()).size();
    const unsigned level = input.Number();
    const int stamp = input.Number() % 6 - 1;
    std::string message = input.Text();
    for (unsigned doublings = input.Number() % 6; doublings != 0; --doublings) message += message;
    log.Log(level, static_cast<uLogger::TIME_DATE>(stamp), "%s", message.c_str());
    std::string line = ReadFile(path.c_str()).substr(before);
    if (!isOn || level == 0) return Require(line.empty());
    for (const auto& [bit, letter] : {std::pair(1U, 'M'), {2, 'W'}, {4, 'F'}, {8, 'A'}, {16, 'E'}})
        Take(line, {level & bit ? &letter : " ", 1});
    constexpr const char* kStamps[] = {" ", "99/99/99 | ", "99:99:99:999 | ", "99/99/99 99:99:99:999 | "};
    Take(line, std::string(" ") + kStamps[stamp >= 0 && stamp <= 3 ? stamp : 0]);
    Require(!line.empty() && line.back() == '\n');
    if (message.size() > 4000) return Require(message.compare(0, 4000, line, 0, 4000) == 0);
    const std::size_t size = message.size();
    const char last = size > 0 ? message[size - 1] : ' ', other = size > 1 ? message[size - 2] : ' ';
    if (last == '\n' || last == '\r')
        message.resize(size - (other != last && (other == '\n' || other == '\r') ? 2 : 1));
    Require(line == message + '\n');
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Folder folder;
    static const bool isReady = std::freopen("/dev/null", "w", stdout) != nullptr &&  // lines are echoed there
                                std::filesystem::create_directory("logs") && setenv("HOME", "/home/h", 1) == 0;
    Require(isReady);
    Input input(data, size);
    const unsigned directory = input.Number() % 6;
    const std::string setting = input.Text();
    std::string name = input.Text();
    std::replace(name.begin(), name.end(), '/', '_');
    if (name.size() > 100 || name.empty() || name == "." || name == ".." || name == "logs") name = "log.txt";
    constexpr const char* kDirectories[] = {nullptr, "", "logs", "logs/", "missing", "logs"};
    const char* const value = kDirectories[directory];
    value ? setenv("ORM_TRACE_LOGGING_DIR", value, 1) : unsetenv("ORM_TRACE_LOGGING_DIR");
    setting.empty() ? unsetenv("ORM_TRACE_LOGGING") : setenv("ORM_TRACE_LOGGING", setting.c_str(), 1);
    const std::string path = (value != nullptr && *value != '\0' ? value + std::string("/") : "") + name;

    const int level = static_cast<int>(std::strtol(setting.c_str(), nullptr, 10));
    const bool isOn = level >= 1 && level <= 6;
    constexpr int kLevels[] = {0, 1, 1, 2, 2, 2, 3};
    {
        uLogSystem system;
        Require(system.InitLog(name.c_str(), "ORM_TRACE_LOGGING", "ORM_TRACE_LOGGING_DIR", directory == 5));
        uLogger& log = *system.m_pLogger;
        Require(log.GetName() == path && log.m_outputEnabled == isOn);
        Require(system.m_loggingLevel == (isOn ? kLevels[level] : level));
        Require(log.m_logToStdio == (isOn && level != 1 && level != 3));
        Require(system.LookupLogger(name.c_str()) == (directory == 5 ? &log : nullptr));
        const bool isWritten = isOn && directory != 4;
        std::string lines = ReadFile(path.c_str());
        Require(lines.empty() == !isWritten);
        for (const char* const what : {"user settings", "temporary data"}) {
            if (!isWritten) break;
            Take(lines, std::string("M     99:99:99:999 | Logger : trace ") + what + " directory is ");
            lines.erase(0, lines.find('\n') + 1);
        }
        Require(lines.empty());
        for (int n = 0; n < 8 && !input.IsEmpty(); ++n) CheckLine(log, path, isWritten, input);
    }
    unlink(path.c_str());
    return 0;
}
