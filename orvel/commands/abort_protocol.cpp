// SPDX-License-Identifier: MIT
#include "orvel/commands/abort_protocol.h"

#include <array>
#include <memory>

#include "orvel/foundation/system_error.h"
#include "orvel/threads/event_operations.h"

namespace Orvel::Detail {
namespace {

constexpr std::uint32_t kLeavePollMs = 100;

}  // namespace

AbortProtocol::AbortProtocol(Queue& queue, const MRaiseSite& site)
    : queue_(queue), aborted_(CreateEventOrRaise(site, EventReset::kManual)) {}

WaitOutcome AbortProtocol::WaitForRun(CommandCompletion& completion) const noexcept {
  const std::array<void*, kWaitHandles> handles = {completion.GetEvent(), aborted_.Get()};
  const WaitOutcome outcome = WaitForAny(handles, kWaitForever);
  if (outcome.status == WaitStatus::kObject0) {
    completion.MarkReset();
    return outcome;
  }
  // A worker that was started again may just have begun to run the command, with what its caller
  // lent it. The wait has a time-out for the case that the event cannot be signalled.
  while (!completion.TryLeave()) {
    static_cast<void>(WaitForOne(completion.GetEvent(), kLeavePollMs));
  }
  return outcome;
}

void AbortProtocol::Abort(const MRaiseSite& site) {
  gate_.fetch_or(kClosed, std::memory_order_acq_rel);
  isAborted_.store(true, std::memory_order_release);
  // Callers that wait have nothing else to wake them: a refusal is worth a second try.
  const bool isSignalled = SetKernelEvent(aborted_.Get()) || SetKernelEvent(aborted_.Get());
  const std::uint32_t code = LastErrorCode();
  DeleteUnservedCommands();
  if (!isSignalled) RaiseSystemError(site, L"ErrorAccessingEvent", code);
}

bool AbortProtocol::ReopenQueue() {
  while ((gate_.load(std::memory_order_acquire) & kClosed) != 0) {
    DeleteUnservedCommands();
    std::uint32_t expected = kClosed;
    if (gate_.compare_exchange_strong(expected, 0, std::memory_order_acq_rel)) return true;
    // Another thread has taken a command out and not yet left the count.
    YieldThread();
  }
  return false;
}

void AbortProtocol::DeleteWhileClosed() {
  for (;;) {
    std::uint32_t gate = gate_.load(std::memory_order_acquire);
    do {
      if ((gate & kClosed) == 0) return;
    } while (!gate_.compare_exchange_weak(gate, gate + 1, std::memory_order_acq_rel,
                                          std::memory_order_acquire));
    MCommand* unserved = nullptr;
    const bool taken = queue_.Pop(unserved);
    gate_.fetch_sub(1, std::memory_order_release);
    const std::unique_ptr<MCommand> deleted(unserved);
    if (!taken) return;
  }
}

}  // namespace Orvel::Detail
