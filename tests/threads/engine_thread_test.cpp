// SPDX-License-Identifier: MIT
#include "orvel/threads/engine_thread.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "orvel/platform/windows_api.h"
#include "tests/support/flow_log.h"
#include "tests/support/function_functor.h"
#include "tests/support/handle_count.h"
#include "tests/support/hang_watchdog.h"
#include "tests/support/meeting.h"
#include "tests/support/raised_error.h"
#include "tests/support/system_call_hook.h"
#include "tests/threads/scripted_engine.h"

namespace {

using Orvel::Detail::CreateKernelEvent;
using Orvel::Detail::EventReset;
using Orvel::Detail::KernelHandle;
using Orvel::Detail::kWaitForever;
using Orvel::Detail::SetKernelEvent;
using Orvel::Testing::CountOpenHandles;
using Orvel::Testing::ErrorOf;
using Orvel::Testing::FlowEventsWith;
using Orvel::Testing::ForObject;
using Orvel::Testing::Functor;
using Orvel::Testing::Latch;
using Orvel::Testing::ScriptedEngine;
using Orvel::Testing::SystemCall;
using Orvel::Testing::SystemCallHook;
using Orvel::Testing::TakeFlowLog;
using Orvel::Testing::WaitUntilStopIsUnderWay;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

MSourceContext context(L"MEngineThreadTest", L"Fail");

/// An engine with one event of the test's own. Calls on the worker leave their mark in `trace`.
class MEngineThreadTest : public ::testing::Test {
 protected:
  MEngineThreadTest() {
    engine_->onFlush = [this] { trace_.emplace_back("flush"); };
    engine_->onStop = [this] { trace_.emplace_back("stop"); };
  }

  void AddHandler(std::function<void()> handler) {
    engine_->AddEvent(event_.Get(), Functor(std::move(handler)));
  }
  void SignalHandler() { ASSERT_TRUE(SetKernelEvent(event_.Get())); }

  const Orvel::Testing::HangWatchdog watchdog_;
  const KernelHandle event_ = CreateKernelEvent(EventReset::kAutomatic);
  std::vector<std::string> trace_;  // the worker's, until it has ended or answered
  std::unique_ptr<ScriptedEngine> engine_ = std::make_unique<ScriptedEngine>();
};

TEST_F(MEngineThreadTest, GoesThroughItsStatesAndLogsThem) {
  static_cast<void>(TakeFlowLog());
  std::vector<MEngineState> states = {engine_->GetState()};
  const auto note = [&] { states.push_back(engine_->GetState()); };
  engine_->onStop = note;
  EXPECT_EQ(engine_->GetThreadArgument(), 42u);
  for (int life = 0; life < 2; ++life) {
    engine_->Start();
    note();
    engine_->Stop();
    note();
  }
  using enum MEngineState;
  EXPECT_THAT(states, ElementsAre(kInactive, kRunning, kStopping, kInactive, kRunning, kStopping,
                                  kInactive));
  const std::string log = TakeFlowLog();
  EXPECT_THAT(
      FlowEventsWith(log, {"State_change", ForObject(engine_.get()), "(ScriptedEngine)",
                           "in_class MEngineThread at ChangeState"}),
      ElementsAre("State_change to Starting", "State_change to Running", "State_change to Stopping",
                  "State_change to Inactive", "State_change to Starting", "State_change to Running",
                  "State_change to Stopping", "State_change to Inactive"));
  for (const char* const function :
       {"Start", "Stop", "WaitForEvents", "SignalThreadStarted", "OnStopWrapper", "ChangeState"}) {
    const std::string point = std::string("MEngineThread at ") + function + " for_object";
    EXPECT_EQ(FlowEventsWith(log, {"Scope_push", point}).size(),
              FlowEventsWith(log, {"Scope_pop", point}).size());
    EXPECT_GE(FlowEventsWith(log, {"Scope_push", point}).size(), 2u) << function;
  }
}

TEST_F(MEngineThreadTest, WithoutWorkerIgnoresStopAndFlush) {
  engine_->Stop();
  engine_->Flush();
  engine_->ForceStop();
  EXPECT_EQ(engine_->GetState(), MEngineState::kInactive);
  EXPECT_THAT(trace_, IsEmpty());
}

TEST_F(MEngineThreadTest, RefusesASecondStartAndKeepsItsWorker) {
  engine_->Start();
  EXPECT_EQ(ErrorOf([&] { engine_->Start(); }), "MEngineThread.Start:AlreadyRunning");
  engine_->Flush();
  EXPECT_EQ(engine_->flushes, 1);
  engine_->Stop();
  EXPECT_THAT(trace_, ElementsAre("flush", "stop"));
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
  engine_->beforeStarted = [&] { callAll(kRefused); };
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
  bool beforeStarted;
  bool raises;
};

class MEngineThreadEarlyEndTest : public MEngineThreadTest,
                                  public ::testing::WithParamInterface<EarlyEnd> {};

// A worker that returns or raises, before or after it said that it is ready, must cost its owner
// neither the object nor the process.
TEST_P(MEngineThreadEarlyEndTest, IsReportedAndLeavesAnEngineThatCanStartAgain) {
  const auto [beforeStarted, raises] = GetParam();
  const auto fail = [raises = raises] {
    if (raises) RaiseError(context, L"Early");
  };
  if (beforeStarted) {
    class SilentEngine final : public MEngineThread {
     public:
      explicit SilentEngine(std::function<void()> end) : MEngineThread(0), end_(std::move(end)) {}
      ~SilentEngine() override { StopBeforeDestruction(); }

     private:
      void ThreadFunction() override { end_(); }
      const std::function<void()> end_;
    };
    SilentEngine silent(fail);
    std::size_t handles = 0;
    for (int attempt = 0; attempt < 2; ++attempt) {
      EXPECT_EQ(ErrorOf([&] { silent.Start(); }), "MEngineThread.Start:ThreadExitedUnexpectedly");
      EXPECT_EQ(silent.GetState(), MEngineState::kInactive);
      if (attempt == 0) handles = CountOpenHandles();
    }
    EXPECT_EQ(CountOpenHandles(), handles);
    silent.Stop();
    silent.Flush();
  } else {
    static_cast<void>(TakeFlowLog());
    engine_->insteadOfLoop = fail;
    engine_->Start();
    EXPECT_EQ(ErrorOf([&] { engine_->Flush(); }), "MEngineThread.Flush:ThreadExitedUnexpectedly");
    EXPECT_EQ(engine_->GetState(), MEngineState::kRunning);
    EXPECT_EQ(ErrorOf([&] { engine_->Start(); }), "MEngineThread.Start:AlreadyRunning");
    engine_->Stop();
    EXPECT_EQ(engine_->GetState(), MEngineState::kInactive);
    EXPECT_THAT(trace_, IsEmpty());
    EXPECT_EQ(FlowEventsWith(TakeFlowLog(), {"Dismissed_error MEngineThreadTest.Fail:Early",
                                             ForObject(engine_.get())})
                  .size(),
              raises ? 1u : 0u);
    engine_->insteadOfLoop = nullptr;
    engine_->Start();
    EXPECT_EQ(engine_->flushes, 0) << "a flush request survived the worker that it was for";
    engine_->Flush();
    engine_->Stop();
    EXPECT_THAT(trace_, ElementsAre("flush", "stop"));
  }
}

INSTANTIATE_TEST_SUITE_P(Ends, MEngineThreadEarlyEndTest,
                         ::testing::Values(EarlyEnd{true, false}, EarlyEnd{true, true},
                                           EarlyEnd{false, false}, EarlyEnd{false, true}));

TEST_F(MEngineThreadTest, CallsOfOthersDoNotDisturbAStopUnderWay) {
  Latch release(1);
  engine_->onStop = [&] { release.Wait(); };
  engine_->Start();
  std::jthread stopper([&] { engine_->Stop(); });
  WaitUntilStopIsUnderWay(*engine_);
  engine_->Stop();
  engine_->ForceStop();
  EXPECT_EQ(ErrorOf([&] { engine_->Start(); }), "MEngineThread.Start:AlreadyRunning");
  EXPECT_EQ(engine_->GetState(), MEngineState::kStopping);
  release.CountDown();
  stopper.join();
  EXPECT_EQ(engine_->GetState(), MEngineState::kInactive);
  EXPECT_EQ(engine_->stops, 1);
}

// The poll of the stop event that follows the handler must neither skip OnStop nor lose the flush.
TEST_F(MEngineThreadTest, ServesAFlushAndThenAStopThatArriveWhileAHandlerRuns) {
  for (const bool flushRaises : {false, true}) {
    trace_.clear();
    if (flushRaises) {
      engine_ = std::make_unique<ScriptedEngine>();
      engine_->onStop = [this] { trace_.emplace_back("stop"); };
      engine_->onFlush = [] { RaiseError(context, L"Flush"); };
    }
    Latch entered(1);
    Latch flushAsked(1);
    AddHandler([&] {
      entered.CountDown();
      flushAsked.Wait();
      trace_.emplace_back("handler");
    });
    engine_->Start();
    SignalHandler();
    entered.Wait();
    std::jthread stopper([&] { engine_->Stop(); });
    WaitUntilStopIsUnderWay(*engine_);
    std::jthread flusher([&] {
      const SystemCallHook hook(SystemCall::kWaitForMultipleObjects,
                                [&] { flushAsked.CountDown(); });
      EXPECT_EQ(ErrorOf([&] { engine_->Flush(); }),
                flushRaises ? "MEngineThread.Flush:ThreadExitedUnexpectedly" : "");
    });
    stopper.join();
    flusher.join();
    EXPECT_EQ(engine_->GetState(), MEngineState::kInactive);
    if (flushRaises) {
      EXPECT_THAT(trace_, ElementsAre("handler", "stop"));
    } else {
      EXPECT_THAT(trace_, ElementsAre("handler", "flush", "stop"));
    }
  }
}

TEST_F(MEngineThreadTest, ServesFlushBeforeRestartBeforeAddedEvents) {
  Latch entered(1);
  Latch flushAsked(1);
  Latch ended(1);
  const KernelHandle second = CreateKernelEvent(EventReset::kAutomatic);
  AddHandler([&] {
    entered.CountDown();
    flushAsked.Wait();
    engine_->AddEvent(second.Get(), Functor([this] { trace_.emplace_back("second"); }));
    trace_.emplace_back("first");
  });
  engine_->insteadOfLoop = [&] {
    for (int pass = 0; pass < 4; ++pass) {
      EXPECT_TRUE(engine_->WaitForEvents(kWaitForever));
      trace_.emplace_back("pass");
    }
    ended.CountDown();
  };
  engine_->Start();
  SignalHandler();
  entered.Wait();
  ASSERT_TRUE(SetKernelEvent(second.Get()));
  std::jthread([&] {
    const SystemCallHook hook(SystemCall::kWaitForMultipleObjects, [&] { flushAsked.CountDown(); });
    engine_->Flush();
  }).join();
  ended.Wait();
  // The pass without a mark of its own is the restart.
  EXPECT_THAT(trace_, ElementsAre("first", "pass", "flush", "pass", "pass", "second", "pass"));
}

TEST_F(MEngineThreadTest, ServesStopBeforeRestartAndAddedEvents) {
  Latch entered(1);
  Latch release(1);
  AddHandler([&] {
    entered.CountDown();
    release.Wait();
    engine_->AddEvent(event_.Get(), nullptr);
    trace_.emplace_back("handler");
  });
  engine_->insteadOfLoop = [&] {
    for (int pass = 0; pass < 3; ++pass) EXPECT_TRUE(engine_->WaitForEvents(kWaitForever));
  };
  engine_->Start();
  SignalHandler();
  entered.Wait();
  SignalHandler();
  std::jthread stopper([&] { engine_->Stop(); });
  WaitUntilStopIsUnderWay(*engine_);
  release.CountDown();
  stopper.join();
  EXPECT_THAT(trace_, ElementsAre("handler", "stop"));
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
  engine_->Stop();
  engine_.reset();
  EXPECT_EQ(counted.use_count(), 1);
}

// WaitForEvents is the worker's, but without one any thread may play its part.
TEST_F(MEngineThreadTest, ReportsEveryOutcomeOfItsWait) {
  EXPECT_TRUE(engine_->WaitForEvents(0)) << "adding its own events asks for a restart";
  EXPECT_FALSE(engine_->WaitForEvents(0));

  AddHandler([] { RaiseError(context, L"Handler"); });
  EXPECT_TRUE(engine_->WaitForEvents(0));
  SignalHandler();
  EXPECT_EQ(ErrorOf([&] { engine_->WaitForEvents(0); }), "MEngineThreadTest.Fail:Handler");

  const KernelHandle mutex(::CreateMutexW(nullptr, FALSE, nullptr));
  engine_->AddEvent(mutex.Get(), nullptr);
  EXPECT_TRUE(engine_->WaitForEvents(0));
  EXPECT_TRUE(engine_->WaitForEvents(0)) << "a free mutex with an empty functor";
  ::ReleaseMutex(mutex.Get());
  std::jthread([&] { ::WaitForSingleObject(mutex.Get(), INFINITE); }).join();
  EXPECT_EQ(ErrorOf([&] { engine_->WaitForEvents(0); }),
            "MEngineThread.WaitForEvents:Abandoned [status=132]");

  {
    const SystemCallHook hook(SystemCall::kWaitForMultipleObjects, 0, {192, 0});
    EXPECT_EQ(ErrorOf([&] { engine_->WaitForEvents(0); }),
              "MEngineThread.WaitForEvents:Unexpected [status=192]");
  }
  engine_->AddEvent(reinterpret_cast<void*>(std::uintptr_t{0x7FF0}), nullptr);
  engine_->AddEvent(event_.Get(), nullptr);
  EXPECT_EQ(ErrorOf([&] { engine_->WaitForEvents(0); }),
            "MEngineThread.WaitForEvents:WaitFailed [winErrorCode=6]");
}

TEST_F(MEngineThreadTest, WakesForMessagesWhenAskedTo) {
  DWORD workerId = 0;
  Latch woken(1);
  engine_->beforeStarted = [&] {
    workerId = ::GetCurrentThreadId();
    MSG message;
    ::PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);  // gives the thread its queue
  };
  engine_->insteadOfLoop = [&] {
    EXPECT_TRUE(engine_->WaitForEvents(0)) << "an event goes before input";
    EXPECT_FALSE(engine_->WaitForEvents(kWaitForever));
    EXPECT_FALSE(engine_->WaitForEvents(kWaitForever)) << "input already seen still counts";
    MSG message;
    EXPECT_TRUE(::PeekMessageW(&message, nullptr, WM_APP, WM_APP, PM_REMOVE));
    EXPECT_FALSE(engine_->WaitForEvents(1));
    woken.CountDown();
    do {
      engine_->WaitForEvents(kWaitForever);
    } while (!engine_->ServeStopRequest());
  };
  AddHandler([] {});
  SignalHandler();
  engine_->SetWakesForMessages(true);
  engine_->Start();
  ASSERT_TRUE(::PostThreadMessageW(workerId, WM_APP, 0, 0));
  woken.Wait();
  engine_->Stop();
  EXPECT_EQ(engine_->stops, 1);
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
      failed.insteadOfLoop = [] { RaiseError(context, L"Fail"); };
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
    auto engine = std::make_unique<ScriptedEngine>();
    Latch destructorWaits(1);
    std::atomic<bool> destroyed{false};
    engine->onStop = [&] {
      destructorWaits.Wait();
      EXPECT_FALSE(destroyed);
    };
    engine->Start();
    std::jthread stopper([whole = engine.get()] { whole->Stop(); });
    WaitUntilStopIsUnderWay(*engine);
    {
      // Its first single wait is the one for the worker.
      const SystemCallHook hook(SystemCall::kWaitForSingleObject,
                                [&] { destructorWaits.CountDown(); });
      engine.reset();
    }
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
