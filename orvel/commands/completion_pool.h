// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "orvel/foundation/source_context.h"
#include "orvel/platform/kernel_handle.h"

namespace Orvel::Detail {

/// What a synchronous command and its waiting caller share. The event belongs to both until the
/// last of them lets go, so that no command ever signals one that was closed or lent to another.
class CommandCompletion {
 public:
  /// The processor is borrowed for the flow log.
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

  /// The caller's, whose wait has taken the one signal that there is.
  void MarkReset() noexcept { isReset_ = true; }
  /// Whoever has it alone: whether nothing is left of its last use, and the begin of the next.
  [[nodiscard]] bool IsReset() const noexcept { return isReset_; }
  void Reopen() noexcept {
    fate_.store(Fate::kOpen, std::memory_order_relaxed);
    isReset_ = false;
  }

 private:
  enum class Fate : std::uint8_t { kOpen, kRuns, kOver };

  const KernelHandle done_;  // auto-reset
  const void* const processor_;
  std::atomic<Fate> fate_{Fate::kOpen};
  bool isReset_ = true;  // the caller's while it is lent
};

/// The completions of one processor, which its synchronous commands use by turns: creating and
/// closing an event costs more than waiting for it. Lives as long as the processor and all that is
/// lent. Thread-safe, without a lock.
class CompletionPool : public std::enable_shared_from_this<CompletionPool> {
 public:
  /// Only by `std::make_shared`. The processor is borrowed for the flow log.
  explicit CompletionPool(const void* processor) noexcept : processor_(processor) {}
  CompletionPool(const CompletionPool&) = delete;
  CompletionPool& operator=(const CompletionPool&) = delete;
  ~CompletionPool();

  /// A completion, unsignalled and open, for one command and its caller. It comes back when both
  /// have let go of it; one whose signal the caller has not taken is closed then. Raises
  /// "ErrorAccessingEvent" ("winErrorCode") and `std::bad_alloc`.
  [[nodiscard]] std::shared_ptr<CommandCompletion> Lend(const MRaiseSite& site);

 private:
  void TakeBack(std::unique_ptr<CommandCompletion> completion) noexcept;

  static constexpr std::size_t kMaxResting = 8;

  const void* const processor_;
  // Owned; each is taken out by an exchange, as a whole.
  std::array<std::atomic<CommandCompletion*>, kMaxResting> resting_{};
};

}  // namespace Orvel::Detail
