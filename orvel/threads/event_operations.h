// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "orvel/foundation/source_context.h"
#include "orvel/platform/kernel_handle.h"
#include "orvel/platform/kernel_thread.h"
#include "orvel/platform/kernel_wait.h"

namespace Orvel::Detail {

/// Operations on events that raise "ErrorAccessingEvent" with "winErrorCode" when the system
/// refuses.
[[nodiscard]] KernelHandle CreateEventOrRaise(const MRaiseSite& site, EventReset reset);
void SetEventOrRaise(const MRaiseSite& site, void* event);
void ResetEventOrRaise(const MRaiseSite& site, void* event);

/// `StartKernelThread`, which raises "BeginThread" with "errno" when the system refuses.
[[nodiscard]] KernelThread StartThreadOrRaise(const MRaiseSite& site, unsigned (*entry)(void*),
                                              void* argument);

/// Raises the error for a wait on `handleCount` handles whose outcome its caller does not expect:
/// "Abandoned" with "status", "WaitFailed" with "winErrorCode", or else "Unexpected" with "status".
[[noreturn]] void RaiseWaitFailure(const MRaiseSite& site, const WaitOutcome& outcome,
                                   std::uint32_t handleCount);

}  // namespace Orvel::Detail
