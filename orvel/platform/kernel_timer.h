// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "orvel/platform/kernel_handle.h"

namespace Orvel::Detail {

/// Creates an unnamed timer, unsignalled and not set. An empty owner when the system refuses; the
/// calling thread's last error code then says why.
[[nodiscard]] KernelHandle CreateKernelTimer(EventReset reset) noexcept;

/// Sets a timer, which takes back its signal. `dueTime` is in units of 100 ns: negative for a time
/// from now on, else since 1601-01-01 00:00 UTC. `periodMs` is 0 for a timer that fires once, else
/// at most 2^31 - 1 milliseconds. False when the system refuses; the last error code says why.
[[nodiscard]] bool SetKernelTimer(void* timer, std::int64_t dueTime,
                                  std::uint32_t periodMs) noexcept;

/// Ends a timer and leaves its signal as it is. False when the system refuses.
[[nodiscard]] bool CancelKernelTimer(void* timer) noexcept;

}  // namespace Orvel::Detail
