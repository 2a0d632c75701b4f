// SPDX-License-Identifier: MIT
// What an engine must survive: a system that refuses, where each call that it makes is made to fail
// once, and everybody calling at once. The latter is short here; scripts/stress repeats it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <thread>

#include "tests/threads/staging.h"

namespace Orvel::Testing {
namespace {

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

      ScriptedEngine forced;
      forced.Start();
      EXPECT_EQ(ErrorUnder({kWaitForOne, 0, answer}, [&] { forced.ForceStop(); }), "");
      EXPECT_EQ(forced.GetState(), MEngineState::kInactive);
      EXPECT_EQ(forced.stops, 1);
    }
  });
}

TEST_F(MEngineThreadFaultTest, WithoutEventOrThreadItIsNotBuiltOrStaysInactive) {
  EXPECT_EQ(ErrorUnder({SystemCall::kCreateEvent, 4, {0, 1450}}, [] { ScriptedEngine(); }),
            "MEngineThread.MEngineThread:ErrorAccessingEvent [winErrorCode=1450]");
  ScriptedEngine engine;
  EXPECT_EQ(ErrorUnder({SystemCall::kBeginThread, 0, {0, 11}}, [&] { engine.Start(); }),
            "MEngineThread.Start:BeginThread [errno=11]");
  EXPECT_EQ(ErrorUnder({SystemCall::kResetEvent, 4, kRefused}, [&] { engine.Start(); }),
            "MEngineThread.Start:ErrorAccessingEvent [winErrorCode=6]");
  EXPECT_EQ(engine.GetState(), MEngineState::kInactive);
}

TEST_F(MEngineThreadFaultTest, ARefusedSignalLeavesItRunning) {
  ScriptedEngine engine;
  engine.Start();
  EXPECT_EQ(ErrorUnder({kSetEvent, 0, kRefused}, [&] { engine.Flush(); }),
            "MEngineThread.Flush:ErrorAccessingEvent [winErrorCode=6]");
  EXPECT_EQ(ErrorUnder({kSetEvent, 0, kRefused}, [&] { engine.Stop(); }),
            "MEngineThread.Stop:ErrorAccessingEvent [winErrorCode=6]");
  EXPECT_EQ(engine.GetState(), MEngineState::kRunning);
  EXPECT_FALSE(engine.IsStopRequested());
  EXPECT_FALSE(engine.HasPendingRequest());
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
  static_cast<void>(TakeFlowLog());
  EXPECT_EQ(ErrorUnder({kSetEvent, 0, kRefused}, [&] { engine.ForceStop(); }), "");
  EXPECT_THAT(FlowEventsWith(TakeFlowLog(), {"Dismissed_error MEngineThread.Stop:ErrorAccessing",
                                             "at ForceStop", ForObject(&engine)}),
              testing::SizeIs(1));
  EXPECT_EQ(engine.GetState(), MEngineState::kInactive);
  EXPECT_EQ(engine.stops, 2) << "the worker is asked once more";
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

TEST_F(MEngineThreadFaultTest, CallsOfFourThreadsGiveEachLifeItsOneStop) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::atomic<int> asked{0};
  int seen = 0;  // the worker's, and of whoever has stopped it
  ExpectNoHandleIsLeft(1, [&] {
    std::atomic<int> starts{0};
    ScriptedEngine engine;
    engine.onFlush = [&] { seen = asked; };
    const std::function<void()> calls[] = {[&] {
                                             engine.Start();
                                             ++starts;
                                           },
                                           [&] {
                                             ++asked;
                                             engine.Flush();
                                           },
                                           [&] { engine.Stop(); }, [&] { engine.ForceStop(); }};
    RunTogether(4, [&](std::size_t thread) {
      std::minstd_rand random(seed + static_cast<unsigned>(thread));
      for (int i = 0; i < 100; ++i) {
        EXPECT_THAT(ErrorOf(calls[random() % std::size(calls)]),
                    testing::AnyOf("", "MEngineThread.Start:AlreadyRunning",
                                   "MEngineThread.Flush:ThreadExitedUnexpectedly"));
      }
    });
    engine.Stop();
    EXPECT_EQ(engine.stops, starts);
    engine.Start();
    calls[1]();
    EXPECT_EQ(seen, asked) << "a flush is not through before it has run";
    engine.Stop();
  });
}

}  // namespace
}  // namespace Orvel::Testing
