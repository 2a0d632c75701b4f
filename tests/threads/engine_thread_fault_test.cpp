// SPDX-License-Identifier: MIT
// What an engine does when the system refuses: each call that it makes is made to fail once.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "orvel/threads/engine_thread.h"
#include "tests/support/flow_log.h"
#include "tests/support/function_functor.h"
#include "tests/support/handle_count.h"
#include "tests/support/hang_watchdog.h"
#include "tests/support/meeting.h"
#include "tests/support/raised_error.h"
#include "tests/support/system_call_hook.h"
#include "tests/threads/scripted_engine.h"

namespace {

using Orvel::Testing::CountOpenHandles;
using Orvel::Testing::ErrorOf;
using Orvel::Testing::Functor;
using Orvel::Testing::Latch;
using Orvel::Testing::ScriptedEngine;
using Orvel::Testing::SystemAnswer;
using Orvel::Testing::SystemCall;
using Orvel::Testing::SystemCallHook;
using Orvel::Testing::WaitUntilStopIsUnderWay;

constexpr std::uint64_t kWaitFailed = 0xFFFFFFFF;

struct FailedWait {
  SystemAnswer answer;
  const char* error;           // of Start and Flush
  const char* errorOfOneWait;  // of Stop
};

class MEngineThreadFailedWaitTest : public ::testing::TestWithParam<FailedWait> {
 protected:
  const Orvel::Testing::HangWatchdog watchdog_;
};

// Once the object counts as inactive it may be destroyed, so the worker has to be gone.
TEST_P(MEngineThreadFailedWaitTest, InStartEndsTheWorkerAndBringsItBackToInactive) {
  ScriptedEngine engine;
  {
    const SystemCallHook hook(SystemCall::kWaitForMultipleObjects, 0, GetParam().answer);
    EXPECT_EQ(ErrorOf([&] { engine.Start(); }),
              std::string("MEngineThread.Start:") + GetParam().error);
    EXPECT_TRUE(hook.WasReached());
  }
  EXPECT_EQ(engine.GetState(), MEngineState::kInactive);
  EXPECT_EQ(engine.stops, 1);
  engine.Start();
  engine.Stop();
  EXPECT_EQ(engine.stops, 2);
}

TEST_P(MEngineThreadFailedWaitTest, InFlushLeavesItRunning) {
  ScriptedEngine engine;
  engine.Start();
  {
    const SystemCallHook hook(SystemCall::kWaitForMultipleObjects, 0, GetParam().answer);
    EXPECT_EQ(ErrorOf([&] { engine.Flush(); }),
              std::string("MEngineThread.Flush:") + GetParam().error);
  }
  EXPECT_EQ(engine.GetState(), MEngineState::kRunning);
  engine.Stop();
  EXPECT_EQ(engine.stops, 1);
}

// The lock must be free again, and the destructor has to wait for the worker that Stop left behind.
TEST_P(MEngineThreadFailedWaitTest, InStopLeavesAnObjectThatCanBeDestroyed) {
  std::size_t handles = 0;
  for (int round = 0; round < 2; ++round) {
    if (round == 1) handles = CountOpenHandles();
    std::atomic<int> stops{0};
    auto whole = std::make_unique<ScriptedEngine>();
    ScriptedEngine& engine = *whole;
    engine.onStop = [&] { ++stops; };
    engine.Start();
    {
      const SystemCallHook hook(SystemCall::kWaitForSingleObject, 0, GetParam().answer);
      EXPECT_EQ(ErrorOf([&] { engine.Stop(); }),
                std::string("MEngineThread.Stop:") + GetParam().errorOfOneWait);
    }
    EXPECT_EQ(engine.GetState(), MEngineState::kStopping);
    engine.Stop();
    EXPECT_EQ(engine.GetState(), MEngineState::kStopping) << "the worker was asked before";
    whole.reset();
    EXPECT_EQ(stops, 1);
  }
  EXPECT_EQ(CountOpenHandles(), handles);
}

INSTANTIATE_TEST_SUITE_P(
    Results, MEngineThreadFailedWaitTest,
    ::testing::Values(
        FailedWait{{128, 0}, "Abandoned [status=128]", "Abandoned"},
        FailedWait{{129, 0}, "Abandoned [status=129]", "Unexpected [status=129]"},
        FailedWait{{kWaitFailed, 5}, "WaitFailed [winErrorCode=5]", "WaitFailed [winErrorCode=5]"},
        FailedWait{{192, 0}, "Unexpected [status=192]", "Unexpected [status=192]"}));

TEST(MEngineThreadFaultTest, ConstructionThatRunsOutOfEventsLeaksNone) {
  std::size_t handles = 0;
  for (int created = 0; created < 5; ++created) {
    if (created == 1) handles = CountOpenHandles();
    const SystemCallHook hook(SystemCall::kCreateEvent, created, {0, 1450});
    EXPECT_EQ(ErrorOf([] { ScriptedEngine engine; }),
              "MEngineThread.MEngineThread:ErrorAccessingEvent [winErrorCode=1450]");
  }
  EXPECT_EQ(CountOpenHandles(), handles);
}

TEST(MEngineThreadFaultTest, StartThatGetsNoThreadOrEventLeavesItInactive) {
  const Orvel::Testing::HangWatchdog watchdog;
  ScriptedEngine engine;
  {
    const SystemCallHook hook(SystemCall::kBeginThread, 0, {0, 11});
    EXPECT_EQ(ErrorOf([&] { engine.Start(); }), "MEngineThread.Start:BeginThread [errno=11]");
  }
  for (int event = 0; event < 5; ++event) {
    const SystemCallHook hook(SystemCall::kResetEvent, event, {0, 6});
    EXPECT_EQ(ErrorOf([&] { engine.Start(); }),
              "MEngineThread.Start:ErrorAccessingEvent [winErrorCode=6]");
    EXPECT_EQ(engine.GetState(), MEngineState::kInactive);
  }
  engine.beforeStarted = [&] {
    // Lives until the worker ends, which it does by what the refused signal raises.
    const SystemCallHook hook(SystemCall::kSetEvent, 0, {0, 6});
    engine.SignalThreadStarted();
  };
  EXPECT_EQ(ErrorOf([&] { engine.Start(); }), "MEngineThread.Start:ThreadExitedUnexpectedly");
  engine.beforeStarted = nullptr;
  engine.Start();
  engine.Stop();
  EXPECT_EQ(engine.stops, 1);
}

TEST(MEngineThreadFaultTest, ARefusedSignalLeavesItRunning) {
  const Orvel::Testing::HangWatchdog watchdog;
  ScriptedEngine engine;
  engine.Start();
  {
    const SystemCallHook hook(SystemCall::kSetEvent, 0, {0, 6});
    EXPECT_EQ(ErrorOf([&] { engine.Flush(); }),
              "MEngineThread.Flush:ErrorAccessingEvent [winErrorCode=6]");
  }
  {
    const SystemCallHook hook(SystemCall::kSetEvent, 0, {0, 6});
    EXPECT_EQ(ErrorOf([&] { engine.Stop(); }),
              "MEngineThread.Stop:ErrorAccessingEvent [winErrorCode=6]");
  }
  EXPECT_EQ(engine.GetState(), MEngineState::kRunning);
  engine.Flush();
  EXPECT_EQ(engine.flushes, 1);
  engine.Stop();
  EXPECT_EQ(engine.stops, 1);

  const auto owned = std::make_shared<int>();
  {
    const SystemCallHook hook(SystemCall::kSetEvent, 0, {0, 6});
    EXPECT_EQ(ErrorOf([&] { engine.AddEvent(nullptr, Functor([owned] {})); }),
              "MEngineThread.AddEvent:ErrorAccessingEvent [winErrorCode=6]");
  }
  EXPECT_EQ(owned.use_count(), 1) << "the refused functor was not deleted";
  engine.Start();  // would fail to wait on the null handle, had it been kept
  engine.Flush();
  EXPECT_EQ(engine.flushes, 2);
}

// Whoever comes second would else wait on a handle that the first one closes.
TEST(MEngineThreadFaultTest, AStopBesideAnotherOneAsksTheSystemForNothing) {
  const Orvel::Testing::HangWatchdog watchdog;
  ScriptedEngine engine;
  Latch release(1);
  engine.onStop = [&] { release.Wait(); };
  engine.Start();
  std::jthread stopper([&] { engine.Stop(); });
  WaitUntilStopIsUnderWay(engine);
  for (const bool force : {false, true}) {
    const SystemCallHook hook(SystemCall::kWaitForSingleObject, 0, {kWaitFailed, 5});
    EXPECT_EQ(ErrorOf([&] { force ? engine.ForceStop() : engine.Stop(); }), "");
    EXPECT_FALSE(hook.WasReached());
  }
  EXPECT_EQ(engine.GetState(), MEngineState::kStopping);
  release.CountDown();
}

TEST(MEngineThreadFaultTest, TheAnswerToAFlushThatGaveUpWaitingIsNotTakenForTheNextOnes) {
  const Orvel::Testing::HangWatchdog watchdog;
  ScriptedEngine engine;
  Latch entered(1);
  Latch release(1);
  std::atomic<int> served{0};
  engine.onFlush = [&] {
    if (engine.flushes == 1) {
      entered.CountDown();
      release.Wait();
    } else {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    ++served;
  };
  engine.Start();
  {
    const SystemCallHook hook(SystemCall::kWaitForMultipleObjects, 0, {kWaitFailed, 5});
    EXPECT_EQ(ErrorOf([&] { engine.Flush(); }), "MEngineThread.Flush:WaitFailed [winErrorCode=5]");
  }
  entered.Wait();
  const SystemCallHook hook(SystemCall::kWaitForMultipleObjects, [&] { release.CountDown(); });
  engine.Flush();
  EXPECT_EQ(served, 2);
}

TEST(MEngineThreadFaultTest, ForceStopRecordsTheErrorAndEndsTheWorkerAllTheSame) {
  const Orvel::Testing::HangWatchdog watchdog;
  struct Refusal {
    SystemCall call;
    SystemAnswer answer;
    const char* error;
  };
  for (const Refusal& refusal :
       {Refusal{SystemCall::kWaitForSingleObject, {kWaitFailed, 5}, "WaitFailed"},
        Refusal{SystemCall::kSetEvent, {0, 6}, "ErrorAccessingEvent"}}) {
    static_cast<void>(Orvel::Testing::TakeFlowLog());
    ScriptedEngine engine;
    engine.Start();
    {
      const SystemCallHook hook(refusal.call, 0, refusal.answer);
      engine.ForceStop();
      EXPECT_TRUE(hook.WasReached());
    }
    EXPECT_EQ(engine.GetState(), MEngineState::kInactive);
    const std::string error = std::string("Dismissed_error MEngineThread.Stop:") + refusal.error;
    EXPECT_EQ(
        Orvel::Testing::FlowEventsWith(Orvel::Testing::TakeFlowLog(),
                                       {error, "at ForceStop", Orvel::Testing::ForObject(&engine)})
            .size(),
        1u);
    EXPECT_EQ(engine.stops, 1);
  }
}

}  // namespace
