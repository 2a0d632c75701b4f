// SPDX-License-Identifier: MIT
#pragma once

/// While it exists, the performance counter stands still for the whole program and costs a call and
/// nothing more: what is left of an operation is then its own. Tells the real time that passed.
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
