// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
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
/// scheduled while the scheduler is disabled runs after it is enabled. `Enable`, `Disable` and
/// `Flush` may be called from any thread but the scheduler's own. The destructor disables. Events
/// still queued then are neither run nor deleted.
///
/// A subclass that overrides `OnSchedulerEvent` calls `StopBeforeDestruction` first thing in its
/// own destructor, while it is whole.
class MDesyncEventScheduler : public Orvel::Libraries::NonCopyable {
 public:
  /// `arg` goes to the scheduler thread. Raises "ErrorAccessingEvent" ("winErrorCode") when the
  /// system has no event left.
  explicit MDesyncEventScheduler(std::uint64_t arg = 0);

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
  /// Runs the events that are queued as it begins, or fewer when the scheduler is being disabled or
  /// flushed; those that they schedule come with the next wake-up. The scheduler's thread calls
  /// this, once or several times for a `Flush`.
  ///
  /// An override calls this one for the events to be run, and may do something before and after: it
  /// runs once for each batch. One that does not is called again at once, as long as events are
  /// queued. An `MException` that leaves it ends the thread, as one of a handler does.
  virtual void OnSchedulerEvent();
  // Behind the other virtual operation, which keeps its place by that.
  virtual ~MDesyncEventScheduler();

  /// Waits, without limit, until every event that was scheduled before has run: by this thread, or
  /// by one that told this one so. Events that they schedule are not waited for. While disabled it
  /// returns at once when nothing is queued, and raises "SchedulerDisabled" when something is,
  /// since that would not run. Raises what `MEngineThread::Flush` raises: "CannotFlushSelf" inside
  /// an event, "ThreadExitedUnexpectedly" when the scheduler is disabled meanwhile.
  void Flush();

 protected:
  /// Disables without raising, and waits for another thread that is just disabling. For the
  /// destructors of subclasses.
  void StopBeforeDestruction() noexcept;

 private:
  class Thread final : public MSchedulerThread {
   public:
    Thread(std::uint64_t arg, MDesyncEventScheduler& owner)
        : MSchedulerThread(arg), owner_(owner) {}
    ~Thread() override { StopBeforeDestruction(); }

   protected:
    void OnFlush() override { owner_.RunWhatIsFlushed(); }

   private:
    MDesyncEventScheduler& owner_;
  };

  void RunWhatIsFlushed();

  Thread thread_;
  MThreadSafeFifo<MDesyncEvent*> queue_;
  std::uint64_t taken_ = 0;  // events so far; whoever runs OnSchedulerEvent
  // `Disable` flushes the thread as well, and waits for no event: only when somebody is in `Flush`
  // are any run. Which flush of the thread served which `Flush` is told by their numbers.
  std::atomic<std::uint32_t> flushers_{0};
  std::atomic<std::uint64_t> flushesBegun_{0};
  std::atomic<std::uint64_t> flushesDone_{0};
};
