// SPDX-License-Identifier: MIT
#include "orvel/commands/command_synchronous.h"

#include "orvel/commands/command_processor.h"
#include "tests/commands/tallied_work.h"

namespace Orvel::Testing {
namespace {

const std::string kExecute = "MCommandProcessor.ExecuteSynchronously:";

MSourceContext context(L"MCommandSynchronousTest", L"Fail");

class MCommandSynchronousTest : public testing::Test {
 protected:
  std::string Execute(std::unique_ptr<MCommandSynchronous>&& command) {
    return ErrorOf([&] { processor_.ExecuteSynchronously(std::move(command)); });
  }
  std::unique_ptr<MCommandSynchronous> Command(std::function<void()> work = nullptr) {
    return MakeCommandSynchronous(slot_, Tallied(tally_, std::move(work)));
  }

  const HangWatchdog watchdog_;
  Tally tally_;
  const std::shared_ptr<MException> slot_ = std::make_shared<MException>();
  MCommandProcessor processor_;
};

TEST_F(MCommandSynchronousTest, LeavesEachRunsErrorInTheSharedSlot) {
  const auto raise = [] { RaiseError(context, L"OnWorker", L"name", 1); };
  processor_.Start();
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(Execute(Command(raise)), "");
    EXPECT_EQ(ErrorText(*slot_), "MCommandSynchronousTest.Fail:OnWorker [name=1]");
    EXPECT_EQ(slot_->GetErrors().size(), 1u);
  }
  EXPECT_EQ(Execute(Command([&] { EXPECT_TRUE(slot_->GetErrors().empty()); })), "");
  EXPECT_TRUE(slot_->GetErrors().empty());

  static_cast<void>(TakeFlowLog());
  EXPECT_EQ(Execute(MakeCommandSynchronous(nullptr, raise)), "");
  EXPECT_THAT(FlowEventsWith(TakeFlowLog(), {"Dismissed_error", "at ExecuteGenericCommand"}),
              testing::SizeIs(1))
      << "without a slot the error is nowhere";
  processor_.Stop();
  EXPECT_EQ(slot_.use_count(), 1);
}

TEST_F(MCommandSynchronousTest, StaysWithItsCallerWhenItIsRefused) {
  EXPECT_EQ(Execute(nullptr), kExecute + "NoCommand");
  struct Derived final : MCommandSynchronous {
    void ExecuteCommand() override {}
  };
  auto command = std::make_unique<Derived>();
  const auto execute = [&] { processor_.ExecuteSynchronously(std::move(command)); };
  EXPECT_EQ(ErrorUnder({SystemCall::kCreateEvent, 0, {0, 1450}}, execute),
            kExecute + "ErrorAccessingEvent [winErrorCode=1450]");
  std::vector<std::unique_ptr<MCommandSynchronous>> refused;
  ExpectNoHandleIsLeft(1, [&] {  // the event that was lent, though the command is there
    refused.push_back(MakeCommandSynchronous(nullptr, [] {}));
    EXPECT_EQ(ErrorUnder({SystemCall::kSetEvent, 0, {0, 6}},
                         [&] { processor_.ExecuteSynchronously(std::move(refused.back())); }),
              "MThreadSafeFifo.Push:ErrorAccessingEvent [winErrorCode=6]");
  });
  processor_.Start();
  processor_.QueueCommand(
      MakeCommand([&] { EXPECT_EQ(ErrorOf(execute), kExecute + "CannotExecuteSelf"); }));
  processor_.Stop();
  EXPECT_EQ(ErrorOf(execute), kExecute + "ProcessorStopped");
  EXPECT_NE(command, nullptr);
}

TEST_F(MCommandSynchronousTest, DoesNotRunAfterItsCallersWaitFailed) {
  const std::pair<std::uint64_t, std::string> cases[] = {
      {129, "Abandoned"},
      {130, "WaitFailed [winErrorCode=5]"},
      {0xFFFFFFFF, "WaitFailed [winErrorCode=5]"}};
  // The processor is yet to be started.
  for (const auto& [status, error] : cases) {
    const SystemCallHook hook(SystemCall::kWaitForMultipleObjects, 0, {status, 5});
    EXPECT_EQ(Execute(Command()), kExecute + error);
  }
  processor_.Start();
  processor_.Stop();
  EXPECT_EQ(tally_.executed, 0);
  EXPECT_EQ(tally_.deleted, 3);
}

// The command signals after its caller has left. Nobody else may be woken by that.
TEST_F(MCommandSynchronousTest, UsesItsCompletionsByTurnsButForThoseStillSignalled) {
  std::unique_ptr<SystemCallHook> signal;  // the worker's
  Latch runs(1);
  Latch callerLeft(1);
  bool ran = false;
  processor_.Start();
  EXPECT_EQ(Execute(Command()), "");
  processor_.Flush();  // the worker has let go of the command
  {
    const SystemCallHook create(SystemCall::kCreateEvent, 0, {0, 1450});
    const SystemCallHook wait(SystemCall::kWaitForMultipleObjects, [&] { runs.Wait(); },
                              {0xFFFFFFFF, 5});
    EXPECT_EQ(Execute(Command([&] {
                // The first one is that for `runs`.
                signal = std::make_unique<SystemCallHook>(
                    SystemCall::kSetEvent, [&] { callerLeft.Wait(); }, 1);
                runs.CountDown();
              })),
              kExecute + "WaitFailed [winErrorCode=5]");
    EXPECT_FALSE(create.WasReached()) << "the first one's was there to be used";
  }
  callerLeft.CountDown();
  processor_.Flush();
  EXPECT_EQ(Execute(Command([&] {
              signal.reset();
              std::this_thread::sleep_for(kMustNotHappenFor);
              ran = true;
            })),
            "");
  EXPECT_TRUE(ran) << "its caller was woken by another's signal";
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
              ranOn = callerLeft.WaitFor(kMustNotHappenFor);
            })),
            kExecute + "CommandProcessingAborted");
  callerLeft.CountDown();
  processor_.Stop();
  EXPECT_FALSE(ranOn);
  EXPECT_EQ(tally_.deleted, 1);
}

}  // namespace
}  // namespace Orvel::Testing
