// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "orvel/platform/unique_handle.h"

namespace Orvel::Detail {

using KernelHandle = MKernelHandle;

/// How an event falls back to unsignalled.
enum class EventReset {
  kAutomatic,  ///< by the wait that it releases
  kManual      ///< only by an explicit reset
};

/// Creates an unnamed, unsignalled event. Returns an empty owner when the system refuses, with the
/// reason in the calling thread's last error code.
[[nodiscard]] KernelHandle CreateKernelEvent(EventReset reset) noexcept;

/// Signals or clears an event. Returns false when the system refuses, with the reason in the last
/// error code.
[[nodiscard]] bool SetKernelEvent(void* event) noexcept;
[[nodiscard]] bool ResetKernelEvent(void* event) noexcept;

/// Returns the identifier of the calling thread, never 0.
[[nodiscard]] std::uint32_t CurrentThreadId() noexcept;
/// Returns the calling thread's last error code. Call this in the statement right after the call
/// that failed: anything in between may change the code.
[[nodiscard]] std::uint32_t LastErrorCode() noexcept;
/// Gives the rest of the calling thread's time slice to another thread that is ready.
void YieldThread() noexcept;

}  // namespace Orvel::Detail
