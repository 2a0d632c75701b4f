// SPDX-License-Identifier: MIT
#pragma once

#include <thread>

#include "tests/support/meeting.h"
#include "tests/support/time_limits.h"

namespace Orvel::Testing {

/// Ends the program as failed when it is still alive after the limit, with the end of the flow log
/// on stderr: who waits for whom.
class HangWatchdog {
 public:
  explicit HangWatchdog(std::chrono::milliseconds limit = kHangLimit);
  HangWatchdog(const HangWatchdog&) = delete;
  HangWatchdog& operator=(const HangWatchdog&) = delete;
  ~HangWatchdog() { over_.CountDown(); }

 private:
  Latch over_{1};
  const std::jthread thread_;  // last, so that it ends before what it uses
};

}  // namespace Orvel::Testing
