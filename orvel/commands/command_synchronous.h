// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

#include "orvel/commands/command.h"
#include "orvel/foundation/exception.h"
#include "orvel/platform/kernel_handle.h"

namespace Orvel::Detail {

/// What a synchronous command and its waiting caller share; the event is closed when the last of
/// the two lets go, so it is never signalled after that.
class CommandCompletion {
 public:
  /// Both are for the processor, before the command is queued; it is borrowed for the flow log.
  CommandCompletion(KernelHandle done, const void* processor) noexcept
      : done_(std::move(done)), processor_(processor) {}

  /// Signalled once the command has run.
  [[nodiscard]] void* GetEvent() const noexcept { return done_.Get(); }
  [[nodiscard]] const void* GetProcessor() const noexcept { return processor_; }

  /// The worker's: true when it is to run the command, which is not so once the caller has left;
  /// and that it has run it, to be said before the event is signalled.
  [[nodiscard]] bool TryBeginRun() noexcept {
    Fate open = Fate::kOpen;
    return fate_.compare_exchange_strong(open, Fate::kRuns, std::memory_order_acq_rel);
  }
  void EndRun() noexcept { fate_.store(Fate::kOver, std::memory_order_release); }

  /// The caller's, which wants to leave with an error: false while the command runs. After true it
  /// neither runs nor will.
  [[nodiscard]] bool TryLeave() noexcept {
    Fate fate = Fate::kOpen;
    return fate_.compare_exchange_strong(fate, Fate::kOver, std::memory_order_acq_rel) ||
           fate == Fate::kOver;
  }

 private:
  enum class Fate : std::uint8_t { kOpen, kRuns, kOver };

  const KernelHandle done_;  // auto-reset
  const void* const processor_;
  std::atomic<Fate> fate_{Fate::kOpen};
};

}  // namespace Orvel::Detail

/// A command whose caller waits until it has run, and gets the error that it raised. Base of all
/// such commands: a subclass supplies `ExecuteCommand` and is handed to
/// `MCommandProcessor::ExecuteSynchronously`.
class MCommandSynchronous : public MCommand {
 public:
  /// `errorSlot` is shared with the caller and receives the command's error: an empty exception
  /// means that it succeeded. The caller may look into it once `ExecuteSynchronously` has
  /// returned. When it is null, errors go to the flow log only.
  explicit MCommandSynchronous(std::shared_ptr<MException> errorSlot = nullptr);
  ~MCommandSynchronous() override;

  /// Runs `ExecuteCommand`, keeps an `MException` that it raises in the error slot and wakes the
  /// caller. Any other exception passes through and the caller is not woken. Raises
  /// "ErrorAccessingEvent" when the caller cannot be woken. Worker only.
  void Execute() final;

 protected:
  /// The work, run on the processor's worker.
  virtual void ExecuteCommand() = 0;

 private:
  friend class MCommandProcessor;

  const std::shared_ptr<MException> errorSlot_;
  std::shared_ptr<Orvel::Detail::CommandCompletion> completion_;  // set by ExecuteSynchronously
};
