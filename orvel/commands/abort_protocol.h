// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

#include "orvel/commands/command.h"
#include "orvel/foundation/source_context.h"
#include "orvel/platform/kernel_handle.h"
#include "orvel/platform/kernel_wait.h"
#include "orvel/threads/non_copyable.h"
#include "orvel/threads/thread_safe_fifo.h"

namespace Orvel::Detail {

/// What a synchronous command shares with the caller that waits for it. The event belongs to both
/// until the last of them lets go, so that no command signals an event that was closed or lent to
/// another command.
///
/// A caller that leaves with an error must know that its command no longer uses what it borrowed,
/// so command and caller compete for the record:
///
///               TryBeginRun (worker)               EndRun (worker), then the event
///     [Queued] ----------------------> [Executing] -------------------------------> [Settled]
///         |                                                                             ^
///         +------------------- TryLeave (caller, after an abort or a failed wait) ------+
///
/// In "Executing" `TryLeave` fails, and in "Settled" `TryBeginRun`: the worker skips the command.
///
/// Thread-safe for one worker and one caller, except where noted.
class CommandCompletion {
 public:
  /// Takes ownership of an unsignalled auto-reset event. The processor is borrowed for the flow
  /// log.
  CommandCompletion(KernelHandle done, const void* processor) noexcept
      : done_(std::move(done)), processor_(processor) {}

  /// The event that is signalled once the command has run.
  [[nodiscard]] void* GetEvent() const noexcept { return done_.Get(); }
  [[nodiscard]] const void* GetProcessor() const noexcept { return processor_; }

  /// Returns true when the command is to run: its caller has not left. Worker only.
  [[nodiscard]] bool TryBeginRun() noexcept {
    State queued = State::kQueued;
    return state_.compare_exchange_strong(queued, State::kExecuting, std::memory_order_acq_rel);
  }
  /// Marks the end of the run. Call it before the event is signalled. Worker only.
  void EndRun() noexcept { state_.store(State::kSettled, std::memory_order_release); }

  /// Returns false while the command runs. After true it neither runs nor will. Caller only.
  [[nodiscard]] bool TryLeave() noexcept {
    State state = State::kQueued;
    return state_.compare_exchange_strong(state, State::kSettled, std::memory_order_acq_rel) ||
           state == State::kSettled;
  }

  /// Marks that the caller's wait has taken the event's only signal. Caller only.
  void MarkReset() noexcept { isReset_ = true; }
  /// Returns true when the event cannot be signalled any more: the record may be used again. For
  /// its only owner.
  [[nodiscard]] bool IsReset() const noexcept { return isReset_; }
  /// Begins the next use. For its only owner.
  void Reuse() noexcept {
    state_.store(State::kQueued, std::memory_order_relaxed);
    isReset_ = false;
  }

 private:
  enum class State : std::uint8_t { kQueued, kExecuting, kSettled };

  const KernelHandle done_;
  const void* const processor_;
  // Acquire-release where the two sides compete. The release in EndRun pairs with TryLeave, so that
  // a caller that leaves sees what the command did.
  std::atomic<State> state_{State::kQueued};
  bool isReset_ = true;  // the caller's while it is lent
};

/// How a command processor ends without leaving a caller waiting or a command behind: the gate of
/// its queue, the mark of its abort and the event that wakes those who wait.
///
///                       Abort               ReopenQueue
///     gate:     [open] --------> [closed] ---------------> [reopened]
///                                    ^                         |
///                                    +--------- Abort ---------+
///     aborted:  no               yes                       yes
///
/// The worker calls both: `Abort` when it is stopped or fails, `ReopenQueue` when it is started.
/// `Abort` closes the gate, sets the mark, signals the event and deletes what is queued, in this
/// order. Mark and event stay for good: a processor that was aborted refuses synchronous commands
/// even when it was started again.
///
/// The gate decides who takes commands out of the queue: the worker while it is open; while it is
/// closed every thread that has just pushed one, to delete it. `ReopenQueue` waits for such
/// threads, so that none of them takes a command that is meant for the new worker.
///
/// Thread-safe; the queue's own lock orders pushes against the gate.
class AbortProtocol : public Orvel::Libraries::NonCopyable {
 public:
  using Queue = MThreadSafeFifo<MCommand*>;
  /// Number of handles in the wait of `WaitForRun`, any of which may be reported as abandoned.
  static constexpr std::uint32_t kWaitHandles = 2;

  /// The queue is borrowed. Raises "ErrorAccessingEvent" ("winErrorCode") at `site` when the system
  /// has no event left.
  AbortProtocol(Queue& queue, const MRaiseSite& site);

  /// Returns true once the processor was aborted. Any thread.
  [[nodiscard]] bool IsAborted() const noexcept {
    return isAborted_.load(std::memory_order_acquire);
  }

  /// Deletes what is queued if the gate is closed. Call it after each push. Any thread.
  void DeleteUnservedCommands() {
    if ((gate_.load(std::memory_order_acquire) & kClosed) != 0) DeleteWhileClosed();
  }

  /// Waits until the command has run, the processor is aborted or the wait fails. Unless the status
  /// of the result is `WaitStatus::kObject0`, which stands for the run, the command neither runs
  /// nor will after this; one above it stands for the abort. Caller only.
  [[nodiscard]] WaitOutcome WaitForRun(CommandCompletion& completion) const noexcept;

  /// Aborts the processor. Raises "ErrorAccessingEvent" ("winErrorCode") at `site`, after all has
  /// been done, when callers that wait could not be woken. Worker only.
  void Abort(const MRaiseSite& site);

  /// Opens the gate for a worker that starts, after what is queued behind a closed one was deleted.
  /// Returns true when it was closed. Worker only.
  bool ReopenQueue();

 private:
  void DeleteWhileClosed();

  // The top bit of the gate; the other bits count the threads that are just taking a command out to
  // delete it.
  static constexpr std::uint32_t kClosed = 0x80000000;

  Queue& queue_;
  std::atomic<std::uint32_t> gate_{0};  // written with release, read with acquire
  // Written with release before the event is signalled, read with acquire.
  std::atomic<bool> isAborted_{false};
  const KernelHandle aborted_;  // manual-reset, never reset
};

}  // namespace Orvel::Detail
