// SPDX-License-Identifier: MIT
#include "orvel/commands/command_processor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "orvel/foundation/exception.h"
#include "tests/commands/tallied_command.h"
#include "tests/support/flow_log.h"
#include "tests/support/function_functor.h"
#include "tests/support/handle_count.h"
#include "tests/support/hang_watchdog.h"
#include "tests/support/meeting.h"
#include "tests/support/raised_error.h"
#include "tests/support/system_call_hook.h"
#include "tests/threads/scripted_engine.h"

namespace {

using Orvel::Testing::BusyWorker;
using Orvel::Testing::CountOpenHandles;
using Orvel::Testing::ErrorOf;
using Orvel::Testing::FlowEventsWith;
using Orvel::Testing::ForObject;
using Orvel::Testing::Functor;
using Orvel::Testing::Latch;
using Orvel::Testing::SystemAnswer;
using Orvel::Testing::SystemCall;
using Orvel::Testing::SystemCallHook;
using Orvel::Testing::TakeFlowLog;
using Orvel::Testing::TalliedCommand;
using Orvel::Testing::TalliedSynchronous;
using Orvel::Testing::Tally;
using Orvel::Testing::WaitUntilStopIsUnderWay;
using ::testing::Contains;
using ::testing::ElementsAre;
using Clock = std::chrono::steady_clock;

MSourceContext context(L"MCommandProcessorTest", L"Fail");

class MCommandProcessorTest : public ::testing::Test {
 protected:
  void Queue(Tally& tally, std::function<void()> work = nullptr) {
    processor_->QueueCommand(std::make_unique<TalliedCommand>(tally, std::move(work)));
  }
  void Mark(const char* mark) {
    processor_->QueueCommand(MakeCommand([this, mark] { trace_.emplace_back(mark); }));
  }

  const Orvel::Testing::HangWatchdog watchdog_;
  std::vector<std::string> trace_;  // the worker's, until it has ended or answered
  std::unique_ptr<MCommandProcessor> processor_ = std::make_unique<MCommandProcessor>();
};

TEST_F(MCommandProcessorTest, RunsCommandsInTheirOrderAlsoThoseQueuedBeforeItStarts) {
  Tally tally;
  Mark("1");
  Queue(tally);
  EXPECT_EQ(tally.executed, 0);
  processor_->Start();
  Mark("2");
  // Queued by a command, it runs after those that were queued before.
  processor_->QueueCommand(MakeCommand([this] { Mark("4"); }));
  processor_->Flush();
  Mark("5");
  processor_->Stop();
  EXPECT_THAT(trace_, ElementsAre("1", "2", "4", "5"));
  EXPECT_TRUE(tally.RanOnce());
}

TEST_F(MCommandProcessorTest, StopRunsWhatWasQueuedAndDeletesWhatComesLater) {
  std::array<Tally, 3> before;
  std::array<Tally, 2> raising;
  Tally afterAbort;
  Tally afterEnd;
  Tally afterRestart;
  processor_->SetThreadEndCallback(Functor([&] { Queue(afterAbort); }));
  processor_->Start();
  BusyWorker busy(*processor_);
  Queue(raising[0], [] { RaiseError(context, L"InFlushOfStop"); });
  Queue(raising[1], [] { RaiseError(context, L"BehindIt"); });
  for (Tally& tally : before) Queue(tally);
  static_cast<void>(TakeFlowLog());
  std::jthread stopper([&] { processor_->Stop(); });
  WaitUntilStopIsUnderWay(*processor_);
  EXPECT_FALSE(processor_->IsAborted()) << "what is queued has yet to run";
  busy.Release();
  stopper.join();
  for (const Tally& tally : raising) EXPECT_TRUE(tally.RanOnce());
  for (const Tally& tally : before) EXPECT_TRUE(tally.RanOnce());
  EXPECT_TRUE(afterAbort.DeletedUnexecuted());
  EXPECT_TRUE(processor_->IsAborted());
  Queue(afterEnd);
  EXPECT_TRUE(afterEnd.DeletedUnexecuted());
  const std::string log = TakeFlowLog();
  EXPECT_THAT(FlowEventsWith(log, {"Dismissed_error", "at OnStop"}),
              ElementsAre("Dismissed_error MCommandProcessorTest.Fail:InFlushOfStop",
                          "Dismissed_error MCommandProcessorTest.Fail:BehindIt"));
  EXPECT_THAT(FlowEventsWith(log, {"at Abort", ForObject(processor_.get())}),
              ElementsAre("Scope_push", "Timing_point (0, 0)", "Scope_pop"));

  // Started again it runs plain commands, and stays aborted.
  processor_->Start();
  EXPECT_TRUE(processor_->IsAborted());
  Queue(afterRestart);
  processor_->Stop();
  EXPECT_TRUE(afterRestart.RanOnce());
}

TEST_F(MCommandProcessorTest, CallsBackAsItsWorkerStartsAndEnds) {
  const auto owned = std::make_shared<int>();
  processor_->SetThreadStartCallback(Functor([&, owned] { trace_.emplace_back("start"); }));
  processor_->SetThreadEndCallback(Functor([&] {
    trace_.emplace_back("end");
    RaiseError(context, L"EndCallback");
  }));
  static_cast<void>(TakeFlowLog());
  processor_->Start();
  const auto refused = std::make_shared<int>();
  EXPECT_EQ(ErrorOf([&] { processor_->SetThreadStartCallback(Functor([refused] {})); }),
            "MCommandProcessor.SetThreadStartCallback:AlreadyRunning");
  EXPECT_EQ(ErrorOf([&] { processor_->SetThreadEndCallback(Functor([refused] {})); }),
            "MCommandProcessor.SetThreadEndCallback:AlreadyRunning");
  EXPECT_EQ(refused.use_count(), 1);
  Mark("command");
  processor_->Stop();
  EXPECT_THAT(trace_, ElementsAre("start", "command", "end"));
  EXPECT_THAT(FlowEventsWith(TakeFlowLog(), {"Dismissed_error"}),
              ElementsAre("Dismissed_error MCommandProcessorTest.Fail:EndCallback"));
  processor_.reset();
  EXPECT_EQ(owned.use_count(), 1);
}

TEST_F(MCommandProcessorTest, AFailedStartLeavesItOpenWithItsQueue) {
  Tally tally;
  Queue(tally);
  processor_->SetThreadEndCallback(Functor([&] { trace_.emplace_back("end"); }));
  processor_->SetThreadStartCallback(Functor([] { RaiseError(context, L"StartCallback"); }));
  EXPECT_EQ(ErrorOf([&] { processor_->Start(); }), "MEngineThread.Start:ThreadExitedUnexpectedly");
  EXPECT_EQ(processor_->GetState(), MEngineState::kInactive);
  EXPECT_FALSE(processor_->IsAborted());
  EXPECT_EQ(tally.deleted, 0);
  EXPECT_TRUE(trace_.empty()) << "what was not set up was undone";
  processor_->SetThreadStartCallback(nullptr);
  processor_->Start();
  processor_->Stop();
  EXPECT_TRUE(tally.RanOnce());
}

TEST_F(MCommandProcessorTest, CallsBackWhenIdleEveryTenthOfASecondAndNotBetweenCommands) {
  constexpr int kIdles = 4;
  Latch idle(kIdles);
  std::atomic<int> idles{0};
  processor_ = std::make_unique<MCommandProcessor>(0, 0, 0, Functor([&] {
                                                     ++idles;
                                                     idle.CountDown();
                                                     RaiseError(context, L"Idle");
                                                   }));
  static_cast<void>(TakeFlowLog());
  const Clock::time_point start = Clock::now();
  processor_->Start();
  idle.Wait();
  const auto perIdle = (Clock::now() - start) / kIdles;
  EXPECT_GE(perIdle, Orvel::Testing::kIdlePeriod * 8 / 10);
  EXPECT_LE(perIdle, Orvel::Testing::kIdlePeriod * 10);
  // Now, before what follows fills the log.
  EXPECT_THAT(FlowEventsWith(TakeFlowLog(), {"Dismissed_error"}),
              Contains("Dismissed_error MCommandProcessorTest.Fail:Idle"))
      << "the idle callback's error ended the worker";

  // Each command queues the next: the queue is never empty for as long as an idle wait.
  int idlesDuringCommands = -1;
  Latch done(1);
  std::function<void()> next;
  const auto queueNext = [&] { processor_->QueueCommand(MakeCommand([&] { next(); })); };
  Clock::time_point begun;
  next = [&] {
    if (begun == Clock::time_point()) {
      begun = Clock::now();
      idlesDuringCommands = -idles;
    }
    if (Clock::now() - begun < Orvel::Testing::kIdlePeriod * 3) return queueNext();
    idlesDuringCommands += idles;
    done.CountDown();
  };
  queueNext();
  done.Wait();
  EXPECT_EQ(idlesDuringCommands, 0);
  processor_->Stop();
}

// A plain command that raises ends its worker. Nobody who waits may be left behind.
TEST_F(MCommandProcessorTest, AFailingWorkerReleasesItsCallersAndDeletesItsQueue) {
  constexpr std::size_t kCallers = 3;
  processor_->SetThreadEndCallback(Functor([&] { trace_.emplace_back("end"); }));
  processor_->Start();
  Tally raising;
  Tally queued;
  std::array<Tally, kCallers> waitedFor;
  BusyWorker busy(*processor_);
  Queue(raising, [] { RaiseError(context, L"Plain"); });
  Queue(queued);
  Latch waiting(kCallers);
  std::vector<std::jthread> callers;
  for (Tally& tally : waitedFor) {
    callers.emplace_back([&] {
      const SystemCallHook hook(SystemCall::kWaitForMultipleObjects, [&] { waiting.CountDown(); });
      EXPECT_EQ(ErrorOf([&] {
                  processor_->ExecuteSynchronously(std::make_unique<TalliedSynchronous>(tally));
                }),
                "MCommandProcessor.ExecuteSynchronously:CommandProcessingAborted");
    });
  }
  waiting.Wait();
  static_cast<void>(TakeFlowLog());
  busy.Release();
  callers.clear();
  EXPECT_TRUE(processor_->IsAborted());
  EXPECT_EQ(ErrorOf([&] { processor_->Flush(); }), "MEngineThread.Flush:ThreadExitedUnexpectedly");
  EXPECT_TRUE(raising.RanOnce());
  EXPECT_TRUE(queued.DeletedUnexecuted());
  for (const Tally& tally : waitedFor) EXPECT_TRUE(tally.DeletedUnexecuted());
  EXPECT_THAT(FlowEventsWith(TakeFlowLog(), {"Dismissed_error", ForObject(processor_.get())}),
              ElementsAre("Dismissed_error MCommandProcessorTest.Fail:Plain"));

  Tally unserved;
  Queue(unserved);
  EXPECT_TRUE(unserved.DeletedUnexecuted());
  processor_->Stop();
  EXPECT_EQ(processor_->GetState(), MEngineState::kInactive);
  EXPECT_THAT(trace_, ElementsAre("end"));

  Tally flushed;
  processor_->Start();
  BusyWorker busyAgain(*processor_);
  Queue(flushed, [] { RaiseError(context, L"InFlush"); });
  Latch flushAsked(1);
  std::jthread flusher([&] {
    const SystemCallHook hook(SystemCall::kWaitForMultipleObjects, [&] { flushAsked.CountDown(); });
    EXPECT_EQ(ErrorOf([&] { processor_->Flush(); }),
              "MEngineThread.Flush:ThreadExitedUnexpectedly");
  });
  flushAsked.Wait();
  busyAgain.Release();
  flusher.join();
  EXPECT_TRUE(flushed.RanOnce());
}

TEST_F(MCommandProcessorTest, RefusesTheWorkersOwnCallsWhileAnotherThreadFlushes) {
  processor_->Start();
  BusyWorker busy(*processor_);
  Tally refused;
  std::string errors;
  processor_->QueueCommand(MakeCommand([&] {
    auto command = std::make_unique<TalliedSynchronous>(refused);
    errors = ErrorOf([&] { processor_->Flush(); }) + ' ' + ErrorOf([&] { processor_->Stop(); }) +
             ' ' + ErrorOf([&] { processor_->Start(); }) + ' ' +
             ErrorOf([&] { processor_->ExecuteSynchronously(std::move(command)); });
    EXPECT_NE(command, nullptr) << "the refused command was taken from its caller";
  }));
  Latch flushAsked(1);
  std::jthread flusher([&] {
    const SystemCallHook hook(SystemCall::kWaitForMultipleObjects, [&] { flushAsked.CountDown(); });
    processor_->Flush();
  });
  flushAsked.Wait();
  busy.Release();
  flusher.join();
  EXPECT_EQ(errors,
            "MEngineThread.Flush:CannotFlushSelf MEngineThread.Stop:CannotStopSelf "
            "MEngineThread.Start:AlreadyRunning "
            "MCommandProcessor.ExecuteSynchronously:CannotExecuteSelf");
  EXPECT_TRUE(refused.DeletedUnexecuted());
}

TEST_F(MCommandProcessorTest, NamesWhatItRecords) {
  static_cast<void>(TakeFlowLog());
  Tally tally;
  processor_->Start();
  processor_->ExecuteSynchronously(std::make_unique<TalliedSynchronous>(tally));
  processor_->Stop();
  const std::string log = TakeFlowLog();
  for (const char* const point :
       {"MCommandProcessor at ThreadFunction", "MCommandProcessor at OnFlush",
        "MCommandProcessor at OnStop", "MCommandProcessor at Abort",
        "MCommandProcessor at IsAborted", "MCommandProcessor at ExecuteSynchronously",
        "MCommandSynchronous at ExecuteGenericCommand", "GenericGuard at ~GenericGuard"}) {
    EXPECT_GE(FlowEventsWith(log, {"Scope_push", point}).size(), 1u) << point;
    EXPECT_EQ(FlowEventsWith(log, {"Scope_push", point}).size(),
              FlowEventsWith(log, {"Scope_pop", point}).size());
  }
  EXPECT_THAT(FlowEventsWith(log, {"at OnCommandQueued"}), ElementsAre());
  EXPECT_THAT(FlowEventsWith(log, {"in_class (unknown)"}), ElementsAre());
  EXPECT_THAT(FlowEventsWith(log, {"at (unknown)"}), ElementsAre());
  EXPECT_THAT(FlowEventsWith(log, {ForObject(processor_.get()) + " (unknown)"}), ElementsAre());
  // The first name of a thread's id stays: it may be that of a scheduler in another test.
  EXPECT_FALSE(FlowEventsWith(log, {"at ThreadFunction", "(Command processor thread)"}).empty() &&
               FlowEventsWith(log, {"at ThreadFunction", "(Scheduler thread)"}).empty());
}

TEST_F(MCommandProcessorTest, KeepsItsPromisesWhenTheSystemRefuses) {
  for (int created = 5; created < 7; ++created) {
    const SystemCallHook hook(SystemCall::kCreateEvent, created, {0, 1450});
    EXPECT_EQ(ErrorOf([] { MCommandProcessor processor; }),
              created == 5
                  ? "MThreadSafeFifo.MThreadSafeFifo:ErrorAccessingEvent [winErrorCode=1450]"
                  : "MCommandProcessor.MCommandProcessor:ErrorAccessingEvent [winErrorCode=1450]");
  }
  Tally refused;
  {
    const SystemCallHook hook(SystemCall::kSetEvent, 0, {0, 6});
    EXPECT_EQ(ErrorOf([&] { Queue(refused); }),
              "MThreadSafeFifo.Push:ErrorAccessingEvent [winErrorCode=6]");
  }
  EXPECT_TRUE(refused.DeletedUnexecuted());
  EXPECT_EQ(ErrorOf([&] { processor_->QueueCommand(nullptr); }),
            "MCommandProcessor.QueueCommand:NoCommand");
  {
    const SystemCallHook hook(SystemCall::kWaitForSingleObject, 0, {0xFFFFFFFF, 6});
    EXPECT_EQ(ErrorOf([&] { static_cast<void>(processor_->IsAborted()); }),
              "MCommandProcessor.IsAborted:ErrorAccessingEvent [winErrorCode=6]");
  }
}

TEST_F(MCommandProcessorTest, ASignalRefusedToTheWorkerLeavesNobodyWaitingAndNothingQueued) {
  std::unique_ptr<SystemCallHook> hook;  // the worker's
  const auto refuseNext = [&] {
    hook = std::make_unique<SystemCallHook>(SystemCall::kSetEvent, 0, SystemAnswer{0, 6});
  };
  processor_->SetThreadEndCallback(Functor([&] { hook.reset(); }));
  processor_->Start();
  Tally awaited;
  {
    BusyWorker busy(*processor_);
    processor_->QueueCommand(MakeCommand([&] {
      refuseNext();  // of the abort that the error brings about
      RaiseError(context, L"Plain");
    }));
    Latch waiting(1);
    std::jthread caller([&] {
      const SystemCallHook wait(SystemCall::kWaitForMultipleObjects, [&] { waiting.CountDown(); });
      EXPECT_EQ(ErrorOf([&] {
                  processor_->ExecuteSynchronously(std::make_unique<TalliedSynchronous>(awaited));
                }),
                "MCommandProcessor.ExecuteSynchronously:CommandProcessingAborted");
    });
    waiting.Wait();
    busy.Release();
  }
  processor_->Stop();  // the caller may be back before the worker has deleted its command
  EXPECT_TRUE(awaited.DeletedUnexecuted());

  std::unique_ptr<SystemCallHook> secondHook;
  processor_->SetThreadEndCallback(Functor([&] {
    hook.reset();
    secondHook.reset();
  }));
  processor_->Start();
  static_cast<void>(TakeFlowLog());
  processor_->QueueCommand(MakeCommand([&] {
    refuseNext();
    secondHook = std::make_unique<SystemCallHook>(SystemCall::kSetEvent, 0, SystemAnswer{0, 6});
  }));
  processor_->Stop();
  EXPECT_EQ(
      FlowEventsWith(TakeFlowLog(), {"Dismissed_error MCommandProcessor.Abort:ErrorAccessingEvent"})
          .size(),
      1u);

  Tally unserved;
  processor_->SetThreadStartCallback(Functor(refuseNext));
  EXPECT_EQ(ErrorOf([&] { processor_->Start(); }), "MEngineThread.Start:ThreadExitedUnexpectedly");
  Queue(unserved);
  EXPECT_TRUE(unserved.DeletedUnexecuted());
}

TEST_F(MCommandProcessorTest, IsDestroyedWhileItRunsAndLeavesNoHandleBehind) {
  std::size_t handles = 0;
  for (int round = 0; round < 200; ++round) {
    if (round == 1) handles = CountOpenHandles();
    Tally awaited;
    Tally queued;
    MCommandProcessor processor;
    processor.Start();
    processor.ExecuteSynchronously(std::make_unique<TalliedSynchronous>(awaited));
    processor.QueueCommand(std::make_unique<TalliedCommand>(queued));
    if (round % 2 == 0) {
      processor.Stop();
      EXPECT_TRUE(awaited.RanOnce());
      EXPECT_TRUE(queued.RanOnce());
    }
  }
  EXPECT_EQ(CountOpenHandles(), handles);
}

}  // namespace
