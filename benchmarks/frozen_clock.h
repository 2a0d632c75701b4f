// SPDX-License-Identifier: MIT
#pragma once

/// While it exists, the performance counter stands still for the whole program and costs only a
/// call, so that an operation can be measured without reading the clock.
///
/// Works by redirecting this program's import of the counter. One at a time, and no other thread
/// may start or end to use the counter meanwhile.
class FrozenClock {
 public:
  FrozenClock() noexcept;
  FrozenClock(const FrozenClock&) = delete;
  FrozenClock& operator=(const FrozenClock&) = delete;
  ~FrozenClock();

  /// Seconds since construction, by the real counter.
  [[nodiscard]] double GetRealSeconds() const noexcept;

 private:
  long long start_;
};
