// SPDX-License-Identifier: MIT
#include "orvel/commands/command_processor.h"

#include <array>
#include <list>

#include "tests/commands/tallied_work.h"

namespace Orvel::Testing {
namespace {

using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Clock = std::chrono::steady_clock;

constexpr const char* kStartFailed = "MEngineThread.Start:ThreadExitedUnexpectedly";
constexpr const char* kCallerAborted =
    "MCommandProcessor.ExecuteSynchronously:CommandProcessingAborted";
constexpr const char* kCallerRefused = "MCommandProcessor.ExecuteSynchronously:ProcessorStopped";

MSourceContext context(L"MCommandProcessorTest", L"Fail");

class MCommandProcessorTest : public testing::Test {
 protected:
  void Queue(Tally& tally, std::function<void()> work = nullptr) {
    processor_->QueueCommand(MakeCommand(Tallied(tally, std::move(work))));
  }
  void Execute(Tally& tally) {
    processor_->ExecuteSynchronously(MakeCommandSynchronous(nullptr, Tallied(tally)));
  }

  const HangWatchdog watchdog_;
  std::vector<std::string> trace_;  // the worker's, until it has ended or answered
  std::unique_ptr<MCommandProcessor> processor_ = std::make_unique<MCommandProcessor>();
};

// Whatever commands raise, the one too that runs as the stop is requested.
TEST_F(MCommandProcessorTest, StopRunsWhatWasQueuedAndDeletesWhatComesLater) {
  std::array<Tally, 3> before;
  std::array<Tally, 2> after;
  Tally afterRestart;
  processor_->SetThreadEndCallback(MakeCallback([&] { Queue(after[0]); }));
  processor_->Start();
  Gate busy;
  processor_->QueueCommand(MakeCommand([&] {
    busy.Hold();
    RaiseError(context, L"DuringTheRequest");
  }));
  busy.AwaitWorker();
  Queue(before[0], [] { RaiseError(context, L"InFlushOfStop"); });
  Queue(before[1], [&] {
    EXPECT_TRUE(processor_->IsStopRequested());
    RaiseError(context, L"BehindIt");
  });
  Queue(before[2]);
  static_cast<void>(TakeFlowLog());
  std::jthread stopper = StopElsewhere(*processor_);
  EXPECT_FALSE(processor_->IsAborted()) << "what is queued has yet to run";
  busy.Release();
  stopper.join();
  Queue(after[1]);
  for (const Tally& tally : before) EXPECT_TRUE(tally.RanOnce());
  for (const Tally& tally : after) EXPECT_TRUE(tally.DeletedUnexecuted());
  const std::string log = TakeFlowLog();
  EXPECT_THAT(FlowEventsWith(log, {"in_class (unknown)"}), IsEmpty());
  EXPECT_THAT(FlowEventsWith(log, {"at (unknown)"}), IsEmpty());
  EXPECT_THAT(FlowEventsWith(log, {"Dismissed_error"}),
              ElementsAre("Dismissed_error MCommandProcessorTest.Fail:DuringTheRequest",
                          "Dismissed_error MCommandProcessorTest.Fail:InFlushOfStop",
                          "Dismissed_error MCommandProcessorTest.Fail:BehindIt"));

  // Started again it runs plain commands, and stays aborted.
  processor_->Start();
  EXPECT_TRUE(processor_->IsAborted());
  Queue(afterRestart);
  processor_->Stop();
  EXPECT_TRUE(afterRestart.RanOnce());
}

TEST_F(MCommandProcessorTest, CallsBackAsItsWorkerStartsAndEndsAndKeepsItsQueueWhenAStartFails) {
  processor_->QueueCommand(MakeCommand([&] { trace_.emplace_back("command"); }));
  processor_->SetThreadEndCallback(MakeCallback([&] {
    trace_.emplace_back("end");
    RaiseError(context, L"EndCallback");
  }));
  processor_->SetThreadStartCallback(MakeCallback([] { RaiseError(context, L"StartCallback"); }));
  EXPECT_EQ(ErrorOf([&] { processor_->Start(); }), kStartFailed);
  EXPECT_FALSE(processor_->IsAborted());
  EXPECT_THAT(trace_, IsEmpty()) << "what was not set up was undone";

  const auto refused = [&] {
    EXPECT_EQ(ErrorOf([&] { processor_->SetThreadStartCallback(nullptr); }),
              "MCommandProcessor.SetThreadStartCallback:AlreadyRunning");
  };
  Latch started(1);
  processor_->SetThreadStartCallback(MakeCallback([&] {
    refused();
    trace_.emplace_back("start");
    started.CountDown();
  }));
  static_cast<void>(TakeFlowLog());
  {
    // Keeps this thread from marking in time that there is a worker.
    const SystemCallHook begun(SystemCall::kThreadBegun, [&] { started.Wait(); });
    processor_->Start();
    EXPECT_TRUE(begun.WasReached());
  }
  refused();
  processor_->Stop();
  EXPECT_THAT(trace_, ElementsAre("start", "command", "end"));
  EXPECT_THAT(FlowEventsWith(TakeFlowLog(), {"Dismissed_error", "at ~GenericGuard"}),
              ElementsAre("Dismissed_error MCommandProcessorTest.Fail:EndCallback"));
}

TEST_F(MCommandProcessorTest, CallsBackWhenIdleEveryTenthOfASecondAndNotBetweenCommands) {
  constexpr int kIdles = 4;
  Latch idle(kIdles);
  Clock::time_point start;
  const auto onIdle = [&] {
    EXPECT_NE(start, Clock::time_point()) << "between commands";
    idle.CountDown();
    RaiseError(context, L"Idle");
  };
  processor_ = std::make_unique<MCommandProcessor>(0, 0, 0, MakeCallback(onIdle));
  // Together they take longer than an idle wait.
  for (int command = 0; command < 15; ++command) {
    processor_->QueueCommand(MakeCommand([] { std::this_thread::sleep_for(kIdlePeriod / 10); }));
  }
  processor_->QueueCommand(MakeCommand([&] { start = Clock::now(); }));
  processor_->Start();
  idle.Wait();
  EXPECT_GE(Clock::now() - start, kIdlePeriod * kIdles * 8 / 10);
  processor_->Stop();
}

// Each is requested while a command runs that has a long queue behind it.
TEST_F(MCommandProcessorTest, ServesAFlushARestartAndAStopBeforeTheNextCommand) {
  const auto added = Detail::CreateKernelEvent(Detail::EventReset::kAutomatic);
  const auto addEvent = [&] { processor_->AddEvent(added.Get(), nullptr); };
  const auto flush = [&] { return WaitElsewhere([&] { processor_->Flush(); }); };
  const auto stop = [&] { return StopElsewhere(*processor_); };
  const auto expectServed = [&](const char* served, const std::function<std::jthread()>& request,
                                const std::function<void()>& onWorker) {
    Gate gate;
    std::string log;
    processor_->QueueCommand(MakeCommand([&] {
      gate.Hold();
      onWorker();
    }));
    gate.AwaitWorker();
    processor_->QueueCommand(MakeCommand([&] { log = TakeFlowLog(); }));
    Latch behind(1000);
    const auto countDown = [&] { behind.CountDown(); };
    for (int i = 0; i < 1000; ++i) processor_->QueueCommand(MakeCommand(countDown));
    static_cast<void>(TakeFlowLog());
    const std::jthread requesting = request();
    gate.Release();
    behind.Wait();
    EXPECT_THAT(FlowEventsWith(log, {"Scope_push", served}), SizeIs(1)) << served;
  };
  processor_->Start();
  expectServed("at OnFlushWrapper", flush, [] {});
  expectServed(
      "at OnRestartEventLoop", [] { return std::jthread(); }, addEvent);
  expectServed("at OnStopWrapper", stop, [] {});
}

TEST_F(MCommandProcessorTest, KeepsItsPromisesWhenTheSystemRefuses) {
  EXPECT_EQ(ErrorUnder({SystemCall::kCreateEvent, 6, {0, 1450}}, [] { MCommandProcessor(); }),
            "MCommandProcessor.MCommandProcessor:ErrorAccessingEvent [winErrorCode=1450]");
  Tally refused;
  EXPECT_EQ(ErrorUnder({SystemCall::kSetEvent, 0, {0, 6}}, [&] { Queue(refused); }),
            "MThreadSafeFifo.Push:ErrorAccessingEvent [winErrorCode=6]");
  EXPECT_TRUE(refused.DeletedUnexecuted());
  EXPECT_EQ(ErrorOf([&] { processor_->QueueCommand(nullptr); }),
            "MCommandProcessor.QueueCommand:NoCommand");
  const std::string setStep = "MCommandProcessor.SetQueueGrowthStep:";
  EXPECT_EQ(ErrorOf([&] { processor_->SetQueueGrowthStep(0); }), setStep + "BadGrowthStep");
  processor_->Start();
  EXPECT_EQ(ErrorOf([&] { processor_->SetQueueGrowthStep(2); }), setStep + "AlreadyRunning");
}

// A plain command that raises ends its worker. Nobody who waits may be left behind, even when the
// system at first refuses the signal of the abort.
TEST_F(MCommandProcessorTest, AFailingWorkerReleasesItsCallersAndDeletesItsQueue) {
  std::list<SystemCallHook> hooks;  // the worker's
  const auto refuseNext = [&] { hooks.emplace_back(SystemCall::kSetEvent, 0, SystemAnswer{0, 6}); };
  processor_->SetThreadEndCallback(MakeCallback([&] { hooks.clear(); }));
  processor_->Start();
  std::array<Tally, 3> tallies;
  {
    Gate busy;
    processor_->QueueCommand(MakeCommand([&] {
      busy.Hold();
      refuseNext();
      RaiseError(context, L"Plain");
    }));
    const std::jthread caller = WaitElsewhere([&] { Execute(tallies[0]); }, kCallerAborted);
    Queue(tallies[1]);
    busy.Release();
  }
  EXPECT_TRUE(processor_->IsAborted());
  EXPECT_EQ(ErrorOf([&] { processor_->Flush(); }), "MEngineThread.Flush:ThreadExitedUnexpectedly");
  EXPECT_TRUE(tallies[1].DeletedUnexecuted());
  Queue(tallies[2]);
  processor_->Stop();
  for (const Tally& tally : tallies) EXPECT_TRUE(tally.DeletedUnexecuted());
  EXPECT_THAT(hooks, IsEmpty()) << "it calls back as it ends";

  processor_->Start();
  static_cast<void>(TakeFlowLog());
  processor_->QueueCommand(MakeCommand([&] {
    refuseNext();
    refuseNext();
  }));
  processor_->Stop();
  EXPECT_THAT(FlowEventsWith(TakeFlowLog(),
                             {"Dismissed_error MCommandProcessor.Abort:ErrorAccessingEvent"}),
              SizeIs(1));

  Tally unserved;
  processor_->SetThreadStartCallback(MakeCallback(refuseNext));
  EXPECT_EQ(ErrorOf([&] { processor_->Start(); }), kStartFailed);
  Queue(unserved);
  EXPECT_TRUE(unserved.DeletedUnexecuted());
}

TEST_F(MCommandProcessorTest, IsDestroyedWhileItRunsAndLeavesNoHandleBehind) {
  ExpectNoHandleIsLeft(99, [&] {
    std::array<Tally, 2> tallies;
    processor_ = std::make_unique<MCommandProcessor>();
    processor_->Start();
    Execute(tallies[0]);
    Queue(tallies[1]);
    processor_.reset();
    for (const Tally& tally : tallies) EXPECT_TRUE(tally.RanOnce());
  });
}

// Races: every command is run once or deleted unexecuted, and is deleted exactly once, whoever got
// in first. They are short here; scripts/stress repeats them.

TEST_F(MCommandProcessorTest, ProducersAgainstRestarts) {
  constexpr std::size_t kProducers = 4;
  constexpr std::size_t kEach = 12;
  std::ptrdiff_t deletedUnexecuted = 0;
  for (int round = 0; round < 100; ++round) {
    SCOPED_TRACE(round);
    std::array<Tally, kProducers * kEach> tallies;
    std::array<Tally, 4> afterStarts;
    processor_ = std::make_unique<MCommandProcessor>();
    std::atomic<std::size_t> stops{0};
    const auto produce = [&](std::size_t producer) {
      for (std::size_t i = 0; i < kEach; ++i) {
        while (stops < i / 4) std::this_thread::yield();  // some behind each stop
        Queue(tallies[producer * kEach + i]);
      }
    };
    RunTogether(kProducers, produce, [&] {
      for (Tally& tally : afterStarts) {
        processor_->Start();
        // No producer that is still deleting for the aborted queue may take it.
        Queue(tally);
        processor_->Stop();
        ++stops;
      }
    });
    processor_->Stop();
    for (const Tally& tally : afterStarts) ASSERT_TRUE(tally.RanOnce());
    for (const Tally& tally : tallies) {
      if (tally.DeletedUnexecuted()) ++deletedUnexecuted;
      ASSERT_EQ(tally.deleted, 1);
      ASSERT_LE(tally.executed, 1);
    }
  }
  EXPECT_GT(deletedUnexecuted, 0) << "no stop ever came in between";
}

TEST_F(MCommandProcessorTest, WaitingCallersAgainstStop) {
  int aborted = 0;
  for (int round = 0; round < 1000; ++round) {
    Tally tally;
    std::string error;
    // As a machine may else let the same side win every time, one is held back by a time that
    // differs from round to round.
    const auto holdBack = [round](int side) {
      const auto goAt = Clock::now() + std::chrono::microseconds(round % 100);
      while (round % 2 == side && Clock::now() < goAt) std::this_thread::yield();
    };
    processor_ = std::make_unique<MCommandProcessor>();
    processor_->Start();
    const auto execute = [&](std::size_t) {
      holdBack(0);
      error = ErrorOf([&] { Execute(tally); });
    };
    RunTogether(1, execute, [&] {
      holdBack(1);
      processor_->Stop();
    });
    if (!error.empty()) ++aborted;
    EXPECT_EQ(tally.deleted, 1);
    EXPECT_THAT(error, AnyOf("", kCallerAborted, kCallerRefused));
    EXPECT_LE(tally.executed, error == kCallerRefused ? 0 : 1);
    EXPECT_GE(tally.executed, error.empty() ? 1 : 0);
  }
  EXPECT_GT(aborted, 0) << "no stop ever came in between";
}

}  // namespace
}  // namespace Orvel::Testing
