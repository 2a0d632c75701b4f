// SPDX-License-Identifier: MIT
#pragma once

#include "orvel/logging/flow_logger_implementation.h"

namespace Orvel::Detail {

/// Returns what the process's flow logger stores its records in, or null before the logger is first
/// used. For crash reports, which must not build one. Any thread, without a lock.
[[nodiscard]] MFlowLoggerImplementation* ProcessLoggerForCrash() noexcept;

}  // namespace Orvel::Detail
