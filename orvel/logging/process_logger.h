// SPDX-License-Identifier: MIT
#pragma once

#include "orvel/logging/flow_logger_implementation.h"

namespace Orvel::Detail {

/// What the process's flow logger works on; null while nobody has asked for the logger. For crash
/// reports, which build nothing. Any thread, without a lock.
[[nodiscard]] MFlowLoggerImplementation* ProcessLoggerForCrash() noexcept;

}  // namespace Orvel::Detail
