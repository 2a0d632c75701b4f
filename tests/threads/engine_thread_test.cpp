// SPDX-License-Identifier: MIT
#include "orvel/threads/engine_thread.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "orvel/platform/windows_api.h"
#include "tests/support/flow_log.h"
#include "tests/support/function_functor.h"
#include "tests/support/handle_count.h"
#include "tests/support/hang_watchdog.h"
#include "tests/threads/scripted_engine.h"
#include "tests/threads/staging.h"

namespace Orvel::Testing {
namespace {

using Detail::CreateKernelEvent;
using Detail::EventReset;
using Detail::KernelHandle;
using Detail::kWaitForever;
using Detail::SetKernelEvent;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

MSourceContext context(L"MEngineThreadTest", L"Fail");

/// An engine with one event of the test's own. Calls on the worker leave their mark in `trace`.
class MEngineThreadTest : public testing::Test {
 protected:
  MEngineThreadTest() {
    engine_->onFlush = [this] { trace_.emplace_back("flush"); };
    engine_->onStop = [this] { trace_.emplace_back("stop"); };
  }

  void AddHandler(std::function<void()> handler) {
    engine_->AddEvent(event_.Get(), Functor(std::move(handler)));
  }
  void SignalHandler() { ASSERT_TRUE(SetKernelEvent(event_.Get())); }

  const HangWatchdog watchdog_;
  const KernelHandle event_ = CreateKernelEvent(EventReset::kAutomatic);
  std::vector<std::string> trace_;  // the worker's, until it has ended or answered
  std::unique_ptr<ScriptedEngine> engine_ = std::make_unique<ScriptedEngine>();
};

TEST_F(MEngineThreadTest, GoesThroughItsStatesAndIgnoresOrRefusesWhatDoesNotFitThem) {
  EXPECT_EQ(engine_->GetThreadArgument(), 42u);
  engine_->onStop = [this] { EXPECT_EQ(engine_->GetState(), MEngineState::kStopping); };
  for (int life = 1; life <= 2; ++life) {
    static_cast<void>(TakeFlowLog());
    engine_->Stop();
    engine_->Flush();
    engine_->ForceStop();
    EXPECT_EQ(engine_->GetState(), MEngineState::kInactive);
    engine_->Start();
    EXPECT_EQ(ErrorOf([&] { engine_->Start(); }), "MEngineThread.Start:AlreadyRunning");
    EXPECT_EQ(engine_->GetState(), MEngineState::kRunning);
    engine_->Flush();
    engine_->Stop();
    EXPECT_EQ(engine_->GetState(), MEngineState::kInactive);
    EXPECT_EQ(engine_->flushes, life);
    EXPECT_EQ(engine_->stops, life);
    const std::string log = TakeFlowLog();
    EXPECT_THAT(FlowEventsWith(log, {"State_change", ForObject(engine_.get()), "(ScriptedEngine)",
                                     "in_class MEngineThread at ChangeState"}),
                ElementsAre("State_change to Starting", "State_change to Running",
                            "State_change to Stopping", "State_change to Inactive"));
    for (const char* const function :
         {"Start", "Stop", "WaitForEvents", "SignalThreadStarted", "OnStopWrapper"}) {
      const std::string point = std::string("MEngineThread at ") + function + " for_object";
      EXPECT_THAT(FlowEventsWith(log, {"Scope_push", point}), Not(IsEmpty())) << function;
    }
  }
}

// Start and Flush hold the lock while they wait for the worker, which must not wait for it in turn.
TEST_F(MEngineThreadTest, RefusesTheWorkersOwnCallsWhileAnotherThreadWaitsForIt) {
  const auto callAll = [&](const char* stopError) {
    EXPECT_EQ(ErrorOf([&] { engine_->Start(); }), "MEngineThread.Start:AlreadyRunning");
    EXPECT_EQ(ErrorOf([&] { engine_->Flush(); }), "MEngineThread.Flush:CannotFlushSelf");
    EXPECT_EQ(ErrorOf([&] { engine_->Stop(); }), stopError);
    engine_->ForceStop();
  };
  constexpr const char* kRefused = "MEngineThread.Stop:CannotStopSelf";
  engine_->script = [&] {
    callAll(kRefused);
    engine_->SignalThreadStarted();
    engine_->Loop();
  };
  engine_->onFlush = [&] { callAll(kRefused); };
  engine_->onStop = [&] { callAll(""); };
  Latch handled(1);
  AddHandler([&] {
    callAll(kRefused);
    handled.CountDown();
  });
  engine_->Start();
  SignalHandler();
  handled.Wait();
  engine_->Flush();
  engine_->Stop();
  EXPECT_EQ(engine_->flushes, 1);
  EXPECT_EQ(engine_->stops, 1);
  EXPECT_EQ(engine_->GetState(), MEngineState::kInactive);
}

struct EarlyEnd {
  bool isReady;
  bool raises;
};

class MEngineThreadEarlyEndTest : public MEngineThreadTest,
                                  public testing::WithParamInterface<EarlyEnd> {};

// A worker that returns or raises, before or after it said that it is ready, must cost its owner
// neither the object nor the process.
TEST_P(MEngineThreadEarlyEndTest, IsReportedAndLeavesAnEngineThatCanStartAgain) {
  const EarlyEnd end = GetParam();
  engine_->script = [&] {
    if (end.isReady) engine_->SignalThreadStarted();
    if (end.raises) RaiseError(context, L"Early");
  };
  static_cast<void>(TakeFlowLog());
  std::size_t handles = 0;
  for (int attempt = 0; attempt < 2; ++attempt) {
    if (attempt == 1) handles = CountOpenHandles();
    EXPECT_EQ(ErrorOf([&] { engine_->Start(); }),
              end.isReady ? "" : "MEngineThread.Start:ThreadExitedUnexpectedly");
    if (end.isReady) {
      EXPECT_EQ(ErrorOf([&] { engine_->Flush(); }), "MEngineThread.Flush:ThreadExitedUnexpectedly");
      EXPECT_EQ(engine_->GetState(), MEngineState::kRunning);
      EXPECT_EQ(ErrorOf([&] { engine_->Start(); }), "MEngineThread.Start:AlreadyRunning");
      engine_->Stop();
    }
    EXPECT_EQ(engine_->GetState(), MEngineState::kInactive);
  }
  EXPECT_EQ(CountOpenHandles(), handles);
  EXPECT_EQ(FlowEventsWith(TakeFlowLog(), {"Dismissed_error MEngineThreadTest.Fail:Early",
                                           ForObject(engine_.get())})
                .size(),
            end.raises ? 2u : 0u);
  engine_->script = nullptr;
  engine_->Start();
  EXPECT_EQ(engine_->flushes, 0) << "a flush request survived the worker that it was for";
  engine_->Flush();
  engine_->Stop();
  EXPECT_THAT(trace_, ElementsAre("flush", "stop"));
}

INSTANTIATE_TEST_SUITE_P(Ends, MEngineThreadEarlyEndTest,
                         testing::Values(EarlyEnd{false, false}, EarlyEnd{false, true},
                                         EarlyEnd{true, false}, EarlyEnd{true, true}));

// Whoever comes second would else wait on a handle that the first one closes.
TEST_F(MEngineThreadTest, CallsBesideAStopUnderWayAskTheSystemForNothingAndDoNotDisturbIt) {
  Gate gate;
  engine_->onStop = [&] { gate.Hold(); };
  engine_->Start();
  std::jthread stopper = StopElsewhere(*engine_);
  for (const bool force : {false, true}) {
    const SystemCallHook hook(SystemCall::kWaitForSingleObject, 0, {0xFFFFFFFF, 5});
    EXPECT_EQ(ErrorOf([&] { force ? engine_->ForceStop() : engine_->Stop(); }), "");
    EXPECT_FALSE(hook.WasReached());
  }
  EXPECT_EQ(ErrorOf([&] { engine_->Start(); }), "MEngineThread.Start:AlreadyRunning");
  EXPECT_EQ(engine_->GetState(), MEngineState::kStopping);
  gate.Release();
  stopper.join();
  EXPECT_EQ(engine_->GetState(), MEngineState::kInactive);
  EXPECT_EQ(engine_->stops, 1);
}

// The poll of the stop event that follows the handler must neither skip OnStop nor lose the flush.
TEST_F(MEngineThreadTest, ServesAFlushAndThenAStopThatArriveWhileAHandlerRuns) {
  std::optional<Gate> gate;
  AddHandler([&] {
    gate->Hold();
    trace_.emplace_back("handler");
  });
  for (const bool flushRaises : {false, true}) {
    gate.emplace();
    engine_->onFlush = [this, flushRaises] {
      trace_.emplace_back("flush");
      if (flushRaises) RaiseError(context, L"Flush");
    };
    engine_->Start();
    SignalHandler();
    gate->AwaitWorker();
    std::jthread stopper = StopElsewhere(*engine_);
    std::jthread flusher =
        WaitElsewhere([&] { engine_->Flush(); },
                      flushRaises ? "MEngineThread.Flush:ThreadExitedUnexpectedly" : "");
    gate->Release();
    stopper.join();
    flusher.join();
    EXPECT_THAT(trace_, ElementsAre("handler", "flush", "stop"));
    trace_.clear();
  }
}

TEST_F(MEngineThreadTest, ServesFlushThenStopThenRestartThenEventsInTheOrderOfTheirAddition) {
  Gate first;
  Gate second;
  const KernelHandle other = CreateKernelEvent(EventReset::kAutomatic);
  const auto handle = [&](Gate& gate, const char* mark) {
    gate.Hold();
    engine_->AddEvent(event_.Get(), nullptr);  // asks for a restart
    trace_.emplace_back(mark);
  };
  AddHandler([&] { handle(first, "first"); });
  engine_->AddEvent(other.Get(), Functor([&] { handle(second, "second"); }));
  engine_->script = [&] {
    engine_->SignalThreadStarted();
    for (int pass = 0; pass < 8; ++pass) {
      EXPECT_TRUE(engine_->WaitForEvents(kWaitForever));
      trace_.emplace_back("|");
    }
  };
  engine_->Start();
  SignalHandler();
  first.AwaitWorker();
  ASSERT_TRUE(SetKernelEvent(other.Get()));
  SignalHandler();
  const std::jthread flusher = WaitElsewhere([&] { engine_->Flush(); });
  first.Release();
  second.AwaitWorker();
  SignalHandler();
  std::jthread stopper = StopElsewhere(*engine_);
  second.Release();
  stopper.join();
  // The passes without a mark of their own are restarts, and the stop event, which stays set.
  EXPECT_THAT(trace_, ElementsAre("first", "|", "flush", "|", "|", "first", "|", "|", "second", "|",
                                  "stop", "|", "|"));
}

TEST_F(MEngineThreadTest, AddsEventsUpToTheSystemsLimitAlsoOnTheWorker) {
  std::vector<KernelHandle> events;
  Latch added(1);
  const auto counted = std::make_shared<Latch>(1);
  AddHandler([&] {
    for (int own = 4; own < 64; ++own) {
      events.push_back(CreateKernelEvent(EventReset::kAutomatic));
      engine_->AddEvent(events.back().Get(), Functor([counted] { counted->CountDown(); }));
    }
    EXPECT_EQ(ErrorOf([&] { engine_->AddEvent(event_.Get(), Functor([counted] {})); }),
              "MEngineThread.AddEvent:TooManyWaitableEvents");
    EXPECT_EQ(counted.use_count(), 1 + 60) << "the refused functor was not deleted";
    added.CountDown();
  });
  engine_->Start();
  SignalHandler();
  added.Wait();
  ASSERT_TRUE(SetKernelEvent(events.back().Get()));
  counted->Wait();
  engine_.reset();
  EXPECT_EQ(counted.use_count(), 1);
}

// WaitForEvents is the worker's, but without one any thread may play its part.
TEST_F(MEngineThreadTest, ReportsEveryOutcomeOfItsWait) {
  const auto wait = [&] { engine_->WaitForEvents(0); };
  EXPECT_TRUE(engine_->WaitForEvents(0)) << "adding its own events asks for a restart";
  EXPECT_FALSE(engine_->WaitForEvents(0));

  AddHandler([] { RaiseError(context, L"Handler"); });
  EXPECT_TRUE(engine_->WaitForEvents(0));
  SignalHandler();
  EXPECT_EQ(ErrorOf(wait), "MEngineThreadTest.Fail:Handler");

  const KernelHandle mutex(::CreateMutexW(nullptr, FALSE, nullptr));
  engine_->AddEvent(mutex.Get(), nullptr);
  EXPECT_TRUE(engine_->WaitForEvents(0));
  EXPECT_TRUE(engine_->WaitForEvents(0)) << "a free mutex with an empty functor";
  ::ReleaseMutex(mutex.Get());
  std::jthread([&] { ::WaitForSingleObject(mutex.Get(), INFINITE); }).join();
  EXPECT_EQ(ErrorOf(wait), "MEngineThread.WaitForEvents:Abandoned [status=132]");

  EXPECT_EQ(ErrorUnder({SystemCall::kWaitForMultipleObjects, 0, {192, 0}}, wait),
            "MEngineThread.WaitForEvents:Unexpected [status=192]");
  engine_->AddEvent(reinterpret_cast<void*>(std::uintptr_t{0x7FF0}), nullptr);
  engine_->AddEvent(event_.Get(), nullptr);
  EXPECT_EQ(ErrorOf(wait), "MEngineThread.WaitForEvents:WaitFailed [winErrorCode=6]");
}

TEST_F(MEngineThreadTest, WakesForMessagesWhenAskedTo) {
  MSG message;
  ::PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);  // gives the thread its queue
  ASSERT_TRUE(::PostThreadMessageW(::GetCurrentThreadId(), WM_APP, 0, 0));
  engine_->SetWakesForMessages(true);
  EXPECT_TRUE(engine_->WaitForEvents(kWaitForever)) << "an event goes before input";
  EXPECT_FALSE(engine_->WaitForEvents(kWaitForever));
  EXPECT_FALSE(engine_->WaitForEvents(kWaitForever)) << "input already seen still counts";
  EXPECT_TRUE(::PeekMessageW(&message, nullptr, WM_APP, WM_APP, PM_REMOVE));
  EXPECT_FALSE(engine_->WaitForEvents(1));
}

TEST_F(MEngineThreadTest, IsDestroyedInAnyState) {
  const auto destroyInEachState = [] {
    std::atomic<int> stops{0};
    {
      const ScriptedEngine inactive;
      ScriptedEngine running;
      running.onStop = [&] { ++stops; };
      running.Start();
      ScriptedEngine failed;
      failed.script = [&] {
        failed.SignalThreadStarted();
        RaiseError(context, L"Fail");
      };
      failed.Start();
    }
    EXPECT_EQ(stops, 1) << "it was not whole any more when it stopped";
  };
  destroyInEachState();
  const std::size_t handles = CountOpenHandles();
  destroyInEachState();
  EXPECT_EQ(CountOpenHandles(), handles);
}

TEST_F(MEngineThreadTest, ItsDestructorWaitsForAStopUnderWay) {
  for (int round = 0; round < 50; ++round) {
    Gate gate;
    std::atomic<bool> destroyed{false};
    engine_ = std::make_unique<ScriptedEngine>();
    engine_->onStop = [&] {
      gate.Hold();
      EXPECT_FALSE(destroyed);
    };
    engine_->Start();
    const std::jthread stopper = StopElsewhere(*engine_);
    // Its first single wait is the one for the worker.
    const SystemCallHook hook(SystemCall::kWaitForSingleObject, [&] { gate.Release(); });
    engine_.reset();
    destroyed = true;
  }
}

TEST_F(MEngineThreadTest, AThousandStartsAndStopsLeaveNoHandleBehind) {
  const auto cycle = [&] {
    engine_->Start();
    engine_->Stop();
  };
  cycle();
  const std::size_t handles = CountOpenHandles();
  for (int i = 0; i < 1000; ++i) cycle();
  EXPECT_EQ(CountOpenHandles(), handles);
  EXPECT_EQ(engine_->stops, 1001);
}

}  // namespace
}  // namespace Orvel::Testing
