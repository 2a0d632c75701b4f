// SPDX-License-Identifier: MIT
#include "orvel/commands/completion_pool.h"

#include "orvel/threads/event_operations.h"

namespace Orvel::Detail {

CompletionPool::~CompletionPool() {
  for (auto& slot : resting_) delete slot.load(std::memory_order_acquire);
}

std::shared_ptr<CommandCompletion> CompletionPool::Lend(const MRaiseSite& site) {
  std::unique_ptr<CommandCompletion> taken;
  for (auto& slot : resting_) {
    taken.reset(slot.exchange(nullptr, std::memory_order_acquire));
    if (taken != nullptr) break;
  }
  if (taken == nullptr) {
    taken = std::make_unique<CommandCompletion>(CreateEventOrRaise(site, EventReset::kAutomatic),
                                                processor_);
  }
  std::shared_ptr<CommandCompletion> lent(
      taken.release(), [pool = shared_from_this()](CommandCompletion* completion) {
        pool->TakeBack(std::unique_ptr<CommandCompletion>(completion));
      });
  lent->Reuse();
  return lent;
}

void CompletionPool::TakeBack(std::unique_ptr<CommandCompletion> completion) noexcept {
  if (!completion->IsReset()) return;
  for (auto& slot : resting_) {
    CommandCompletion* none = nullptr;
    if (slot.compare_exchange_strong(none, completion.get(), std::memory_order_release,
                                     std::memory_order_relaxed)) {
      static_cast<void>(completion.release());
      return;
    }
  }
}

}  // namespace Orvel::Detail
