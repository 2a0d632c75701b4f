// SPDX-License-Identifier: MIT
// Makes every system call of a scenario fail in turn. Whatever fails, the run ends, in an error
// with the system's code or in success, and no handle and no memory is left: the address sanitizer
// looks for the latter.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <memory>

#include "orvel/commands/command_processor.h"
#include "orvel/commands/desync_event_scheduler.h"
#include "orvel/commands/function_command.h"
#include "orvel/threads/generic_guard.h"
#include "stand_in/stand_in.h"
#include "tests/support/hang_watchdog.h"

namespace {

using Orvel::Testing::HangWatchdog;

struct Scenario {
  const char* name;
  void (*run)();
};

/// Commands that were made and are gone, whether they ran or not.
std::atomic<int> made{0};
std::atomic<int> gone{0};
std::atomic<int> runs{0};

class CountedCommand final : public MCommand {
 public:
  CountedCommand() { ++made; }
  ~CountedCommand() override { ++gone; }
  void Execute() override { ++runs; }
};

void RunProcessor() {
  MCommandProcessor processor;
  processor.Start();
  processor.QueueCommand(std::make_unique<CountedCommand>());
  const auto errorSlot = std::make_shared<MException>();
  processor.ExecuteSynchronously(MakeCommandSynchronous(errorSlot, [] { ++runs; }));
  processor.Flush();
  processor.Stop();
  processor.Start();
  processor.QueueCommand(std::make_unique<CountedCommand>());
  processor.Stop();
}

// Without events: those still queued when a scheduler goes away are not deleted, by contract.
void RunScheduler() {
  MDesyncEventScheduler scheduler;
  scheduler.Enable();
  scheduler.Disable();
  scheduler.Enable();
}

void DestroyWhileRunning() {
  MCommandProcessor processor;
  processor.Start();
}

class FaultInjectionTest : public testing::TestWithParam<Scenario> {};

TEST_P(FaultInjectionTest, EveryFailingCallEndsInAnErrorAndLeavesNothing) {
  const HangWatchdog watchdog;
  const auto run = GetParam().run;
  run();  // whatever is built once is there now
  const std::size_t handles = StandIn::CountHandles();
  std::uint64_t errors = 0;
  bool reached = true;
  for (std::uint64_t call = 1; reached; ++call) {
    StandIn::FailCall(call);
    const Orvel::Libraries::GenericGuard restore({}, [] { StandIn::FailCall(0); });
    try {
      run();
    } catch (const MException& exception) {
      ++errors;
      const MError* const newest = exception.GetNewestError();
      ASSERT_NE(newest, nullptr);
      EXPECT_FALSE(newest->GetCode().empty());
    }
    reached = StandIn::CountCalls() >= call;
    EXPECT_EQ(StandIn::CountHandles(), handles) << "call " << call;
    EXPECT_EQ(made, gone) << "call " << call;
  }
  EXPECT_GT(errors, 10u) << "calls did not fail";
}

INSTANTIATE_TEST_SUITE_P(Scenarios, FaultInjectionTest,
                         testing::Values(Scenario{"Processor", &RunProcessor},
                                         Scenario{"Scheduler", &RunScheduler},
                                         Scenario{"DestroyWhileRunning", &DestroyWhileRunning}),
                         [](const auto& scenario) { return scenario.param.name; });

}  // namespace
