// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <ratio>

#include "orvel/platform/kernel_handle.h"
#include "orvel/threads/non_copyable.h"

namespace Orvel::Detail {

/// The system's unit of time.
using TimerTicks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;

inline constexpr TimerTicks kLongestDelay = std::chrono::hours(1000 * 365 * 24);

/// `delay` rounded up, but at most the longest; 0 for one that is negative or not a number.
template <class Rep, class Period>
[[nodiscard]] constexpr TimerTicks ToTimerTicks(const std::chrono::duration<Rep, Period>& delay) {
  using Seconds = std::chrono::duration<double>;
  if (!(delay > delay.zero())) return TimerTicks::zero();
  // Compared as seconds, because it may be too long to be expressed in the shorter unit.
  if (Seconds(delay) >= Seconds(kLongestDelay)) return kLongestDelay;
  return std::chrono::ceil<TimerTicks>(delay);
}

}  // namespace Orvel::Detail

/// How a timer that has fired falls back to unsignalled.
enum class MTimerReset {
  kAutomatic,  ///< by the wait that it releases
  kManual      ///< only when it is set again or cancelled
};

/// A timer of the system that is signalled when a time comes, once or again and again. To be waited
/// for by an `MEngineThread` (`AddEvent`) or an `MSchedulerThread` (`RegisterSchedulerEvent`),
/// whose handler then runs for each signal; declare the timer before the thread, which borrows its
/// handle.
///
///     MWaitableTimer timer;
///     MSchedulerThread thread;
///     thread.RegisterSchedulerEvent(timer.GetHandle(), MakeCallback([&] { LookForMail(); }));
///     thread.Start();
///     timer.SetPeriodic(std::chrono::seconds(5));
///
/// Setting a timer ends what it was set to before and takes back a signal that nobody has taken. It
/// is as accurate as the system's clock, about 16 ms either way as that is usually set; a handler
/// runs when its thread comes to it. A periodic timer does not wait for its handler, but has one
/// signal only: what was missed is not made up for.
///
/// Durations of any unit are taken, rounded up to the system's 100 ns, periods to milliseconds.
/// Delays below zero are zero, ones beyond 1,000 years count as 1,000 years. When the system's
/// clock is changed, a point in time that a timer waits for follows it; a delay does not.
///
/// Thread-safe: the operations may be called from any thread, handlers included. Each raises
/// "ErrorAccessingTimer" ("winErrorCode") when the system refuses; what the timer was set to stays.
class MWaitableTimer : public Orvel::Libraries::NonCopyable {
 public:
  /// A timer that is not set.
  explicit MWaitableTimer(MTimerReset reset = MTimerReset::kAutomatic);
  ~MWaitableTimer();

  /// Fires once, after `delay`; with zero at once.
  template <class Rep, class Period>
  void SetOnce(const std::chrono::duration<Rep, Period>& delay) {
    SetOnceTicks(Orvel::Detail::ToTimerTicks(delay));
  }
  /// Fires after `period` and each time that it has passed again. Raises "BadPeriod" ("periodMs")
  /// unless it is above zero and at most 2^31 - 1 milliseconds, some 24 days.
  template <class Rep, class Period>
  void SetPeriodic(const std::chrono::duration<Rep, Period>& period) {
    SetPeriodic(period, period);
  }
  /// The same, for the first time after `delay`, with zero at once.
  template <class Rep, class Period, class OtherRep, class OtherPeriod>
  void SetPeriodic(const std::chrono::duration<Rep, Period>& delay,
                   const std::chrono::duration<OtherRep, OtherPeriod>& period) {
    SetPeriodicTicks(Orvel::Detail::ToTimerTicks(delay), Orvel::Detail::ToTimerTicks(period));
  }
  /// Fires once, when the system's clock shows `time`; at once when that is past.
  void SetAt(std::chrono::system_clock::time_point time);

  /// Ends what the timer was set to and takes back its signal. A handler that runs already, or is
  /// about to on its own thread, is not kept from it; on that thread none runs afterwards.
  void Cancel();

  /// The handle to wait for; it is open as long as the timer lives. Only wait on it.
  [[nodiscard]] void* GetHandle() const noexcept { return timer_.Get(); }

 private:
  void SetOnceTicks(Orvel::Detail::TimerTicks delay);
  void SetPeriodicTicks(Orvel::Detail::TimerTicks delay, Orvel::Detail::TimerTicks period);

  const MTimerReset reset_;
  const Orvel::Detail::KernelHandle timer_;
};
