// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>

#include "orvel/commands/abort_protocol.h"
#include "orvel/foundation/source_context.h"

namespace Orvel::Detail {

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
