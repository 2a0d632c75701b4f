// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>

#include "orvel/threads/callback_functor.h"
#include "orvel/threads/engine_thread.h"

/// A worker thread that waits for registered events and runs their handlers, one at a time, in
/// COM's multithreaded apartment. A handler runs only when its event is signalled; otherwise the
/// worker sleeps. For work that is due at a certain time register an `MWaitableTimer`. When several
/// events are signalled, the one that was registered first is served first.
///
/// Thread-safe, as `MEngineThread` is. An `MException` of a handler ends the worker.
class MSchedulerThread : public MEngineThread {
 public:
  /// `arg` is passed to the constructor of `MEngineThread`. Raises what that raises.
  explicit MSchedulerThread(std::uint64_t arg = 0);
  ~MSchedulerThread() override;

  /// Registers an event and the functor to invoke on the worker when it is signalled. The functor
  /// has to reset a manual-reset event. The handle is borrowed for the object's life; the object
  /// owns the functor from then on, even when the call fails. Raises "ThreadRunning" unless the
  /// thread is "Inactive", and what `AddEvent` raises. Any thread.
  void RegisterSchedulerEvent(void* handle, std::unique_ptr<MCallbackFunctor> functor);

 protected:
  void ThreadFunction() override;
};
