// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "orvel/platform/kernel_handle.h"

namespace Orvel::Detail {

/// Opens the calling thread, so that others can wait for its end and read its exit code. Returns an
/// empty owner when the system refuses.
[[nodiscard]] KernelHandle OpenCurrentThread() noexcept;

/// Returns the exit code of a thread that has ended, by a handle of `OpenCurrentThread`.
[[nodiscard]] std::uint32_t ExitCodeOfThread(void* thread) noexcept;

/// Returns true when the calling thread is the only one of the process. Takes a snapshot of all
/// threads of the system, so it is not for hot paths. Returns false when the system refuses one.
[[nodiscard]] bool IsOnlyThread() noexcept;

}  // namespace Orvel::Detail
