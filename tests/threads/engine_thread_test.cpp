// SPDX-License-Identifier: MIT
#include "orvel/threads/engine_thread.h"

#include <algorithm>
#include <optional>

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
    EXPECT_THAT(FlowEventsWith(TakeFlowLog(), {"State_change", "(ScriptedEngine)",
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
  Latch called(1);
  engine_->script = [&] {
    callAll(kRefused);
    called.CountDown();
    engine_->SignalThreadStarted();
    engine_->Loop();
  };
  engine_->onFlush = [&] { callAll(kRefused); };
  engine_->onStop = [&] { callAll(""); };
  ScriptedEngine other;
  {
    // Before Start itself gets to know which thread the worker is.
    const SystemCallHook begun(SystemCall::kThreadBegun, [&] { called.Wait(); });
    engine_->Start();
    engine_->Flush();
    engine_->Stop();
  }
  // Its worker may get the id of the one that has ended, and is another all the same.
  other.onFlush = [&] { EXPECT_EQ(ErrorOf([&] { engine_->Start(); }), ""); };
  other.Start();
  other.Flush();
  engine_->Stop();
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
      EXPECT_EQ(ErrorOf([&] { engine_->Flush(); }),
                isReady ? "MEngineThread.Flush:ThreadExitedUnexpectedly" : "");
      EXPECT_EQ(engine_->GetState(), isReady ? MEngineState::kRunning : MEngineState::kInactive);
      engine_->Stop();
      EXPECT_EQ(engine_->GetState(), MEngineState::kInactive);
      EXPECT_FALSE(engine_->HasPendingRequest()) << "the request survived its worker";
    });
    EXPECT_THAT(FlowEventsWith(TakeFlowLog(), {"Dismissed_error MEngineThreadTest.Fail:Early",
                                               "(ScriptedEngine)"}),
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

TEST_F(MEngineThreadTest, ServesAsManyEventsAsThereMayBeInTheOrderOfTheirAddition) {
  std::vector<KernelHandle> events;
  while (events.size() < 61) events.push_back(CreateKernelEvent(EventReset::kAutomatic));
  std::vector<std::size_t> order;
  const auto refused = std::make_shared<int>();
  Latch served(60);
  // Added by a handler, while the lists of events and handlers are in use.
  engine_->onFlush = [&] {
    engine_->AddEvent(events[0].Get(), nullptr);
    for (std::size_t i = 1; i < events.size(); ++i) {
      engine_->AddEvent(events[i].Get(), MakeCallback([&, i] {
                          order.push_back(i);
                          served.CountDown();
                        }));
    }
    EXPECT_EQ(ErrorOf([&] { AddHandler([refused] {}); }),
              "MEngineThread.AddEvent:TooManyWaitableEvents");
    for (auto event = events.rbegin(); event != events.rend(); ++event) {
      ASSERT_TRUE(SetKernelEvent(event->Get()));
    }
  };
  engine_->Start();
  engine_->Flush();
  EXPECT_EQ(refused.use_count(), 1) << "the refused functor was not deleted";
  served.Wait();
  EXPECT_TRUE(std::ranges::is_sorted(order));
  engine_.reset();  // before what it waits for
}

#if defined(_WIN32)
TEST_F(MEngineThreadTest, WakesForMessagesWhenAskedTo) {
  MSG message;
  ::PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);  // gives the thread its queue
  ASSERT_TRUE(::PostThreadMessageW(::GetCurrentThreadId(), WM_APP, 0, 0));
  ASSERT_TRUE(::PeekMessageW(&message, nullptr, WM_APP, WM_APP, PM_NOREMOVE));
  engine_->SetWakesForMessages(true);
  EXPECT_TRUE(engine_->WaitForEvents(kWaitForever)) << "an event goes before input";
  EXPECT_FALSE(engine_->WaitForEvents(kWaitForever)) << "input already seen still counts";
  EXPECT_TRUE(::PeekMessageW(&message, nullptr, WM_APP, WM_APP, PM_REMOVE));
  EXPECT_FALSE(engine_->WaitForEvents(1));
}
#endif

TEST_F(MEngineThreadTest, ReportsASubclassThatIsDestroyedRunning) {
  MisuseRecorder misuse;
  engine_->isCareless = true;
  engine_->script = [&] { engine_->SignalThreadStarted(); };  // and nothing of the lost parts
  engine_->Start();
  engine_.reset();
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
