// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

#include "orvel/diagnostics/crash_handler.h"

namespace Orvel::Detail {

/// Begins a call of the handler in one of the `kMaxHandlers` places and returns it, null when there
/// is none. Takes no lock: in a crash, the thread that holds it may never run again.
[[nodiscard]] ICrashHandler* BeginCrashHandler(std::size_t place) noexcept;
/// Ends that call. Call it also when the handler has crashed and will not return.
void EndCrashHandler() noexcept;

}  // namespace Orvel::Detail
