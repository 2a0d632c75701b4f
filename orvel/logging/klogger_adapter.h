// SPDX-License-Identifier: MIT
#pragma once

// The adapter with what it works on, for loggers of a program's own. Code that uses the process's
// logger needs "orvel/logging/flow_log.h" alone.
#include "orvel/logging/flow_log.h"
#include "orvel/logging/flow_logger_implementation.h"
