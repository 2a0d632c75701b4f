// SPDX-License-Identifier: MIT
#include "orvel/platform/clocks.h"

#include <time.h>

#include <chrono>
#include <iterator>

#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {

WallClockTime ReadWallClock() noexcept {
  using std::chrono::milliseconds;
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const auto seconds = std::chrono::floor<std::chrono::seconds>(now);
  return {seconds.count(),
          static_cast<std::uint16_t>(std::chrono::floor<milliseconds>(now - seconds).count())};
}

bool FormatWallClock(std::int64_t seconds, std::string& text) {
  const __time64_t time = seconds;
  char buffer[26];  // the C runtime's fixed form, with its terminating zero
  if (::_ctime64_s(buffer, std::size(buffer), &time) != 0) return false;
  text = buffer;
  return true;
}

std::int64_t ReadPerformanceCounter() noexcept {
  LARGE_INTEGER counter;
  ::QueryPerformanceCounter(&counter);
  return counter.QuadPart;
}

std::int64_t ReadPerformanceFrequency() noexcept {
  LARGE_INTEGER frequency;
  ::QueryPerformanceFrequency(&frequency);
  return frequency.QuadPart;
}

}  // namespace Orvel::Detail
