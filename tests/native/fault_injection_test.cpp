// SPDX-License-Identifier: MIT
// Makes every system call of a scenario fail in turn. Whatever fails, the run ends, in an error
// with the system's code or in success, and no handle and no memory is left: the address sanitizer
// looks for the latter.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>

#include "orvel/commands/command_processor.h"
#include "orvel/commands/desync_event_scheduler.h"
#include "orvel/commands/function_command.h"
#include "stand_in/stand_in.h"
#include "tests/support/handle_count.h"
#include "tests/support/hang_watchdog.h"
#include "tests/support/raised_error.h"

namespace Orvel::Testing {
namespace {

using Owned = std::shared_ptr<int>;  // commands hold on to it

void RunAll(const Owned& owned) {
  MCommandProcessor processor;
  processor.Start();
  processor.QueueCommand(MakeCommand([owned] {}));
  processor.ExecuteSynchronously(
      MakeCommandSynchronous(std::make_shared<MException>(), [owned] {}));
  processor.Flush();
  processor.Stop();
  processor.Start();
  processor.QueueCommand(MakeCommand([owned] {}));
  // Without events: those still queued when a scheduler goes away are not deleted, by contract.
  MDesyncEventScheduler scheduler;
  scheduler.Enable();
  scheduler.Disable();
  scheduler.Enable();
  // Both are destroyed while they run.
}

TEST(FaultInjectionTest, EveryFailingCallEndsInAnErrorAndLeavesNothing) {
  const HangWatchdog watchdog;
  const auto owned = std::make_shared<int>();
  RunAll(owned);  // whatever is built once is there now
  const std::size_t handles = CountOpenHandles();
  int errors = 0;
  std::uint64_t failing = 0;
  do {
    StandIn::FailCall(++failing);
    if (!ErrorOf([&] { RunAll(owned); }).empty()) ++errors;
    EXPECT_EQ(CountOpenHandles(), handles) << "call " << failing;
    EXPECT_EQ(owned.use_count(), 1) << "call " << failing;
  } while (StandIn::FailCall(0) >= failing);
  EXPECT_GT(errors, 20) << "calls did not fail";
}

}  // namespace
}  // namespace Orvel::Testing
