// The calendar's cumulative day counts. Private to the library.
#pragma once

#include <array>

namespace ORM_LUX {

// Entry k is the number of days in the months before month k + 1; entry 12 is the length of the year.
inline constexpr std::array<unsigned int, 13> YDAYS{0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365};
inline constexpr std::array<unsigned int, 13> YDAYS_LEAP{0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335, 366};

// Returns: the table of a year, by the rules of the Gregorian calendar.
inline constexpr const std::array<unsigned int, 13>& CumulativeDays(long year) noexcept {
    const bool isLeap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return isLeap ? YDAYS_LEAP : YDAYS;
}

}  // namespace ORM_LUX
