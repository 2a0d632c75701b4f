// SPDX-License-Identifier: MIT
// What an engine must survive: a system that refuses, where each call that it makes is made to fail
// once, and everybody calling at once. The latter is short here; scripts/stress repeats it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>

#include "tests/threads/staging.h"

namespace Orvel::Testing {
namespace {

using testing::AnyOf;

constexpr SystemCall kSetEvent = SystemCall::kSetEvent;
constexpr SystemCall kWaitForOne = SystemCall::kWaitForSingleObject;
constexpr SystemCall kWaitForAny = SystemCall::kWaitForMultipleObjects;
constexpr SystemAnswer kRefused = {0, 6};
constexpr std::uint64_t kWaitFailed = 0xFFFFFFFF;

class MEngineThreadFaultTest : public testing::Test {
 protected:
  const HangWatchdog watchdog_;
};

TEST_F(MEngineThreadFaultTest, AFailedWaitIsReportedAndCostsNeitherWorkerNorObject) {
  const struct {
    SystemAnswer answer;
    std::string error;           // of Start and Flush
    std::string errorOfOneWait;  // of Stop
  } cases[] = {{{128, 0}, "Abandoned [status=128]", "Abandoned"},
               {{129, 0}, "Abandoned [status=129]", "Unexpected [status=129]"},
               {{kWaitFailed, 5}, "WaitFailed [winErrorCode=5]", "WaitFailed [winErrorCode=5]"},
               {{192, 0}, "Unexpected [status=192]", "Unexpected [status=192]"}};
  ExpectNoHandleIsLeft(1, [&] {
    for (const auto& [answer, error, errorOfOneWait] : cases) {
      std::atomic<int> stops{0};
      {
        ScriptedEngine engine;
        engine.onStop = [&] { ++stops; };
        EXPECT_EQ(ErrorUnder({kWaitForAny, 0, answer}, [&] { engine.Start(); }),
                  "MEngineThread.Start:" + error);
        EXPECT_EQ(engine.GetState(), MEngineState::kInactive);
        EXPECT_EQ(stops, 1) << "an inactive object may be destroyed, so the worker has to be gone";

        engine.Start();
        EXPECT_EQ(ErrorUnder({kWaitForAny, 0, answer}, [&] { engine.Flush(); }),
                  "MEngineThread.Flush:" + error);
        EXPECT_EQ(engine.GetState(), MEngineState::kRunning);

        EXPECT_EQ(ErrorUnder({kWaitForOne, 0, answer}, [&] { engine.Stop(); }),
                  "MEngineThread.Stop:" + errorOfOneWait);
        engine.Stop();
        EXPECT_EQ(engine.GetState(), MEngineState::kStopping) << "the worker was asked before";
      }
      EXPECT_EQ(stops, 2) << "the destructor has to wait for the worker that Stop left behind";
    }
  });
}

TEST_F(MEngineThreadFaultTest, WithoutEventOrThreadItIsNotBuiltOrStaysInactive) {
  for (int created = 0; created < 5; ++created) {
    EXPECT_EQ(ErrorUnder({SystemCall::kCreateEvent, created, {0, 1450}}, [] { ScriptedEngine(); }),
              "MEngineThread.MEngineThread:ErrorAccessingEvent [winErrorCode=1450]");
  }
  ScriptedEngine engine;
  const auto start = [&] { engine.Start(); };
  EXPECT_EQ(ErrorUnder({SystemCall::kBeginThread, 0, {0, 11}}, start),
            "MEngineThread.Start:BeginThread [errno=11]");
  for (int event = 0; event < 5; ++event) {
    EXPECT_EQ(ErrorUnder({SystemCall::kResetEvent, event, kRefused}, start),
              "MEngineThread.Start:ErrorAccessingEvent [winErrorCode=6]");
    EXPECT_EQ(engine.GetState(), MEngineState::kInactive);
  }
  engine.script = [&] {
    const SystemCallHook hook(kSetEvent, 0, kRefused);
    engine.SignalThreadStarted();
  };
  EXPECT_EQ(ErrorOf(start), "MEngineThread.Start:ThreadExitedUnexpectedly");
  engine.script = nullptr;
  engine.Start();
  engine.Stop();
  EXPECT_EQ(engine.stops, 1);
}

TEST_F(MEngineThreadFaultTest, ARefusedSignalLeavesItRunning) {
  ScriptedEngine engine;
  engine.Start();
  EXPECT_EQ(ErrorUnder({kSetEvent, 0, kRefused}, [&] { engine.Flush(); }),
            "MEngineThread.Flush:ErrorAccessingEvent [winErrorCode=6]");
  EXPECT_EQ(ErrorUnder({kSetEvent, 0, kRefused}, [&] { engine.Stop(); }),
            "MEngineThread.Stop:ErrorAccessingEvent [winErrorCode=6]");
  EXPECT_EQ(engine.GetState(), MEngineState::kRunning);
  EXPECT_FALSE(engine.IsStopRequested() || engine.HasPendingRequest()) << "marked all the same";
  engine.Flush();
  EXPECT_EQ(engine.flushes, 1);
  engine.Stop();
  EXPECT_EQ(engine.stops, 1);
  EXPECT_TRUE(engine.IsStopRequested());
  EXPECT_FALSE(engine.HasPendingRequest());

  const auto owned = std::make_shared<int>();
  const auto add = [&](void* handle) { engine.AddEvent(handle, MakeCallback([owned] {})); };
  auto event = Detail::CreateKernelEvent(Detail::EventReset::kAutomatic);
  EXPECT_EQ(ErrorUnder({kSetEvent, 0, kRefused}, [&] { add(event.Get()); }),
            "MEngineThread.AddEvent:ErrorAccessingEvent [winErrorCode=6]");
  EXPECT_EQ(ErrorOf([&] { add(nullptr); }), "MEngineThread.AddEvent:NoEvent");
  EXPECT_EQ(owned.use_count(), 1) << "the refused functor was not deleted";
  event.Close();
  engine.Start();  // would fail to wait on the handle, had it been kept
  engine.Flush();
}

TEST_F(MEngineThreadFaultTest, TheAnswerToAFlushThatGaveUpWaitingIsNotTakenForTheNextOnes) {
  Gate gate;
  std::atomic<int> served{0};
  ScriptedEngine engine;
  engine.onFlush = [&] {
    if (engine.flushes == 1) gate.Hold();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ++served;
  };
  engine.Start();
  EXPECT_EQ(ErrorUnder({kWaitForAny, 0, {kWaitFailed, 5}}, [&] { engine.Flush(); }),
            "MEngineThread.Flush:WaitFailed [winErrorCode=5]");
  gate.AwaitWorker();
  const SystemCallHook hook(kWaitForAny, [&] { gate.Release(); });
  engine.Flush();
  EXPECT_EQ(served, 2);
}

TEST_F(MEngineThreadFaultTest, ForceStopRecordsTheErrorAndEndsTheWorkerAllTheSame) {
  const struct {
    SystemCall call;
    SystemAnswer answer;
    std::string error;
  } cases[] = {{kWaitForOne, {kWaitFailed, 5}, "WaitFailed"},
               {kSetEvent, kRefused, "ErrorAccessingEvent"}};
  for (const auto& [call, answer, error] : cases) {
    static_cast<void>(TakeFlowLog());
    ScriptedEngine engine;
    engine.Start();
    EXPECT_EQ(ErrorUnder({call, 0, answer}, [&] { engine.ForceStop(); }), "");
    EXPECT_EQ(engine.GetState(), MEngineState::kInactive);
    EXPECT_THAT(FlowEventsWith(TakeFlowLog(), {"Dismissed_error MEngineThread.Stop:" + error,
                                               "at ForceStop", ForObject(&engine)}),
                testing::SizeIs(1));
    EXPECT_EQ(engine.stops, 1);
  }
}

class MEngineThreadRaceTest : public MEngineThreadFaultTest {
 protected:
  static constexpr std::size_t kThreads = 4;

  /// Has threads make `count` calls each, with random numbers below `end`.
  void CallTogether(int count, std::size_t end, const std::function<void(std::size_t)>& call) {
    RunTogether(kThreads, [&](std::size_t thread) {
      std::minstd_rand random(seed_ + static_cast<unsigned>(thread));
      for (int i = 0; i < count; ++i) call(random() % end);
    });
  }

  const unsigned seed_ = std::random_device()();
  const testing::ScopedTrace trace_{__FILE__, __LINE__, "seed " + std::to_string(seed_)};
};

TEST_F(MEngineThreadRaceTest, CallsOfFourThreadsGiveEachLifeItsOneStop) {
  std::atomic<int> asked{0};
  int seen = 0;  // the worker's, and of whoever has stopped it
  ExpectNoHandleIsLeft(1, [&] {
    std::atomic<int> starts{0};
    ScriptedEngine engine;
    engine.onFlush = [&] { seen = asked; };
    const auto start = [&] {
      engine.Start();
      ++starts;
    };
    const auto flush = [&] {
      ++asked;
      engine.Flush();
    };
    const std::array<std::function<void()>, 4> calls = {start, flush, [&] { engine.Stop(); },
                                                        [&] { engine.ForceStop(); }};
    CallTogether(100, calls.size(), [&](std::size_t choice) {
      EXPECT_THAT(ErrorOf(calls[choice]), AnyOf("", "MEngineThread.Start:AlreadyRunning",
                                                "MEngineThread.Flush:ThreadExitedUnexpectedly"));
    });
    engine.Stop();
    EXPECT_EQ(engine.stops, starts);
    EXPECT_GT(starts, 0);
    EXPECT_LE(engine.flushes, asked);
    engine.Start();
    flush();
    EXPECT_EQ(seen, asked) << "a flush is not through before it has run";
    engine.Stop();
  });
}

TEST_F(MEngineThreadRaceTest, EverySignalOfAsManyEventsAsThereMayBeIsServed) {
  constexpr std::size_t kEvents = 61;
  constexpr int kSignals = 5000;
  struct Added {
    Detail::KernelHandle event = Detail::CreateKernelEvent(Detail::EventReset::kAutomatic);
    std::atomic<int> sent{0};
    std::atomic<int> served{0};
  };
  std::array<Added, kEvents> added;
  const auto refused = std::make_shared<int>();
  ScriptedEngine engine;
  // Added by a handler, while the lists of events and handlers are in use.
  engine.onFlush = [&] {
    for (Added& one : added) {
      engine.AddEvent(one.event.Get(), MakeCallback([&one] { one.served = one.sent.load(); }));
    }
    EXPECT_EQ(ErrorOf([&] { engine.AddEvent(added[0].event.Get(), MakeCallback([refused] {})); }),
              "MEngineThread.AddEvent:TooManyWaitableEvents");
  };
  engine.Start();
  engine.Flush();
  EXPECT_EQ(refused.use_count(), 1) << "the refused functor was not deleted";
  CallTogether(kSignals, kEvents, [&](std::size_t choice) {
    ++added[choice].sent;
    EXPECT_TRUE(Detail::SetKernelEvent(added[choice].event.Get()));
  });
  int sent = 0;
  for (const Added& one : added) {
    while (one.served != one.sent) std::this_thread::yield();  // the watchdog ends it
    sent += one.served;
  }
  EXPECT_EQ(sent, kSignals * static_cast<int>(kThreads));
  engine.Stop();
}

}  // namespace
}  // namespace Orvel::Testing
