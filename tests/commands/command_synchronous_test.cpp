// SPDX-License-Identifier: MIT
#include "orvel/commands/command_synchronous.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>

#include "orvel/commands/command_processor.h"
#include "tests/commands/tallied_command.h"
#include "tests/support/flow_log.h"
#include "tests/support/hang_watchdog.h"
#include "tests/support/meeting.h"
#include "tests/support/raised_error.h"
#include "tests/support/system_call_hook.h"

namespace {

using Orvel::Testing::BusyWorker;
using Orvel::Testing::ErrorOf;
using Orvel::Testing::ErrorText;
using Orvel::Testing::Latch;
using Orvel::Testing::SystemCall;
using Orvel::Testing::SystemCallHook;
using Orvel::Testing::TalliedSynchronous;
using Orvel::Testing::Tally;

MSourceContext context(L"MCommandSynchronousTest", L"Fail");

class MCommandSynchronousTest : public ::testing::Test {
 protected:
  std::string Execute(std::unique_ptr<TalliedSynchronous>&& command) {
    return ErrorOf([&] { processor_.ExecuteSynchronously(std::move(command)); });
  }
  std::unique_ptr<TalliedSynchronous> Command(std::function<void()> work = nullptr) {
    return std::make_unique<TalliedSynchronous>(tally_, std::move(work), slot_);
  }

  const Orvel::Testing::HangWatchdog watchdog_;
  Tally tally_;
  const std::shared_ptr<MException> slot_ = std::make_shared<MException>();
  MCommandProcessor processor_;
};

TEST_F(MCommandSynchronousTest, LeavesEachRunsErrorInTheSharedSlot) {
  processor_.Start();
  const auto raise = [] {
    MError error(context.At(__LINE__, nullptr), L"OnWorker");
    error.AddParameter(L"name", L"value");
    throw MException(error);
  };
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(Execute(Command(raise)), "");
    EXPECT_EQ(ErrorText(*slot_), "MCommandSynchronousTest.Fail:OnWorker [name=value]");
    ASSERT_EQ(slot_->GetErrors().size(), 1u);
    EXPECT_EQ(Execute(Command([slot = slot_] {
                EXPECT_TRUE(slot->GetErrors().empty()) << "cleared only after the run";
              })),
              "");
    EXPECT_TRUE(slot_->GetErrors().empty());
  }
  EXPECT_EQ(tally_.executed, 4);

  static_cast<void>(Orvel::Testing::TakeFlowLog());
  processor_.ExecuteSynchronously(std::make_unique<TalliedSynchronous>(tally_, raise));
  EXPECT_EQ(Orvel::Testing::FlowEventsWith(Orvel::Testing::TakeFlowLog(),
                                           {"Dismissed_error", "at ExecuteGenericCommand"})
                .size(),
            1u)
      << "without a slot the error is nowhere";
  processor_.Stop();
  EXPECT_EQ(tally_.deleted, 5);
  EXPECT_EQ(slot_.use_count(), 1);
}

TEST_F(MCommandSynchronousTest, WaitsForAProcessorThatIsYetToStart) {
  std::jthread starter;
  const SystemCallHook hook(SystemCall::kWaitForMultipleObjects,
                            [&] { starter = std::jthread([&] { processor_.Start(); }); });
  EXPECT_EQ(Execute(Command()), "");
  EXPECT_EQ(tally_.executed, 1);
}

TEST_F(MCommandSynchronousTest, StaysWithItsCallerWhenItIsRefused) {
  EXPECT_EQ(Execute(nullptr), "MCommandProcessor.ExecuteSynchronously:NoCommand");
  auto command = Command();
  {
    const SystemCallHook hook(SystemCall::kCreateEvent, 0, {0, 1450});
    EXPECT_EQ(Execute(std::move(command)),
              "MCommandProcessor.ExecuteSynchronously:ErrorAccessingEvent [winErrorCode=1450]");
    ASSERT_NE(command, nullptr);
  }
  {
    const SystemCallHook hook(SystemCall::kSetEvent, 0, {0, 6});
    EXPECT_EQ(Execute(std::move(command)),
              "MThreadSafeFifo.Push:ErrorAccessingEvent [winErrorCode=6]");
    ASSERT_NE(command, nullptr);
  }
  processor_.Start();
  processor_.Stop();
  EXPECT_EQ(Execute(std::move(command)), "MCommandProcessor.ExecuteSynchronously:ProcessorStopped");
  ASSERT_NE(command, nullptr);
  std::unique_ptr<MCommandSynchronous> base = std::move(command);
  EXPECT_EQ(ErrorOf([&] { processor_.ExecuteSynchronously(std::move(base)); }),
            "MCommandProcessor.ExecuteSynchronously:ProcessorStopped");
  ASSERT_NE(base, nullptr);
  EXPECT_EQ(tally_.deleted, 0);

  // What was refused can be run elsewhere.
  MCommandProcessor other;
  other.Start();
  other.ExecuteSynchronously(std::move(base));
  other.Stop();
  EXPECT_TRUE(tally_.RanOnce());
}

TEST_F(MCommandSynchronousTest, DoesNotRunAfterItsCallersWaitFailed) {
  constexpr std::uint64_t kFailed = 0xFFFFFFFF;
  struct {
    std::uint64_t status;
    const char* error;
  } const cases[] = {{128, "Abandoned"},
                     {129, "Abandoned"},
                     {kFailed, "WaitFailed [winErrorCode=5]"},
                     {192, "WaitFailed [winErrorCode=5]"}};
  processor_.Start();
  BusyWorker busy(processor_);
  for (const auto& [status, error] : cases) {
    const SystemCallHook hook(SystemCall::kWaitForMultipleObjects, 0, {status, 5});
    EXPECT_EQ(Execute(Command()), std::string("MCommandProcessor.ExecuteSynchronously:") + error);
  }
  busy.Release();
  processor_.Stop();
  EXPECT_EQ(tally_.executed, 0);
  EXPECT_EQ(tally_.deleted, 4);
}

TEST_F(MCommandSynchronousTest, ReleasesItsCallerWhenItCannotSignal) {
  processor_.Start();
  // Lives on the worker until the command is deleted there.
  std::unique_ptr<SystemCallHook> hook;
  EXPECT_EQ(Execute(Command([&] {
              hook = std::make_unique<SystemCallHook>(SystemCall::kSetEvent, 0,
                                                      Orvel::Testing::SystemAnswer{0, 6});
            })),
            "MCommandProcessor.ExecuteSynchronously:CommandProcessingAborted");
  processor_.Stop();
  EXPECT_TRUE(tally_.RanOnce());
}

// A caller that is about to wait while the processor is stopped and started again finds the abort
// event set, and its command in a queue that is served. Its command may run, but not once the
// caller is gone with all that the command borrows.
TEST_F(MCommandSynchronousTest, DoesNotRunOnAfterItsCallerGotTheAbort) {
  processor_.Start();
  Latch runs(1);
  Latch callerLeft(1);
  bool ranOn = false;
  const SystemCallHook restart(SystemCall::kCreateEvent, [&] {
    std::jthread([&] {
      processor_.Stop();
      processor_.Start();
    }).join();
  });
  const SystemCallHook untilItRuns(SystemCall::kWaitForMultipleObjects, [&] { runs.Wait(); });
  EXPECT_EQ(Execute(Command([&] {
              runs.CountDown();
              ranOn = callerLeft.WaitFor(Orvel::Testing::kMustNotHappenFor);
            })),
            "MCommandProcessor.ExecuteSynchronously:CommandProcessingAborted");
  callerLeft.CountDown();
  processor_.Stop();
  EXPECT_FALSE(ranOn);
  EXPECT_EQ(tally_.deleted, 1);
}

}  // namespace
