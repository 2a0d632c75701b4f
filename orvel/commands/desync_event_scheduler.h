// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>

#include "orvel/commands/desync_event.h"
#include "orvel/commands/scheduler_thread.h"
#include "orvel/threads/non_copyable.h"
#include "orvel/threads/thread_safe_fifo.h"

/// Runs events one at a time, in the order in which they were scheduled, on a thread of its own, so
/// that whoever schedules one neither waits for it nor runs it under locks of its own. For
/// notifications to outside callbacks, say. For work whose end matters use `MCommandProcessor`.
///
/// Thread-safe: any thread may schedule, also from inside an event, enabled or not; what is
/// scheduled while the scheduler is disabled runs after it is enabled. `Enable` and `Disable` may
/// be called from any thread but the scheduler's own. The destructor disables. Events still queued
/// then are neither run nor deleted.
class MDesyncEventScheduler final : public Orvel::Libraries::NonCopyable {
 public:
  /// `arg` goes to the scheduler thread. Raises "ErrorAccessingEvent" ("winErrorCode") when the
  /// system has no event left.
  explicit MDesyncEventScheduler(std::uint64_t arg = 0);
  ~MDesyncEventScheduler();

  /// Starts the scheduler's thread. Raises what `MEngineThread::Start` raises, "AlreadyRunning"
  /// when it is enabled.
  void Enable();
  /// Ends the scheduler's thread once the event that it is running is through. Events that are
  /// queued behind it are not waited for: they run after the next `Enable`. Does nothing when
  /// disabled. Raises what `MEngineThread::Flush` and `Stop` raise, "CannotFlushSelf"
  /// inside an event; the thread is stopped also when its flush failed.
  void Disable();
  /// Number of places by which scheduling that finds the queue full makes it longer, 1 at first:
  /// each time what is queued is copied. A larger step is for a scheduler whose events may pile up.
  /// Only while disabled: raises "ThreadRunning" otherwise, and "BadGrowthStep" below 1.
  void SetQueueGrowthStep(std::int32_t growthStep);
  /// Queues an event and returns at once. It is the scheduler's from here on, also when the call
  /// fails. Raises "NoEvent" for null, "ErrorAccessingEvent" ("winErrorCode") and `std::bad_alloc`.
  void ScheduleDesyncEvent(std::unique_ptr<MDesyncEvent> event);
  /// Runs the events that are queued as it begins, or fewer when the scheduler is being disabled;
  /// those that they schedule come with the next wake-up. The scheduler's thread calls this.
  virtual void OnSchedulerEvent();

 private:
  MSchedulerThread thread_;
  MThreadSafeFifo<MDesyncEvent*> queue_;
};
