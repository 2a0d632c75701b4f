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

void RunProcessor(const Owned& owned) {
  MCommandProcessor processor;
  processor.Start();
  processor.QueueCommand(MakeCommand([owned] {}));
  processor.ExecuteSynchronously(
      MakeCommandSynchronous(std::make_shared<MException>(), [owned] {}));
  processor.Flush();
  processor.Stop();
  processor.Start();
  processor.QueueCommand(MakeCommand([owned] {}));
  processor.Stop();
}

// Without events: those still queued when a scheduler goes away are not deleted, by contract.
void RunScheduler(const Owned&) {
  MDesyncEventScheduler scheduler;
  scheduler.Enable();
  scheduler.Disable();
  scheduler.Enable();
}

void DestroyWhileRunning(const Owned&) {
  MCommandProcessor processor;
  processor.Start();
}

TEST(FaultInjectionTest, EveryFailingCallEndsInAnErrorAndLeavesNothing) {
  const HangWatchdog watchdog;
  const auto owned = std::make_shared<int>();
  for (const auto scenario : {&RunProcessor, &RunScheduler, &DestroyWhileRunning}) {
    const auto run = [&] { scenario(owned); };
    run();  // whatever is built once is there now
    const std::size_t handles = CountOpenHandles();
    int errors = 0;
    std::uint64_t failing = 0;
    do {
      StandIn::FailCall(++failing);
      if (!ErrorOf(run).empty()) ++errors;
      EXPECT_EQ(CountOpenHandles(), handles) << "call " << failing;
      EXPECT_EQ(owned.use_count(), 1) << "call " << failing;
    } while (StandIn::FailCall(0) >= failing);
    EXPECT_GT(errors, 10) << "calls did not fail";
  }
}

}  // namespace
}  // namespace Orvel::Testing
