// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "orvel/threads/non_copyable.h"
#include "tests/support/flow_log.h"
#include "tests/support/meeting.h"
#include "tests/support/time_limits.h"

namespace Orvel::Testing {

/// Ends the program as failed when it is still alive after `kHangLimit`, with the end of the flow
/// log on stderr: who waits for whom.
class HangWatchdog : public Libraries::NonCopyable {
 public:
  HangWatchdog()
      : thread_([this] {
          if (over_.WaitFor(kHangLimit)) return;
          constexpr std::size_t kShownCharacters = 30'000;  // some hundred records
          const std::string log = TakeFlowLog();
          const char* const end = log.c_str() + log.size();
          std::fprintf(stderr, "This test hangs. The flow log ends with:\n%s\n",
                       end - (std::min)(log.size(), kShownCharacters));
          std::fflush(stderr);
          std::_Exit(EXIT_FAILURE);
        }) {}
  ~HangWatchdog() { over_.CountDown(); }

 private:
  Latch over_{1};
  const std::jthread thread_;  // last, so that it ends before what it uses
};

}  // namespace Orvel::Testing
