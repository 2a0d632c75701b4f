// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>

namespace Orvel::Detail {

/// What the system's wait functions return, by their documented values.
namespace WaitStatus {
inline constexpr std::uint32_t kObject0 = 0;       ///< plus the index of the signalled handle
inline constexpr std::uint32_t kAbandoned0 = 128;  ///< plus the index of the abandoned handle
inline constexpr std::uint32_t kTimeout = 258;
inline constexpr std::uint32_t kFailed = 0xFFFFFFFF;
}  // namespace WaitStatus

/// The time-out of a wait without limit.
inline constexpr std::uint32_t kWaitForever = 0xFFFFFFFF;
/// Handles that one wait can take.
inline constexpr std::uint32_t kMaxWaitHandles = 64;

/// The result of a wait, and the thread's last error code right after it.
struct WaitOutcome {
  std::uint32_t status;
  std::uint32_t lastError;
};

/// Waits for one handle for up to `timeoutMs` milliseconds; 0 does not wait.
[[nodiscard]] WaitOutcome WaitForOne(void* handle, std::uint32_t timeoutMs) noexcept;
/// Waits for any of up to 64 handles; reports the first of those that are signalled.
[[nodiscard]] WaitOutcome WaitForAny(std::span<void* const> handles,
                                     std::uint32_t timeoutMs) noexcept;
/// The same for up to 63 handles, and for window messages, for which the status is the number of
/// handles.
[[nodiscard]] WaitOutcome WaitForAnyOrInput(std::span<void* const> handles,
                                            std::uint32_t timeoutMs) noexcept;

/// Suspends the calling thread for `timeMs` milliseconds at least; 0 gives up the rest of its
/// slice.
void SleepFor(std::uint32_t timeMs) noexcept;

}  // namespace Orvel::Detail
