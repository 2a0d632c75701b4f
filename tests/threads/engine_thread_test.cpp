// SPDX-License-Identifier: MIT
#include "orvel/threads/engine_thread.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "orvel/platform/windows_api.h"
#include "tests/support/misuse_recorder.h"
#include "tests/threads/staging.h"

namespace Orvel::Testing {
namespace {

using Detail::CreateKernelEvent;
using Detail::EventReset;
using Detail::KernelHandle;
using Detail::kWaitForever;
using Detail::SetKernelEvent;
using testing::ElementsAre;
using testing::SizeIs;

MSourceContext context(L"MEngineThreadTest", L"Fail");

/// An engine with one event of the test's own. Calls on the worker leave their mark in `trace`.
class MEngineThreadTest : public testing::Test {
 protected:
  MEngineThreadTest() {
    engine_->onFlush = [this] { trace_.emplace_back("flush"); };
    engine_->onStop = [this] { trace_.emplace_back("stop"); };
  }

  void AddHandler(std::function<void()> handler) {
    engine_->AddEvent(event_.Get(), MakeCallback(std::move(handler)));
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
    EXPECT_THAT(
        FlowEventsWith(TakeFlowLog(), {"State_change", ForObject(engine_.get()), "(ScriptedEngine)",
                                       "in_class MEngineThread at ChangeState"}),
        ElementsAre("State_change to Starting", "State_change to Running",
                    "State_change to Stopping", "State_change to Inactive"));
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
  engine_->Start();
  engine_->Flush();
  engine_->Stop();
  EXPECT_EQ(engine_->flushes, 1);
  EXPECT_EQ(engine_->stops, 1);
  EXPECT_EQ(engine_->GetState(), MEngineState::kInactive);
}

// A worker that returns or raises, before or after it said that it is ready, must cost its owner
// neither the object nor the process.
TEST_F(MEngineThreadTest, ReportsAnEarlyEndOfItsWorkerAndCanStartAgain) {
  for (const auto& [isReady, raises] :
       {std::pair(false, false), {false, true}, {true, false}, {true, true}}) {
    SCOPED_TRACE(testing::Message() << isReady << raises);
    engine_->script = [&, isReady = isReady, raises = raises] {
      if (isReady) engine_->SignalThreadStarted();
      if (raises) RaiseError(context, L"Early");
    };
    static_cast<void>(TakeFlowLog());
    MisuseRecorder misuse;
    const int rounds = ExpectNoHandleIsLeft(1, [&, isReady = isReady] {
      EXPECT_EQ(ErrorOf([&] { engine_->Start(); }),
                isReady ? "" : "MEngineThread.Start:ThreadExitedUnexpectedly");
      if (isReady) {
        EXPECT_EQ(ErrorOf([&] { engine_->Flush(); }),
                  "MEngineThread.Flush:ThreadExitedUnexpectedly");
        EXPECT_EQ(engine_->GetState(), MEngineState::kRunning);
        EXPECT_EQ(ErrorOf([&] { engine_->Start(); }), "MEngineThread.Start:AlreadyRunning");
        engine_->Stop();
      }
      EXPECT_EQ(engine_->GetState(), MEngineState::kInactive);
      EXPECT_FALSE(engine_->HasPendingRequest()) << "the request survived its worker";
    });
    EXPECT_THAT(FlowEventsWith(TakeFlowLog(), {"Dismissed_error MEngineThreadTest.Fail:Early",
                                               ForObject(engine_.get())}),
                SizeIs(raises ? rounds : 0));
    EXPECT_THAT(misuse.Take(), SizeIs(Detail::ReportsMisuse() && !isReady && !raises ? rounds : 0));
  }
  engine_->script = nullptr;
  engine_->Start();
  EXPECT_EQ(engine_->flushes, 0) << "a flush request survived the worker that it was for";
  engine_->Flush();
  engine_->Stop();
  EXPECT_THAT(trace_, ElementsAre("flush", "stop"));
}

// Whoever calls beside a stop under way would else wait on a handle that the first one closes. The
// poll of the stop event that follows the handler must neither skip OnStop nor lose the flush.
TEST_F(MEngineThreadTest, AStopDuringAHandlerIsDisturbedByNoOtherCallAndServesAPendingFlush) {
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
    for (const bool force : {false, true}) {
      const SystemCallHook hook(SystemCall::kWaitForSingleObject, 0, {0xFFFFFFFF, 5});
      EXPECT_EQ(ErrorOf([&] { force ? engine_->ForceStop() : engine_->Stop(); }), "");
      EXPECT_FALSE(hook.WasReached());
    }
    EXPECT_EQ(ErrorOf([&] { engine_->Start(); }), "MEngineThread.Start:AlreadyRunning");
    EXPECT_EQ(engine_->GetState(), MEngineState::kStopping);
    std::jthread flusher =
        WaitElsewhere([&] { engine_->Flush(); },
                      flushRaises ? "MEngineThread.Flush:ThreadExitedUnexpectedly" : "");
    gate->Release();
    stopper.join();
    flusher.join();
    EXPECT_EQ(engine_->GetState(), MEngineState::kInactive);
    EXPECT_THAT(trace_, ElementsAre("handler", "flush", "stop"));
    trace_.clear();
  }
}

// WaitForEvents is the worker's, but without one any thread may play its part.
TEST_F(MEngineThreadTest, ServesEventsInTheOrderOfTheirAdditionAndReportsEveryOutcomeOfItsWait) {
  const auto wait = [&] { engine_->WaitForEvents(0); };
  const KernelHandle raising = CreateKernelEvent(EventReset::kAutomatic);
  const KernelHandle withoutHandler = CreateKernelEvent(EventReset::kAutomatic);
  AddHandler([&] { trace_.emplace_back("first"); });
  engine_->AddEvent(raising.Get(), MakeCallback([] { RaiseError(context, L"Handler"); }));
  engine_->AddEvent(withoutHandler.Get(), nullptr);
  for (const auto* event : {&withoutHandler, &raising, &event_}) {
    ASSERT_TRUE(SetKernelEvent(event->Get()));
  }
  EXPECT_TRUE(engine_->WaitForEvents(0)) << "adding asks for a restart";
  EXPECT_THAT(trace_, SizeIs(0));
  EXPECT_TRUE(engine_->WaitForEvents(0));
  EXPECT_THAT(trace_, ElementsAre("first"));
  EXPECT_EQ(ErrorOf(wait), "MEngineThreadTest.Fail:Handler");
  EXPECT_TRUE(engine_->WaitForEvents(0));
  EXPECT_FALSE(engine_->WaitForEvents(0));

  const std::pair<SystemAnswer, std::string> failures[] = {
      {{128, 0}, "Abandoned [status=128]"},
      {{133, 0}, "Abandoned [status=133]"},
      {{134, 0}, "Unexpected [status=134]"},
      {{0xFFFFFFFF, 6}, "WaitFailed [winErrorCode=6]"}};
  for (const auto& [answer, error] : failures) {
    EXPECT_EQ(ErrorUnder({SystemCall::kWaitForMultipleObjects, 0, answer}, wait),
              "MEngineThread.WaitForEvents:" + error);
  }
}

TEST_F(MEngineThreadTest, ServesAsManyEventsAsThereMayBe) {
  std::vector<KernelHandle> events;
  while (events.size() < 61) events.push_back(CreateKernelEvent(EventReset::kAutomatic));
  const auto refused = std::make_shared<int>();
  Latch served(61);
  // Added by a handler, while the lists of events and handlers are in use.
  engine_->onFlush = [&] {
    for (const KernelHandle& event : events) {
      engine_->AddEvent(event.Get(), MakeCallback([&] { served.CountDown(); }));
    }
    EXPECT_EQ(ErrorOf([&] { AddHandler([refused] {}); }),
              "MEngineThread.AddEvent:TooManyWaitableEvents");
  };
  engine_->Start();
  engine_->Flush();
  EXPECT_EQ(refused.use_count(), 1) << "the refused functor was not deleted";
  for (const KernelHandle& event : events) ASSERT_TRUE(SetKernelEvent(event.Get()));
  served.Wait();
}

#if defined(_WIN32)
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
#endif

TEST_F(MEngineThreadTest, ReportsASubclassThatIsDestroyedRunning) {
  class Careless final : public MEngineThread {
   public:
    Careless() : MEngineThread(0) {}

   protected:
    void ThreadFunction() override {
      SignalThreadStarted();
      do {
        WaitForEvents(kWaitForever);
      } while (!ServeStopRequest());
    }
  };
  MisuseRecorder misuse;
  { Careless().Start(); }
  EXPECT_THAT(misuse.Take(), SizeIs(Detail::ReportsMisuse() ? 1 : 0));
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

}  // namespace
}  // namespace Orvel::Testing
