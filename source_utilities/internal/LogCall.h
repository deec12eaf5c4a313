// The one way in which the library writes a line to the log. Private to the library.
#pragma once

#include <atomic>

#include "source_utilities/uLogSystem.h"

namespace ORM_LUX {

// Returns: uLogSystem::GetLogSystem(), null if memory for it runs out.
uLogSystem* LogSystemOrNull() noexcept;

// Returns: the default logger when the logging level is above threshold, else null; null also if no logger was ever
//          created, so that later lines cannot fail because a start-up failed part-way.
inline uLogger* LoggerAbove(int threshold) noexcept {
    uLogSystem* system = std::atomic_ref<uLogSystem*>(uLogSystem::m_pSystem).load(std::memory_order_acquire);
    if (system == nullptr) system = LogSystemOrNull();
    if (system == nullptr) return nullptr;
    if (std::atomic_ref<int>(system->m_loggingLevel).load(std::memory_order_relaxed) <= threshold) return nullptr;
    return std::atomic_ref<uLogger*>(system->m_pLogger).load(std::memory_order_acquire);
}

}  // namespace ORM_LUX

// Evaluates the format's arguments, formats and writes only when the level is above threshold.
#define ORM_LOG_ABOVE(threshold, level, stamp, ...)                              \
    do {                                                                         \
        if (ORM_LUX::uLogger* const ormLogger = ORM_LUX::LoggerAbove(threshold)) \
            ormLogger->Log((level), (stamp), __VA_ARGS__);                       \
    } while (false)

// An ordinary line, an error line, and the line for the entry of a function. The line number in the last one is part of
// its text, by which hosts filter; it is not updated with the source.
#define ORM_LOG_TRACE(...) ORM_LOG_ABOVE(0, ORM_LUX::uLogger::LOG_M, ORM_LUX::uLogger::TD_TIME, __VA_ARGS__)
#define ORM_LOG_ERROR(...) ORM_LOG_ABOVE(0, ORM_LUX::uLogger::LOG_E, ORM_LUX::uLogger::TD_TIME, __VA_ARGS__)
#define ORM_LOG_ENTRY(source, line, function) \
    ORM_LOG_ABOVE(2, ORM_LUX::uLogger::LOG_F, ORM_LUX::uLogger::TD_NONE, "%s #%d  %s(...)\n", source, line, function)
