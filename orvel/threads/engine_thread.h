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

/// The states of an engine thread. The flow log shows their names.
enum class MEngineState : std::uint32_t {
  kInactive = 0,  ///< there is no worker
  kStarting = 1,  ///< the worker exists but is not ready yet
  kRunning = 2,   ///< the worker runs its loop, or has failed and was not stopped yet
  kStopping = 3   ///< a stop was requested, and the worker has not ended yet
};

/// A worker thread that its owner starts, flushes and stops. It runs an event loop: it waits for a
/// number of handles and calls the handler of the one that is signalled. Abstract: a subclass
/// supplies the thread's function. For a queue of commands use `MCommandProcessor`.
///
/// Thread-safe: `Start`, `Flush`, `Stop` and `ForceStop` may be called from any thread. On the
/// worker itself the first three raise an error at once, because they would wait for it. A stopped
/// thread may be started again.
///
/// An `MException` that leaves the thread's function is recorded as a dismissed error and ends the
/// worker: `Flush` then raises "ThreadExitedUnexpectedly" and `Stop` brings the object back to
/// "Inactive". Any other exception ends the process.
///
/// A subclass must call `StopBeforeDestruction` first in its own destructor, while all of its parts
/// exist; a build of the library with assertions reports a subclass that does not. The object must
/// not be destroyed on its own worker, nor while another thread may still call it.
///
/// Handlers run one at a time. Each time that a handler has returned, requests (flush, stop,
/// restart of the loop) are served before events, and events in the order in which they were added.
///
/// Each operation raises the errors named below and, when the system refuses to create, set or
/// reset an event, "ErrorAccessingEvent" with "winErrorCode". "WaitFailed" carries "winErrorCode".
class MEngineThread : public Orvel::Libraries::NonCopyable {
 public:
  /// The time-out of a wait without limit.
  static constexpr std::uint32_t kWaitForever = Orvel::Detail::kWaitForever;

  /// `arg` is kept for subclasses, which read it with `GetThreadArgument`; this class does not use
  /// it. `objectName` is the object's name in dumps of the flow log. Raises "ErrorAccessingEvent"
  /// when the system cannot create an event.
  explicit MEngineThread(std::uint64_t arg, const wchar_t* objectName = L"MEngineThread");
  virtual ~MEngineThread();

  /// Creates the worker and waits, without limit, until it is ready. Raises "AlreadyRunning" in any
  /// state but "Inactive", "BeginThread" ("errno") when the thread cannot be created,
  /// "ThreadExitedUnexpectedly" when the worker ends before it is ready, "Abandoned" ("status"),
  /// "Unexpected" ("status") and "WaitFailed". After an error the state is what it was before.
  void Start();

  /// Makes the worker run `OnFlush` and waits, without limit, for its end. Does nothing while
  /// "Inactive". Raises "CannotFlushSelf" on the worker, "ThreadExitedUnexpectedly" when the worker
  /// ends first, "Abandoned" ("status"), "Unexpected" ("status") and "WaitFailed".
  void Flush();

  /// Requests that the worker runs `OnStop` and leaves its loop, and waits, without limit, until it
  /// has ended. Returns at once while "Inactive", and also when a stop was requested before, by
  /// whichever thread. Raises "CannotStopSelf" on the worker unless a stop was requested before,
  /// "Abandoned" (without parameter), "Unexpected" ("status") and "WaitFailed". After the last
  /// three the worker ends nevertheless, but only the destructor waits for its end.
  void Stop();

  /// `Stop` without errors: one is recorded in the flow log instead, and the object becomes
  /// "Inactive" nevertheless. Does nothing while "Inactive" or while a stop is under way. On the
  /// worker it records "CannotStopSelf" and changes nothing. It never terminates a thread.
  void ForceStop() noexcept;

  /// `ForceStop`, then waits for the end of a stop that is under way on another thread. For the
  /// destructors of subclasses, and of owners whose members the worker uses.
  void StopBeforeDestruction() noexcept;

  /// Adds a handle to wait for, and the functor to invoke when it is signalled; a null functor only
  /// wakes the loop. The handle is borrowed for the object's life and must stay open: once it is
  /// closed, the worker's next wait raises "WaitFailed". The object owns the functor from then on,
  /// even when the call fails. Raises "NoEvent" for a null handle and "TooManyWaitableEvents"
  /// beyond 64 handles, three of which are the object's own. Only while there is no worker, or on
  /// it.
  void AddEvent(void* handle, std::unique_ptr<MCallbackFunctor> functor);

  /// Makes `WaitForEvents` also return for window messages, which the thread's function then has to
  /// fetch. At most 63 handles are possible then. Only while there is no worker, or on it.
  void SetWakesForMessages(bool wakes) noexcept { wakesForMessages_ = wakes; }

  /// Returns the present state, which another thread may change at any time. Any thread.
  [[nodiscard]] MEngineState GetState() const noexcept {
    return state_.load(std::memory_order_acquire);
  }

  /// Returns true from the moment a stop is requested until the next `Start`. For work that
  /// would not end by itself, such as a command that queues itself again: a stop waits for it. Any
  /// thread, the worker included.
  [[nodiscard]] bool IsStopRequested() const noexcept {
    return stopIsRequested_.load(std::memory_order_acquire);
  }

  /// Returns true while the worker has a request (flush, stop or restart of the loop) that it has
  /// not begun to serve, and also while it serves a stop. Requests are served between handlers, so
  /// a handler that does several pieces of work in one call checks this after each of them and
  /// returns when it is true. It may become true a moment before the request can be served: the
  /// handler may then be called once more and has to check again. Any thread.
  [[nodiscard]] bool HasPendingRequest() const noexcept {
    return stopIsComing_.load(std::memory_order_acquire) ||
           restartIsRequested_.load(std::memory_order_relaxed) ||
           flushesRequested_.load(std::memory_order_acquire) !=
               flushesBegun_.load(std::memory_order_relaxed);
  }

 protected:
  /// The thread's function. It names the thread, sets up what it needs, calls
  /// `SignalThreadStarted`, runs the loop
  ///
  ///     do { WaitForEvents(timeoutMs); } while (!ServeStopRequest());
  ///
  /// and undoes its set-up. When the set-up fails it raises an error. A function that returns
  /// without having called `SignalThreadStarted` makes `Start` fail without a reason; a build of
  /// the library with assertions reports it as misuse.
  virtual void ThreadFunction() = 0;
  /// Runs on the worker for each `Flush`. The default does nothing.
  virtual void OnFlush();
  /// Runs on the worker exactly once for each stop. The default does nothing.
  virtual void OnStop();

  /// One pass of the loop: waits up to `timeoutMs` milliseconds (`kWaitForever`: without limit) and
  /// invokes the handler of the first handle that is signalled; the handles of flush, stop and
  /// restart requests come before those added. Returns true when a handle was signalled, false
  /// after a time-out and for window messages. Raises what the handler raises, "Abandoned"
  /// ("status"), "Unexpected" ("status") and "WaitFailed". Worker only.
  bool WaitForEvents(std::uint32_t timeoutMs);

  /// Returns true when the loop must end. Serves a stop that was requested while a handler
  /// ran: first a flush that is pending, then `OnStop`. Worker only.
  [[nodiscard]] bool ServeStopRequest();

  /// Returns true when a stop was requested and `OnStop` has not run yet. A loop that catches what
  /// handlers raise can then go on to `ServeStopRequest` instead of ending. Worker only.
  [[nodiscard]] bool IsStopPending() const noexcept { return IsStopRequested() && !stopIsServed_; }

  /// Tells the thread that waits in `Start` that the worker is ready. Worker only.
  void SignalThreadStarted();

  /// Stores the state and records the change in the flow log. The operations above call it with the
  /// engine's lock held; a subclass need not.
  void ChangeState(MEngineState newState) noexcept;

  /// Does what `AddEvent` does and returns true when there is no worker. Returns false when there
  /// is one, and on it; the functor is then destroyed and nothing is added. Any thread.
  [[nodiscard]] bool AddEventWhileInactive(void* handle, std::unique_ptr<MCallbackFunctor> functor);

  /// Exchanges a functor that the worker uses with another one and returns true when there is no
  /// worker. Returns false, with both unchanged, when there is one, and on it. Any thread.
  [[nodiscard]] bool SwapWhileInactive(std::unique_ptr<MCallbackFunctor>& kept,
                                       std::unique_ptr<MCallbackFunctor>& other);

  /// Returns true when called on the worker.
  [[nodiscard]] bool IsWorker() const noexcept;

  /// Returns the constructor's `arg`.
  [[nodiscard]] std::uint64_t GetThreadArgument() const noexcept { return arg_; }

 private:
  static unsigned ThreadEntry(void* self);

  /// `AddEvent`. A functor that is refused stays with the caller, who may have to unlock first.
  void AppendEvent(void* handle, std::unique_ptr<MCallbackFunctor>& functor);
  void OnFlushWrapper();
  void OnStopWrapper();
  void OnRestartEventLoop();

  void StopWorker(bool endsAlways);
  [[nodiscard]] bool RequestStop() noexcept ORVEL_REQUIRES(*mutex_);
  void EndWorker() noexcept ORVEL_REQUIRES(*mutex_);
  void BecomeInactive() noexcept ORVEL_REQUIRES(*mutex_);

  std::atomic<bool> startIsUnderWay_{false};                  // release and acquire, as the state
  std::atomic<MEngineState> state_{MEngineState::kInactive};  // release, acquire in GetState
  const std::unique_ptr<MMutexImp> mutex_;                    // the worker never waits for it
  std::int32_t lockDepth_ = 0;                                // bookkeeping of MScopedLock
  // The worker stores its id before anything else, so that its own calls are recognised even before
  // Start has returned. Cleared before the handle is closed: until then the system does not give
  // the id to another thread. Release where it is written, acquire in IsWorker.
  std::atomic<std::uint32_t> threadId_{0};
  Orvel::Detail::KernelHandle thread_ ORVEL_GUARDED_BY(*mutex_);
  Orvel::Detail::KernelHandle restartLoop_;    // auto-reset
  Orvel::Detail::KernelHandle flushRequest_;   // auto-reset
  Orvel::Detail::KernelHandle stopRequest_;    // manual-reset: stays signalled until Start
  Orvel::Detail::KernelHandle threadStarted_;  // auto-reset
  Orvel::Detail::KernelHandle flushDone_;      // auto-reset
  // Parallel lists, changed only while there is no worker or on it.
  std::vector<void*> waitables_;
  std::vector<std::unique_ptr<MCallbackFunctor>> handlers_;
  const std::uint64_t arg_;
  std::wstring reservedText_;  // reserved: stays empty, nothing uses it
  bool wakesForMessages_ = false;
  bool startIsSignalled_ = false;                          // worker, and Start before it
  bool stopIsServed_ = false;                              // worker, and Start before it
  bool stopIsUnderWay_ ORVEL_GUARDED_BY(*mutex_) = false;  // a caller waits for the worker's end
  // Written with release by one side, read with acquire by the other. A request is marked before
  // its event is set, so a worker that finds no mark need not look at the events.
  std::atomic<bool> stopIsComing_{false};  // the event is set or is about to be
  // The event is set: the stop cannot be refused any more.
  std::atomic<bool> stopIsRequested_{false};
  std::atomic<bool> restartIsRequested_{false};  // relaxed: the worker writes and reads it
  // Flushes are numbered: one whose wait failed leaves a request and a signal behind, which the
  // next flush must not take for its own.
  std::atomic<std::uint32_t> flushesRequested_{0};
  std::atomic<std::uint32_t> flushesBegun_{0};  // relaxed: the worker writes and compares it
  std::atomic<std::uint32_t> flushesServed_{0};
};
