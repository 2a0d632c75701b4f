// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>

#include "orvel/commands/abort_protocol.h"
#include "orvel/commands/command.h"
#include "orvel/commands/command_synchronous.h"
#include "orvel/threads/callback_functor.h"
#include "orvel/threads/engine_thread.h"
#include "orvel/threads/thread_safe_fifo.h"

namespace Orvel::Detail {

class CompletionPool;

}  // namespace Orvel::Detail

/// Runs commands one at a time, in the order in which they were queued, on a worker thread of its
/// own. When it has had nothing to do for 100 ms it calls an idle callback.
///
/// Thread-safe: any thread may queue commands and wait for them. Commands that are queued before
/// `Start` run after it. A stop runs what was queued before it and then aborts the processor for
/// good: callers that still wait get "CommandProcessingAborted", later synchronous commands are
/// refused, and what is queued while there is no worker is deleted without being run, on whichever
/// thread finds it. A processor that is started again runs plain commands again.
///
/// When the worker fails (a plain command raised an `MException`) the processor is aborted as well,
/// and what was queued is deleted without being run. If a stop had been requested by then, what was
/// queued before the stop is run nevertheless.
///
/// `Flush` and `Stop` run commands until the queue is empty. A command that queues itself again
/// keeps them waiting, so it has to check `IsStopRequested` and to end when that is true.
///
/// The destructor stops a processor that runs. Commands in the queue of a processor that was never
/// started are not deleted, and a caller that waits for one of them waits for ever: start and stop
/// such a processor before it is destroyed.
class MCommandProcessor : public MEngineThread {
 public:
  /// `threadArg` is passed to `MEngineThread`; the two arguments after it are not used.
  /// `idleCallback` may be null; it runs on the worker, and an `MException` that it raises is
  /// recorded in the flow log and dismissed. Raises "ErrorAccessingEvent" ("winErrorCode") when the
  /// system cannot create an event.
  explicit MCommandProcessor(std::uint64_t threadArg = 0, std::uint64_t = 0, std::uint64_t = 0,
                             std::unique_ptr<MCallbackFunctor> idleCallback = nullptr);
  ~MCommandProcessor() override;

  ///@{
  /// Sets the callback that runs on the worker when it starts, before `Start` returns, or when it
  /// ends; null for none. An `MException` of the first makes `Start` fail, one of the second is
  /// recorded and dismissed. Raises "AlreadyRunning" while there is a worker.
  void SetThreadStartCallback(std::unique_ptr<MCallbackFunctor> callback);
  void SetThreadEndCallback(std::unique_ptr<MCallbackFunctor> callback);
  ///@}

  /// Sets the number of places by which the queue grows when it is full, 1 at first. Each growth
  /// moves all that is queued, so a processor whose queue may get long wants a larger step. Raises
  /// "AlreadyRunning" while there is a worker, and "BadGrowthStep" below 1.
  void SetQueueGrowthStep(std::int32_t growthStep);

  /// Queues `command` and returns at once. The processor owns it from then on, even when the call
  /// fails. Raises "NoCommand" for null, "ErrorAccessingEvent" ("winErrorCode") and
  /// `std::bad_alloc`. Any thread, the worker included.
  void QueueCommand(std::unique_ptr<MCommand> command);

  /// Queues `command` and waits, without limit, until the worker has run it. An error of the
  /// command itself is not raised here: it is put into the error slot that the caller shares with
  /// it. Raises "ProcessorStopped" when the processor was aborted before,
  /// "CommandProcessingAborted" when it is aborted while the caller waits (the command may have
  /// run; it does not run after this), "CannotExecuteSelf" on the worker, "NoCommand" for null,
  /// "ErrorAccessingEvent" ("winErrorCode"), "Abandoned", "WaitFailed" ("winErrorCode") and
  /// `std::bad_alloc`.
  ///
  /// `command` is moved from only when it is queued: a command that is refused stays with the
  /// caller.
  void ExecuteSynchronously(std::unique_ptr<MCommandSynchronous>&& command);

  /// The same for a command of a more derived type.
  template <class Command>
  void ExecuteSynchronously(std::unique_ptr<Command>&& command);

  /// Returns true once the processor was stopped or its worker has failed. Any thread.
  [[nodiscard]] bool IsAborted() const noexcept;

 protected:
  void ThreadFunction() override;
  /// Runs every command that is queued. Raises what a command raises; the rest then stays queued.
  void OnFlush() override;
  /// Runs every command that is queued, records what they raise, then aborts the processor.
  void OnStop() override;

 private:
  void OnCommandQueued();
  bool ExecuteNextCommand();
  void RunIdleCallback();
  void Abort();

  std::unique_ptr<MCallbackFunctor> threadStartCallback_;  // changed only while there is no worker
  std::unique_ptr<MCallbackFunctor> threadEndCallback_;    // the same
  const std::unique_ptr<MCallbackFunctor> idleCallback_;
  const std::uint32_t idleTimeoutMs_ = 100;
  MThreadSafeFifo<MCommand*> queue_;
  Orvel::Detail::AbortProtocol abort_;
  const std::shared_ptr<Orvel::Detail::CompletionPool> completions_;
};

template <class Command>
void MCommandProcessor::ExecuteSynchronously(std::unique_ptr<Command>&& command) {
  Command* const derived = command.get();
  std::unique_ptr<MCommandSynchronous> base = std::move(command);
  try {
    ExecuteSynchronously(std::move(base));
  } catch (...) {
    // A command that was refused is given back to its caller.
    if (base != nullptr) {
      static_cast<void>(base.release());
      command.reset(derived);
    }
    throw;
  }
}
