// SPDX-License-Identifier: MIT
// What an engine must survive: a system that refuses, where each call that it makes is made to fail
// once, and everybody calling at once. The latter is short here; scripts/stress repeats it.

#include <cstdint>
#include <random>

#include "tests/threads/staging.h"

namespace Orvel::Testing {
namespace {

constexpr SystemCall kSetEvent = SystemCall::kSetEvent;
constexpr SystemCall kWaitForOne = SystemCall::kWaitForSingleObject;
constexpr SystemCall kWaitForAny = SystemCall::kWaitForMultipleObjects;
constexpr SystemAnswer kRefused = {0, 6};
constexpr std::uint64_t kWaitFailed = 0xFFFFFFFF;
const std::string kUnexpected = "Unexpected [status=";
const std::string kFailed = "WaitFailed [winErrorCode=5]";

class MEngineThreadFaultTest : public testing::Test {
 protected:
  const HangWatchdog watchdog_;
};

TEST_F(MEngineThreadFaultTest, AFailedWaitIsReportedAndCostsNeitherWorkerNorObject) {
  const struct {
    SystemAnswer answer;
    std::string errorOfWorker;  // which waits for three events
    std::string error;          // of Start and Flush, which wait for two objects
    std::string errorOfStop;
  } cases[] = {{{128, 0}, "Abandoned [status=128]", "Abandoned [status=128]", "Abandoned"},
               {{130, 0}, "Abandoned [status=130]", kUnexpected + "130]", kUnexpected + "130]"},
               {{131, 0}, kUnexpected + "131]", kUnexpected + "131]", kUnexpected + "131]"},
               {{kWaitFailed, 5}, kFailed, kFailed, kFailed}};
  ExpectNoHandleIsLeft(1, [&] {
    for (const auto& [answer, errorOfWorker, error, errorOfStop] : cases) {
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
                  "MEngineThread.Stop:" + errorOfStop);
        engine.Stop();
        EXPECT_EQ(engine.GetState(), MEngineState::kStopping) << "a stop was requested before";
      }
      EXPECT_EQ(stops, 2) << "the destructor has to wait for the worker that Stop left behind";

      ScriptedEngine forced;
      EXPECT_EQ(ErrorUnder({kWaitForAny, 0, answer}, [&] { forced.WaitForEvents(0); }),
                "MEngineThread.WaitForEvents:" + errorOfWorker);
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
                                             "at ForceStop", "(ScriptedEngine)"}),
              testing::SizeIs(1));
  EXPECT_EQ(engine.GetState(), MEngineState::kInactive);
  EXPECT_EQ(engine.stops, 2) << "the stop is requested once more";
}

TEST_F(MEngineThreadFaultTest, TheAnswerToAFlushThatGaveUpWaitingIsNotTakenForTheNextOnes) {
  Gate gates[2];
  std::atomic<int> served{0};
  ScriptedEngine engine;
  engine.onFlush = [&] {
    gates[engine.flushes - 1].Hold();
    ++served;
  };
  engine.Start();
  EXPECT_EQ(ErrorUnder({kWaitForAny, 0, {kWaitFailed, 5}}, [&] { engine.Flush(); }),
            "MEngineThread.Flush:WaitFailed [winErrorCode=5]");
  gates[0].AwaitWorker();
  const SystemCallHook first(kWaitForAny, [&] { gates[0].Release(); });
  const SystemCallHook second(kWaitForAny, [&] { gates[1].Release(); });
  engine.Flush();
  EXPECT_EQ(served, 2);
  gates[1].Release();  // had the flush returned without waiting for it
}

TEST_F(MEngineThreadFaultTest, CallsOfFourThreadsGiveEachLifeItsOneStop) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  constexpr void (MEngineThread::*kCalls[])() = {&MEngineThread::Start, &MEngineThread::Flush,
                                                 &MEngineThread::Stop, &MEngineThread::ForceStop};
  ExpectNoHandleIsLeft(1, [&] {
    ScriptedEngine engine;
    RunTogether(4, [&](std::size_t thread) {
      std::minstd_rand random(seed + static_cast<unsigned>(thread));
      for (int i = 0; i < 100; ++i) {
        EXPECT_THAT(ErrorOf([&] { (engine.*kCalls[random() % 4])(); }),
                    testing::AnyOf("", "MEngineThread.Start:AlreadyRunning",
                                   "MEngineThread.Flush:ThreadExitedUnexpectedly"));
      }
    });
    engine.Stop();
    EXPECT_EQ(engine.stops, engine.lives);
    engine.Start();
    const int before = engine.flushes;
    engine.Flush();
    EXPECT_EQ(engine.flushes, before + 1) << "a flush is not through before it has run";
  });
}

}  // namespace
}  // namespace Orvel::Testing
