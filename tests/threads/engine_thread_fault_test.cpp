// SPDX-License-Identifier: MIT
// What an engine does when the system refuses: each call that it makes is made to fail once.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "tests/support/flow_log.h"
#include "tests/support/function_functor.h"
#include "tests/support/handle_count.h"
#include "tests/support/hang_watchdog.h"
#include "tests/threads/scripted_engine.h"
#include "tests/threads/staging.h"

namespace Orvel::Testing {
namespace {

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
  std::size_t handles = 0;
  for (const auto& [answer, error, errorOfOneWait] : cases) {
    std::atomic<int> stops{0};
    auto whole = std::make_unique<ScriptedEngine>();
    ScriptedEngine& engine = *whole;
    engine.onStop = [&] { ++stops; };
    EXPECT_EQ(ErrorUnder({SystemCall::kWaitForMultipleObjects, 0, answer}, [&] { engine.Start(); }),
              "MEngineThread.Start:" + error);
    EXPECT_EQ(engine.GetState(), MEngineState::kInactive);
    EXPECT_EQ(stops, 1) << "an inactive object may be destroyed, so the worker has to be gone";

    engine.Start();
    EXPECT_EQ(ErrorUnder({SystemCall::kWaitForMultipleObjects, 0, answer}, [&] { engine.Flush(); }),
              "MEngineThread.Flush:" + error);
    EXPECT_EQ(engine.GetState(), MEngineState::kRunning);

    EXPECT_EQ(ErrorUnder({SystemCall::kWaitForSingleObject, 0, answer}, [&] { engine.Stop(); }),
              "MEngineThread.Stop:" + errorOfOneWait);
    engine.Stop();
    EXPECT_EQ(engine.GetState(), MEngineState::kStopping) << "the worker was asked before";
    whole.reset();
    EXPECT_EQ(stops, 2) << "the destructor has to wait for the worker that Stop left behind";
    if (handles == 0) handles = CountOpenHandles();
  }
  EXPECT_EQ(CountOpenHandles(), handles);
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
    EXPECT_EQ(ErrorUnder({SystemCall::kResetEvent, event, {0, 6}}, start),
              "MEngineThread.Start:ErrorAccessingEvent [winErrorCode=6]");
    EXPECT_EQ(engine.GetState(), MEngineState::kInactive);
  }
  engine.script = [&] {
    const SystemCallHook hook(SystemCall::kSetEvent, 0, {0, 6});
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
  EXPECT_EQ(ErrorUnder({SystemCall::kSetEvent, 0, {0, 6}}, [&] { engine.Flush(); }),
            "MEngineThread.Flush:ErrorAccessingEvent [winErrorCode=6]");
  EXPECT_EQ(ErrorUnder({SystemCall::kSetEvent, 0, {0, 6}}, [&] { engine.Stop(); }),
            "MEngineThread.Stop:ErrorAccessingEvent [winErrorCode=6]");
  EXPECT_EQ(engine.GetState(), MEngineState::kRunning);
  engine.Flush();
  EXPECT_EQ(engine.flushes, 1);
  engine.Stop();
  EXPECT_EQ(engine.stops, 1);

  const auto owned = std::make_shared<int>();
  EXPECT_EQ(ErrorUnder({SystemCall::kSetEvent, 0, {0, 6}},
                       [&] { engine.AddEvent(nullptr, Functor([owned] {})); }),
            "MEngineThread.AddEvent:ErrorAccessingEvent [winErrorCode=6]");
  EXPECT_EQ(owned.use_count(), 1) << "the refused functor was not deleted";
  engine.Start();  // would fail to wait on the null handle, had it been kept
  engine.Flush();
}

TEST_F(MEngineThreadFaultTest, TheAnswerToAFlushThatGaveUpWaitingIsNotTakenForTheNextOnes) {
  Gate gate;
  std::atomic<int> served{0};
  ScriptedEngine engine;
  engine.onFlush = [&] {
    if (engine.flushes == 1) {
      gate.Hold();
    } else {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    ++served;
  };
  engine.Start();
  EXPECT_EQ(ErrorUnder({SystemCall::kWaitForMultipleObjects, 0, {kWaitFailed, 5}},
                       [&] { engine.Flush(); }),
            "MEngineThread.Flush:WaitFailed [winErrorCode=5]");
  gate.AwaitWorker();
  const SystemCallHook hook(SystemCall::kWaitForMultipleObjects, [&] { gate.Release(); });
  engine.Flush();
  EXPECT_EQ(served, 2);
}

TEST_F(MEngineThreadFaultTest, ForceStopRecordsTheErrorAndEndsTheWorkerAllTheSame) {
  const struct {
    SystemCall call;
    SystemAnswer answer;
    std::string error;
  } cases[] = {{SystemCall::kWaitForSingleObject, {kWaitFailed, 5}, "WaitFailed"},
               {SystemCall::kSetEvent, {0, 6}, "ErrorAccessingEvent"}};
  for (const auto& [call, answer, error] : cases) {
    static_cast<void>(TakeFlowLog());
    ScriptedEngine engine;
    engine.Start();
    EXPECT_EQ(ErrorUnder({call, 0, answer}, [&] { engine.ForceStop(); }), "");
    EXPECT_EQ(engine.GetState(), MEngineState::kInactive);
    EXPECT_EQ(FlowEventsWith(TakeFlowLog(), {"Dismissed_error MEngineThread.Stop:" + error,
                                             "at ForceStop", ForObject(&engine)})
                  .size(),
              1u);
    EXPECT_EQ(engine.stops, 1);
  }
}

}  // namespace
}  // namespace Orvel::Testing
