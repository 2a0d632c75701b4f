// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace Orvel::Detail {

/// Wall-clock time: seconds since 1970-01-01 00:00 UTC, and the milliseconds beyond them.
struct WallClockTime {
  std::int64_t seconds = 0;
  std::uint16_t milliseconds = 0;
};

/// One moment in both clocks, from which a value of the performance counter can be converted to a
/// time of day.
struct ClockReference {
  std::int64_t frequency = 0;  ///< ticks of the performance counter in a second
  std::int64_t counter = 0;    ///< the performance counter at that moment
  WallClockTime time;          ///< the time of day at that moment
};

[[nodiscard]] WallClockTime ReadWallClock() noexcept;
/// Sets `text` to the local date and time of `seconds` since 1970 as the C runtime writes it, with
/// a line feed at its end ("Tue Nov 24 13:00:00 2026\n"). Returns false, with `text` unchanged,
/// when it cannot be expressed.
[[nodiscard]] bool FormatWallClock(std::int64_t seconds, std::string& text);

/// Return the ticks of the high-resolution performance counter, and how many of them are a second.
[[nodiscard]] std::int64_t ReadPerformanceCounter() noexcept;
[[nodiscard]] std::int64_t ReadPerformanceFrequency() noexcept;

}  // namespace Orvel::Detail
