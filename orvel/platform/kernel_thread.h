// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "orvel/platform/kernel_handle.h"

namespace Orvel::Detail {

/// A thread that was started; empty when the system refused.
struct KernelThread {
  KernelHandle handle;
  std::uint32_t id = 0;
};

/// Starts a thread that calls `entry(argument)` and ends with what that returns as its exit code.
/// Returns an empty one when the system refuses, with the reason in `errno`.
[[nodiscard]] KernelThread StartKernelThread(unsigned (*entry)(void*), void* argument) noexcept;

}  // namespace Orvel::Detail
