// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "orvel/platform/kernel_handle.h"
#include "orvel/platform/kernel_wait.h"
#include "orvel/platform/thread_annotations.h"
#include "orvel/threads/callback_functor.h"
#include "orvel/threads/mutex_imp.h"
#include "orvel/threads/non_copyable.h"

/// Life of an engine thread, by the numbers that the flow log shows names for.
enum class MEngineState : std::uint32_t {
  kInactive = 0,  ///< there is no worker
  kStarting = 1,  ///< the worker exists but has not said that it is ready
  kRunning = 2,   ///< the worker serves its loop, or has failed and waits to be stopped
  kStopping = 3   ///< the worker was asked to leave its loop
};

/// A worker thread that runs an event loop over waitable handles, each with its handler, and that
/// its owner starts, flushes and stops. Abstract: a subclass supplies the thread's function. For a
/// queue of commands use `MCommandProcessor`.
///
/// Thread-safe: `Start`, `Flush`, `Stop` and `ForceStop` may be called from any thread. From the
/// worker itself the first three are refused at once, because they would wait for it. A stopped
/// thread may be started again.
///
/// An `MException` that leaves the thread's function is recorded as a dismissed error and ends the
/// worker: `Flush` then raises "ThreadExitedUnexpectedly" and `Stop` brings the object back to
/// "Inactive". Any other exception ends the process.
///
/// A subclass calls `StopBeforeDestruction` first thing in its own destructor, while it is whole; a
/// build of the library with assertions reports one that was destroyed running without.
/// Destroying the object on its own worker, or while another thread is about to call it, is the
/// caller's error.
///
/// Handlers run one at a time. Requests come before events, and events before those added after
/// them, each time that a handler has returned.
///
/// Each operation raises the errors it names below and, when the system refuses to set, reset or
/// create an event, "ErrorAccessingEvent" with "winErrorCode". "WaitFailed" carries "winErrorCode".
class MEngineThread : public Orvel::Libraries::NonCopyable {
 public:
  /// Time-out of a wait that never gives up.
  static constexpr std::uint32_t kWaitForever = Orvel::Detail::kWaitForever;

  /// `arg` is kept for subclasses and never interpreted. `objectName` is what dumps of the flow
  /// log call the object. Raises when the system has no event left.
  explicit MEngineThread(std::uint64_t arg, const wchar_t* objectName = L"MEngineThread");
  virtual ~MEngineThread();

  /// Creates the worker and waits, without limit, until it says that it is ready. Raises
  /// "AlreadyRunning" in any state but "Inactive", "BeginThread" ("errno") when there is no thread
  /// to be had, "ThreadExitedUnexpectedly" when the worker ends before it is ready, "Abandoned" and
  /// "Unexpected" ("status") and "WaitFailed". After an error the state is as it was.
  void Start();

  /// Has the worker run `OnFlush` and waits, without limit, until it has. Does nothing while
  /// "Inactive". Raises "CannotFlushSelf" on the worker, "ThreadExitedUnexpectedly" when the worker
  /// ends instead, "Abandoned" and "Unexpected" ("status") and "WaitFailed".
  void Flush();

  /// Asks the worker to leave its loop, which runs `OnStop`, and waits, without limit, until it has
  /// ended. Returns at once while "Inactive" and when the worker was asked before, also on the
  /// worker. Raises "CannotStopSelf" on the worker, "Abandoned" (without parameter), "Unexpected"
  /// ("status") and "WaitFailed"; after the last three the worker ends all the same, but only the
  /// destructor waits for it.
  void Stop();

  /// `Stop` for destructors: an error is recorded in the flow log and the object becomes
  /// "Inactive" all the same. Does nothing while "Inactive" or when a stop is under way. On the
  /// worker it records "CannotStopSelf" and changes nothing, since the worker lives on. No thread
  /// is ever ended by force.
  void ForceStop() noexcept;

  /// `ForceStop`, then waits for a stop that another thread has under way. What an owner whose own
  /// members the worker uses, or a subclass's destructor, calls before they go away.
  void StopBeforeDestruction() noexcept;

  /// Adds a handle to wait for and the functor to invoke when it is signalled; an empty functor
  /// just wakes the loop. The handle is borrowed for the object's life and must stay open: with one
  /// that was closed the worker's next wait raises "WaitFailed". The functor is owned from here on,
  /// also when the call fails. Raises "NoEvent" for null and "TooManyWaitableEvents" past 64
  /// handles, of which three are the object's own. Only while there is no worker, or on the worker.
  void AddEvent(void* handle, std::unique_ptr<MCallbackFunctor> functor);

  /// Makes `WaitForEvents` also wake for window messages, which the handlers are to pump. At most
  /// 63 handles then. Only while there is no worker, or on the worker.
  void SetWakesForMessages(bool wakes) noexcept { wakesForMessages_ = wakes; }

  /// The present state; from another thread it may have changed by the time it is looked at.
  [[nodiscard]] MEngineState GetState() const noexcept {
    return state_.load(std::memory_order_acquire);
  }

  /// True from the moment the worker was asked to stop until the next `Start`. For work that has
  /// no end of its own, such as a command that queues itself again: a stop waits for it. Any
  /// thread, the worker included.
  [[nodiscard]] bool IsStopRequested() const noexcept {
    return stopIsAsked_.load(std::memory_order_acquire);
  }

  /// True while the worker is asked for a flush, a stop or a restart of its loop that it has not
  /// begun, in a stop also while it serves it. A handler that does several pieces of work in one
  /// call looks at this between two of them, and returns: requests are served between handlers. It
  /// may be true a moment before the request can be served, and is then to be looked at again by
  /// the handler's next call. Any thread.
  [[nodiscard]] bool HasPendingRequest() const noexcept {
    return stopIsComing_.load(std::memory_order_acquire) ||
           restartIsAsked_.load(std::memory_order_relaxed) ||
           flushesAsked_.load(std::memory_order_acquire) !=
               flushesBegun_.load(std::memory_order_relaxed);
  }

 protected:
  /// The thread's function: names the thread, sets up, calls `SignalThreadStarted`, then loops
  ///
  ///     do { WaitForEvents(timeoutMs); } while (!ServeStopRequest());
  ///
  /// and undoes its set-up. One that cannot set up raises; one that returns without having called
  /// `SignalThreadStarted` makes `Start` fail without a reason, which a build of the library with
  /// assertions reports as misuse.
  virtual void ThreadFunction() = 0;
  /// Runs on the worker for each `Flush`. The default does nothing.
  virtual void OnFlush();
  /// Runs on the worker exactly once for each stop. The default does nothing.
  virtual void OnStop();

  /// One pass of the loop: waits up to `timeoutMs` milliseconds (`kWaitForever` without limit) and
  /// invokes the handler of the first handle that is signalled: flush, stop and restart requests
  /// come before the events added. True when a handler ran; false on a time-out and for window
  /// input. What a handler raises goes to the caller. Raises "Abandoned" and "Unexpected"
  /// ("status") and "WaitFailed". Worker only.
  bool WaitForEvents(std::uint32_t timeoutMs);

  /// True when the loop is to be left. A stop that was requested while a handler ran is served
  /// here: first a flush that is pending, then `OnStop`. Worker only.
  [[nodiscard]] bool ServeStopRequest();

  /// True when a stop was requested and `OnStop` has yet to run. For a loop that catches what a
  /// handler raises: with this it goes on to `ServeStopRequest` instead of ending. Worker only.
  [[nodiscard]] bool IsStopPending() const noexcept { return IsStopRequested() && !stopIsServed_; }

  /// Says that the worker is ready, which releases `Start`. Worker only.
  void SignalThreadStarted();

  /// Stores the state and records the change.
  void ChangeState(MEngineState newState) noexcept;

  /// `AddEvent` if there is no worker. False, with nothing added and the functor gone, if there is
  /// one, also on it.
  [[nodiscard]] bool AddEventWhileInactive(void* handle, std::unique_ptr<MCallbackFunctor> functor);

  /// True on the worker.
  [[nodiscard]] bool IsWorker() const noexcept;

  /// The constructor's argument.
  [[nodiscard]] std::uint64_t GetThreadArgument() const noexcept { return arg_; }

 private:
  static unsigned ThreadEntry(void* self);

  void OnFlushWrapper();
  void OnStopWrapper();
  void OnRestartEventLoop();

  void StopWorker(bool endsAlways);
  [[nodiscard]] bool RequestStop() noexcept ORVEL_REQUIRES(*mutex_);
  void EndWorker() noexcept ORVEL_REQUIRES(*mutex_);
  void BecomeInactive() noexcept ORVEL_REQUIRES(*mutex_);

  std::atomic<MEngineState> state_{MEngineState::kInactive};
  const std::unique_ptr<MMutexImp> mutex_;  // the worker never waits for it
  std::int32_t lockDepth_ = 0;              // bookkeeping of MScopedLock
  // The worker stores its id before anything else, so that its own calls are known for what they
  // are before Start has returned. Cleared before the handle is closed, which keeps the id from
  // being reused.
  std::atomic<std::uint32_t> threadId_{0};
  Orvel::Detail::KernelHandle thread_ ORVEL_GUARDED_BY(*mutex_);
  Orvel::Detail::KernelHandle flushRequest_;   // auto-reset
  Orvel::Detail::KernelHandle stopRequest_;    // manual-reset: stays signalled until Start
  Orvel::Detail::KernelHandle threadStarted_;  // auto-reset
  Orvel::Detail::KernelHandle flushDone_;      // auto-reset
  Orvel::Detail::KernelHandle restartLoop_;    // auto-reset
  // Parallel lists, changed only while there is no worker or on it.
  std::vector<void*> waitables_;
  std::vector<std::unique_ptr<MCallbackFunctor>> handlers_;
  const std::uint64_t arg_;
  std::wstring reservedText_;  // kept for subclasses of old, never interpreted
  bool wakesForMessages_ = false;
  bool startIsSignalled_ = false;                          // worker, and Start before it
  bool stopIsServed_ = false;                              // worker, and Start before it
  bool stopIsUnderWay_ ORVEL_GUARDED_BY(*mutex_) = false;  // a caller waits for the worker's end
  // Written with release by the one side, read with acquire by the other. What is asked is marked
  // before its event is set, so that a worker that finds no mark owes nobody a look at the events.
  std::atomic<bool> stopIsComing_{false};  // the event is about to be set, or is
  std::atomic<bool> stopIsAsked_{false};   // the event is set: the stop cannot be refused any more
  std::atomic<bool> restartIsAsked_{false};  // the worker's
  // A flush whose wait failed leaves a request and an answer behind, which the next one must not
  // take for its own: flushes have numbers.
  std::atomic<std::uint32_t> flushesAsked_{0};
  std::atomic<std::uint32_t> flushesBegun_{0};
  std::atomic<std::uint32_t> flushesServed_{0};
};
