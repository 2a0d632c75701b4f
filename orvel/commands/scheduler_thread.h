// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>

#include "orvel/threads/callback_functor.h"
#include "orvel/threads/engine_thread.h"

/// A worker that waits for events registered with it and runs their handlers, one at a time, in
/// COM's multithreaded apartment. A handler runs only when its event is signalled, and the worker
/// sleeps otherwise; for work that is due at a time register an `MWaitableTimer`. Of several events
/// that are signalled the one registered first is served first.
///
/// Thread-safe as `MEngineThread` is. An `MException` of a handler ends the worker.
class MSchedulerThread : public MEngineThread {
 public:
  /// `arg` goes to `MEngineThread`. Raises what its constructor raises.
  explicit MSchedulerThread(std::uint64_t arg = 0);
  ~MSchedulerThread() override;

  /// Registers an event and the functor to invoke on the worker when it is signalled. An event that
  /// does not fall back by itself is the handler's to reset. The handle is borrowed for the
  /// object's life, the functor is owned from here on, also when the call fails. Raises
  /// "ThreadRunning" unless the thread is "Inactive", and what `AddEvent` raises.
  void RegisterSchedulerEvent(void* handle, std::unique_ptr<MCallbackFunctor> functor);

 protected:
  void ThreadFunction() override;
};
