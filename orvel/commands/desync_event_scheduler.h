// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "orvel/commands/desync_event.h"
#include "orvel/commands/scheduler_thread.h"
#include "orvel/threads/non_copyable.h"
#include "orvel/threads/thread_safe_fifo.h"

/// Runs events one at a time, in the order in which they were scheduled, on a thread of its own.
/// The thread that schedules an event does not wait for it, and the locks that it holds are not
/// held while the event runs: useful for calling callbacks of other components, for example. For
/// work whose end matters use `MCommandProcessor`.
///
/// Thread-safe: any thread may schedule events, inside an event too. What is scheduled while the
/// scheduler is disabled runs after it is enabled. `Enable`, `Disable` and `Flush` may be called on
/// any thread but the scheduler's own. The destructor disables; events that are queued then are
/// neither run nor deleted.
///
/// A subclass that overrides `OnSchedulerEvent` must call `StopBeforeDestruction` first in its own
/// destructor, while all of its parts exist.
class MDesyncEventScheduler : public Orvel::Libraries::NonCopyable {
 public:
  /// `arg` is passed to the scheduler's thread. Raises "ErrorAccessingEvent" ("winErrorCode") when
  /// the system cannot create an event.
  explicit MDesyncEventScheduler(std::uint64_t arg = 0);

  /// Starts the scheduler's thread. Raises what `MEngineThread::Start` raises: "AlreadyRunning"
  /// when the scheduler is enabled.
  void Enable();
  /// Waits for the end of the event that is running and ends the scheduler's thread. Events that
  /// are queued behind that one run after the next `Enable`. Does nothing while disabled. Raises
  /// what `MEngineThread::Flush` and `Stop` raise: "CannotFlushSelf" inside an event. The thread is
  /// stopped even when its flush failed.
  void Disable();
  /// Sets the number of places by which the queue grows when it is full, 1 at first. Each growth
  /// moves all that is queued, so a scheduler whose queue may get long wants a larger step. Raises
  /// "ThreadRunning" while enabled, and "BadGrowthStep" below 1.
  void SetQueueGrowthStep(std::int32_t growthStep);
  /// Queues an event and returns at once. The scheduler owns it from then on, even when the call
  /// fails. Raises "NoEvent" for null, "ErrorAccessingEvent" ("winErrorCode") and `std::bad_alloc`.
  void ScheduleDesyncEvent(std::unique_ptr<MDesyncEvent> event);
  /// Runs the events that are queued when it begins, or fewer when the scheduler is being disabled
  /// or flushed. Events that they schedule are left to a later call. Called on the scheduler's
  /// thread only: when events are queued, and once or several times for a `Flush`.
  ///
  /// An override is called once for each batch of events. It calls this function to run them and
  /// may do something before and after. If it does not, it is called again at once for as long as
  /// events are queued. An `MException` that leaves it ends the thread, as one of a handler does.
  virtual void OnSchedulerEvent();
  // After the other virtual function, so that this one keeps its place in the table.
  virtual ~MDesyncEventScheduler();

  /// Waits, without limit, until every event has run that the calling thread scheduled before, or
  /// that it knows another thread to have scheduled. Does not wait for events that those schedule.
  /// While disabled it returns at once when nothing is queued, and raises "SchedulerDisabled" when
  /// something is, since that would not run. Raises what `MEngineThread::Flush` raises:
  /// "CannotFlushSelf" inside an event, "ThreadExitedUnexpectedly" when the scheduler is disabled
  /// meanwhile.
  void Flush();

 protected:
  /// `Disable` without errors, which are recorded in the flow log; also waits for another thread
  /// that is disabling. For the destructors of subclasses.
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
  std::uint64_t taken_ = 0;  // events so far; of the thread that runs OnSchedulerEvent
  // `Disable` flushes the thread too, but must not wait for events: a flush runs events only while
  // a thread is in `Flush`. The numbers show whether a flush of the thread began after a `Flush`
  // did.
  std::atomic<std::uint32_t> flushers_{0};  // sequentially consistent; counted before the request
  std::atomic<std::uint64_t> flushesBegun_{0};  // release on the thread, acquire in Flush
  std::atomic<std::uint64_t> flushesDone_{0};   // the same
};
