// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

namespace Orvel::Testing {

/// A test that is not through by then hangs, also on a machine that is busy with other things. A
/// program's own time limit is to be longer.
inline constexpr std::chrono::seconds kHangLimit{150};
/// How long a test watches for what must not happen, where no event can order it.
inline constexpr std::chrono::milliseconds kMustNotHappenFor{100};
/// Quiet spell after which a command processor calls its idle callback.
inline constexpr std::chrono::milliseconds kIdlePeriod{100};

}  // namespace Orvel::Testing
