// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "orvel/platform/kernel_handle.h"

namespace Orvel::Detail {

/// Creates an unnamed timer, unsignalled and not set. Returns an empty owner when the system
/// refuses, with the reason in the calling thread's last error code.
[[nodiscard]] KernelHandle CreateKernelTimer(EventReset reset) noexcept;

/// Sets a timer and clears its signal. `dueTime` is in units of 100 ns: a delay if negative, else a
/// time since 1601-01-01 00:00 UTC. `periodMs` is 0 for a timer that fires once, else at most
/// 2^31 - 1 milliseconds. Returns false when the system refuses, with the reason in the last error
/// code.
[[nodiscard]] bool SetKernelTimer(void* timer, std::int64_t dueTime,
                                  std::uint32_t periodMs) noexcept;

/// Cancels a timer but keeps its signal. Returns false when the system refuses, with the reason in
/// the last error code.
[[nodiscard]] bool CancelKernelTimer(void* timer) noexcept;

}  // namespace Orvel::Detail
