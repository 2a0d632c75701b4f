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
/// own; after 100 ms without one it calls an idle callback.
///
/// Thread-safe: any thread may queue and wait. Commands may be queued before `Start`; they run
/// once it is called. A stop runs what was queued before it, then aborts the processor for good:
/// callers still waiting get "CommandProcessingAborted", later synchronous commands are refused,
/// and what is queued while no worker serves the queue is deleted unexecuted, on whichever thread
/// finds it. A processor that was started again runs plain commands.
///
/// When the worker fails (a plain command raised an `MException`) the processor is aborted as well
/// and what was queued is deleted unexecuted, unless a stop had been requested: it then runs what
/// was queued before it.
///
/// `Flush` and `Stop` run commands until the queue is empty: one that queues itself again keeps
/// them waiting, so it looks at `IsStopRequested` and ends then.
///
/// The destructor stops the processor if it runs. Commands queued in a processor that was never
/// started are dropped undeleted; nothing releases a caller that waits for one of them, so start
/// and stop a processor that has such callers before it is destroyed.
class MCommandProcessor : public MEngineThread {
 public:
  /// `threadArg` goes to `MEngineThread`; the two arguments after it are not used. `idleCallback`
  /// may be empty; it runs on the worker, and an `MException` that it raises is recorded in the
  /// flow log and swallowed. Raises "ErrorAccessingEvent" ("winErrorCode") when the system has no
  /// event left.
  explicit MCommandProcessor(std::uint64_t threadArg = 0, std::uint64_t = 0, std::uint64_t = 0,
                             std::unique_ptr<MCallbackFunctor> idleCallback = nullptr);
  ~MCommandProcessor() override;

  /// Callbacks that run on the worker as it starts, before `Start` returns, and as it ends. An
  /// `MException` of the first makes `Start` fail, one of the second is recorded and swallowed.
  /// Only while there is no worker: raise "AlreadyRunning" otherwise.
  ///@{
  void SetThreadStartCallback(std::unique_ptr<MCallbackFunctor> callback);
  void SetThreadEndCallback(std::unique_ptr<MCallbackFunctor> callback);
  ///@}

  /// Number of places by which a push that finds the queue full makes it longer, 1 at first: each
  /// such push copies what is queued. A larger step is for a processor whose commands may pile up.
  /// Only while there is no worker: raises "AlreadyRunning" otherwise, and "BadGrowthStep" below 1.
  void SetQueueGrowthStep(std::int32_t growthStep);

  /// Queues `command` and returns at once. It is the processor's from here on, also when the call
  /// fails. Raises "NoCommand" for null, "ErrorAccessingEvent" ("winErrorCode") and
  /// `std::bad_alloc`. Any thread, the worker included.
  void QueueCommand(std::unique_ptr<MCommand> command);

  /// Queues `command` and waits, without limit, until the worker has run it. The command's own
  /// failure is not raised: it is in the error slot that the caller shares with it. Raises
  /// "ProcessorStopped" when the processor was stopped before, "CommandProcessingAborted" when it
  /// is stopped while the caller waits (the command may have run, and neither runs nor will),
  /// "CannotExecuteSelf" on the worker, "NoCommand" for null, "ErrorAccessingEvent"
  /// ("winErrorCode"), "Abandoned" and "WaitFailed" ("winErrorCode").
  /// The command is moved from once it is queued: one that was refused stays with the caller.
  void ExecuteSynchronously(std::unique_ptr<MCommandSynchronous>&& command);

  /// Convenience for a command of a more derived type.
  template <class Command>
  void ExecuteSynchronously(std::unique_ptr<Command>&& command);

  /// True once the processor was stopped or its worker failed. Raises nothing.
  [[nodiscard]] bool IsAborted() const noexcept;

 protected:
  void ThreadFunction() override;
  /// Runs every command that is queued. What a command raises ends the flush.
  void OnFlush() override;
  /// Runs every command that is queued, recording what they raise, then aborts.
  void OnStop() override;

 private:
  void OnCommandQueued();
  bool ExecuteNextCommand();
  void RunIdleCallback();
  void Abort();
  void RequireNoWorker(const MRaiseSite& site) const;

  std::unique_ptr<MCallbackFunctor> threadStartCallback_;  // changed only without worker
  std::unique_ptr<MCallbackFunctor> threadEndCallback_;    // changed only without worker
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
    // A refused command goes back to its caller.
    if (base != nullptr) {
      static_cast<void>(base.release());
      command.reset(derived);
    }
    throw;
  }
}
