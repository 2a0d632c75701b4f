// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>

#include "orvel/commands/abort_protocol.h"
#include "orvel/foundation/source_context.h"

namespace Orvel::Detail {

/// The completions of one processor, which its synchronous commands use in turn: creating and
/// closing an event for each would cost more than waiting for it. Exists as long as the processor
/// and everything that is lent. Thread-safe, without a lock.
class CompletionPool : public std::enable_shared_from_this<CompletionPool> {
 public:
  /// For `std::make_shared` only. The processor is borrowed for the flow log.
  explicit CompletionPool(const void* processor) noexcept : processor_(processor) {}
  CompletionPool(const CompletionPool&) = delete;
  CompletionPool& operator=(const CompletionPool&) = delete;
  ~CompletionPool();

  /// Returns an unsignalled completion for one command and its caller. It comes back when both have
  /// released it, and is then closed if the caller's wait has not taken its signal. Raises
  /// "ErrorAccessingEvent" ("winErrorCode") at `site`, and `std::bad_alloc`. Any thread.
  [[nodiscard]] std::shared_ptr<CommandCompletion> Lend(const MRaiseSite& site);

 private:
  void TakeBack(std::unique_ptr<CommandCompletion> completion) noexcept;

  static constexpr std::size_t kMaxResting = 8;

  const void* const processor_;
  // Owned. A thread that takes one out exchanges its pointer for null: acquire in Lend, release in
  // TakeBack, so that the next borrower finds it as the last one left it.
  std::array<std::atomic<CommandCompletion*>, kMaxResting> resting_{};
};

}  // namespace Orvel::Detail
