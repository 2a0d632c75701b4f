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

inline constexpr TimerTicks kMaxTimerDelay = std::chrono::hours(1000 * 365 * 24);

/// Returns `delay` rounded up, at most the longest; 0 when it is negative or not a number.
template <class Rep, class Period>
[[nodiscard]] constexpr TimerTicks ToTimerTicks(const std::chrono::duration<Rep, Period>& delay) {
  using Seconds = std::chrono::duration<double>;
  if (!(delay > delay.zero())) return TimerTicks::zero();
  // Compared as seconds, because it may be too long to be expressed in the shorter unit.
  if (Seconds(delay) >= Seconds(kMaxTimerDelay)) return kMaxTimerDelay;
  return std::chrono::ceil<TimerTicks>(delay);
}

}  // namespace Orvel::Detail

/// What resets a timer that has fired.
enum class MTimerReset {
  kAutomatic,  ///< the wait that it ends
  kManual      ///< only setting it again or cancelling it
};

/// A timer of the system, which is signalled at a set time, once or periodically. Give its handle
/// to an `MEngineThread` (`AddEvent`) or an `MSchedulerThread` (`RegisterSchedulerEvent`), whose
/// handler then runs for each signal. The thread borrows the handle, so declare the timer before
/// it.
///
///     MWaitableTimer timer;
///     MSchedulerThread thread;
///     thread.RegisterSchedulerEvent(timer.GetHandle(), MakeCallback([&] { LookForMail(); }));
///     thread.Start();
///     timer.SetPeriodic(std::chrono::seconds(5));
///
/// Setting a timer replaces its earlier setting and clears a signal that no wait has taken; Wine 8
/// clears only that of a manual timer. It is as accurate as the system's clock, usually about 16 ms
/// early or late; the handler runs when its thread gets to it. A periodic timer does not wait for
/// its handler and has only one signal: a handler that takes longer than a period is not called
/// again for the periods that it missed.
///
/// Durations may be of any unit. Delays are rounded up to 100 ns, periods to milliseconds. Delays
/// below zero count as zero, those beyond 1,000 years as 1,000 years. A timer that was set to a
/// point in time follows changes of the system's clock; one that was set to a delay does not.
///
/// Thread-safe: the operations may be called from any thread, handlers included. Each raises
/// "ErrorAccessingTimer" ("winErrorCode") when the system refuses; the timer's setting is then
/// unchanged.
class MWaitableTimer : public Orvel::Libraries::NonCopyable {
 public:
  /// Creates a timer that is not set. Raises "ErrorAccessingTimer" ("winErrorCode").
  explicit MWaitableTimer(MTimerReset reset = MTimerReset::kAutomatic);
  ~MWaitableTimer();

  /// Fires once, after `delay`; at once when it is zero.
  template <class Rep, class Period>
  void SetOnce(const std::chrono::duration<Rep, Period>& delay) {
    SetOnceTicks(Orvel::Detail::ToTimerTicks(delay));
  }
  /// Fires after `period` and then once in each period. Raises "BadPeriod" ("periodMs") unless the
  /// period is above zero and at most 2^31 - 1 milliseconds, some 24 days.
  template <class Rep, class Period>
  void SetPeriodic(const std::chrono::duration<Rep, Period>& period) {
    SetPeriodic(period, period);
  }
  /// The same, but fires for the first time after `delay`, at once when it is zero.
  template <class Rep, class Period, class OtherRep, class OtherPeriod>
  void SetPeriodic(const std::chrono::duration<Rep, Period>& delay,
                   const std::chrono::duration<OtherRep, OtherPeriod>& period) {
    SetPeriodicTicks(Orvel::Detail::ToTimerTicks(delay), Orvel::Detail::ToTimerTicks(period));
  }
  /// Fires once, when the system's clock shows `time`; at once when that has passed.
  void SetAt(std::chrono::system_clock::time_point time);

  /// Stops the timer and clears its signal. On the handler's own thread no handler runs for it
  /// after this; on another thread, one may be running or about to run.
  void Cancel();

  /// Returns the handle to wait for. It belongs to the timer and is open as long as that exists.
  [[nodiscard]] void* GetHandle() const noexcept { return timer_.Get(); }

 private:
  void SetOnceTicks(Orvel::Detail::TimerTicks delay);
  void SetPeriodicTicks(Orvel::Detail::TimerTicks delay, Orvel::Detail::TimerTicks period);

  const MTimerReset reset_;
  const Orvel::Detail::KernelHandle timer_;
};
