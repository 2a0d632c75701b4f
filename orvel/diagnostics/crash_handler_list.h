// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

#include "orvel/diagnostics/crash_handler.h"

namespace Orvel::Detail {

/// Begins a call of the handler in one of the `kMaxHandlers` places and returns it, null when there
/// is none. Takes no lock: in a crash, a thread that never goes on may hold it.
[[nodiscard]] ICrashHandler* BeginCrashHandler(std::size_t place) noexcept;
/// Ends that call; also to be called when the handler crashed and will not return.
void EndCrashHandler() noexcept;

}  // namespace Orvel::Detail
