// SPDX-License-Identifier: MIT
// A module with a copy of the library of its own, as a plug-in has. What it exports stands in
// second_module.def.
#include "orvel/logging/flow_log.h"

extern "C" MFlowLogger* GetSecondModulesLogger() { return &flowLogger(); }
