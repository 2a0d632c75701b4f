// SPDX-License-Identifier: MIT
#pragma once

// The adapter and the class that stores its records, for programs that build loggers of their own.
// Code that only uses the process's logger includes "orvel/logging/flow_log.h".
#include "orvel/logging/flow_log.h"
#include "orvel/logging/flow_logger_implementation.h"
