// SPDX-License-Identifier: MIT
#include "tests/support/hang_watchdog.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/support/flow_log.h"

namespace Orvel::Testing {

HangWatchdog::HangWatchdog(std::chrono::milliseconds limit)
    : thread_([this, limit] {
        if (over_.WaitFor(limit)) return;
        constexpr std::size_t kShownCharacters = 30'000;  // some hundred records
        const std::string log = TakeFlowLog();
        const std::size_t start = log.size() > kShownCharacters ? log.size() - kShownCharacters : 0;
        std::fprintf(stderr, "This test hangs. The flow log ends with:\n%s\n", log.c_str() + start);
        std::fflush(stderr);
        std::_Exit(EXIT_FAILURE);
      }) {}

}  // namespace Orvel::Testing
