// SPDX-License-Identifier: MIT
#include "orvel/commands/scheduler_thread.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "orvel/platform/kernel_handle.h"
#include "orvel/platform/windows_api.h"
#include "tests/support/flow_log.h"
#include "tests/support/function_functor.h"
#include "tests/support/handle_count.h"
#include "tests/support/hang_watchdog.h"
#include "tests/support/meeting.h"
#include "tests/support/raised_error.h"
#include "tests/support/system_call_hook.h"
#include "tests/support/time_limits.h"

#include <objbase.h>

namespace {

using Orvel::Detail::CreateKernelEvent;
using Orvel::Detail::EventReset;
using Orvel::Detail::KernelHandle;
using Orvel::Testing::ErrorOf;
using Orvel::Testing::FlowEventsWith;
using Orvel::Testing::ForObject;
using Orvel::Testing::Functor;
using Orvel::Testing::HangWatchdog;
using Orvel::Testing::Latch;
using Orvel::Testing::SystemCall;
using Orvel::Testing::SystemCallHook;
using Orvel::Testing::TakeFlowLog;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kThreadRunning = "MSchedulerThread.RegisterSchedulerEvent:ThreadRunning";

/// An auto-reset event, so that one signal is one call of its handler.
class MSchedulerThreadTest : public testing::Test {
 protected:
  void Register(void* event, std::function<void()> handler) {
    thread_.RegisterSchedulerEvent(event, Functor(std::move(handler)));
  }
  static void Signal(const KernelHandle& event) {
    ASSERT_TRUE(Orvel::Detail::SetKernelEvent(event.Get()));
  }

  const HangWatchdog watchdog_;
  const KernelHandle event_ = CreateKernelEvent(EventReset::kAutomatic);
  const KernelHandle other_ = CreateKernelEvent(EventReset::kAutomatic);
  MSchedulerThread thread_;
};

TEST_F(MSchedulerThreadTest, HandlersRunInOrderOfRegistrationOncePerSignal) {
  const KernelHandle last = CreateKernelEvent(EventReset::kAutomatic);
  std::vector<int> order;
  std::thread::id worker;
  Latch done(3);
  Register(event_.Get(), [&] {
    order.push_back(1);
    worker = std::this_thread::get_id();
    done.CountDown();
  });
  Register(other_.Get(), [&] {
    order.push_back(2);
    Signal(event_);  // goes before what was signalled long ago
    done.CountDown();
  });
  Register(last.Get(), [&] {
    order.push_back(3);
    done.CountDown();
  });
  Signal(last);
  Signal(other_);
  thread_.Start();
  done.Wait();
  thread_.Stop();
  EXPECT_THAT(order, ElementsAre(2, 1, 3));
  EXPECT_NE(worker, std::this_thread::get_id());
}

TEST_F(MSchedulerThreadTest, RegistrationIsForAThreadAtRestAndOwnsItsFunctorAnyway) {
  const auto token = std::make_shared<int>();
  const auto registering = [&] { Register(event_.Get(), [token] {}); };
  thread_.Start();
  EXPECT_EQ(ErrorOf(registering), kThreadRunning);
  EXPECT_EQ(token.use_count(), 1) << "the refused functor is gone";
  thread_.Stop();
  for (int count = 0; count < 61; ++count) EXPECT_EQ(ErrorOf(registering), "");
  EXPECT_EQ(ErrorOf(registering), "MEngineThread.AddEvent:TooManyWaitableEvents");
  EXPECT_EQ(token.use_count(), 1 + 61);
  thread_.Start();
  thread_.Flush();
  EXPECT_EQ(ErrorOf(registering), kThreadRunning);
}

TEST_F(MSchedulerThreadTest, WhatAHandlerMustNotCallIsRefusedWhileAnotherThreadHoldsTheLock) {
  Latch handlerRuns(1);
  Latch flushIsUnderWay(1);
  std::vector<std::string> errors;
  Register(event_.Get(), [&] {
    handlerRuns.CountDown();
    flushIsUnderWay.Wait();
    errors = {ErrorOf([&] { Register(other_.Get(), [] {}); }), ErrorOf([&] { thread_.Start(); }),
              ErrorOf([&] { thread_.Flush(); }), ErrorOf([&] { thread_.Stop(); })};
  });
  thread_.Start();
  Signal(event_);
  handlerRuns.Wait();
  {
    const SystemCallHook hook(SystemCall::kWaitForMultipleObjects,
                              [&] { flushIsUnderWay.CountDown(); });
    thread_.Flush();
    EXPECT_TRUE(hook.WasReached());
  }
  thread_.Stop();
  EXPECT_THAT(errors, ElementsAre(kThreadRunning, "MEngineThread.Start:AlreadyRunning",
                                  "MEngineThread.Flush:CannotFlushSelf",
                                  "MEngineThread.Stop:CannotStopSelf"));
}

TEST_F(MSchedulerThreadTest, RegistrationIsRefusedWhileAStopIsUnderWay) {
  Latch handlerRuns(1);
  Latch goOn(1);
  Register(event_.Get(), [&] {
    handlerRuns.CountDown();
    goOn.Wait();
  });
  thread_.Start();
  Signal(event_);
  handlerRuns.Wait();
  Latch stopIsUnderWay(1);
  {
    const std::jthread stopper([&] {
      // From here on the stop waits for the handler, without the lock.
      const SystemCallHook hook(SystemCall::kSetEvent, [&] { stopIsUnderWay.CountDown(); });
      thread_.Stop();
    });
    stopIsUnderWay.Wait();
    EXPECT_EQ(ErrorOf([&] { Register(other_.Get(), [] {}); }), kThreadRunning);
    goOn.CountDown();
  }
  EXPECT_EQ(ErrorOf([&] { Register(other_.Get(), [] {}); }), "");
}

TEST_F(MSchedulerThreadTest, HandlersRunInTheMultithreadedApartment) {
  struct Apartment {
    HRESULT result = E_FAIL;
    APTTYPE type = APTTYPE_CURRENT;
    APTTYPEQUALIFIER qualifier = APTTYPEQUALIFIER_IMPLICIT_MTA;
    HRESULT created = E_FAIL;
  };
  const auto look = [] {
    // {00000323-0000-0000-C000-000000000046}: the global interface table, which every system has.
    const CLSID table = {0x323, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    const IID unknown = {0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    Apartment apartment;
    apartment.result = ::CoGetApartmentType(&apartment.type, &apartment.qualifier);
    void* object = nullptr;
    apartment.created = ::CoCreateInstance(table, nullptr, CLSCTX_INPROC_SERVER, unknown, &object);
    if (object != nullptr) static_cast<IUnknown*>(object)->Release();
    return apartment;
  };
  Latch done(1);
  Apartment inHandler;
  Register(event_.Get(), [&] {
    inHandler = look();
    done.CountDown();
  });
  EXPECT_EQ(look().created, CO_E_NOTINITIALIZED) << "this thread must prove nothing by itself";
  thread_.Start();
  Signal(event_);
  done.Wait();
  thread_.Stop();
  EXPECT_EQ(inHandler.result, S_OK);
  EXPECT_EQ(inHandler.type, APTTYPE_MTA);
  EXPECT_EQ(inHandler.qualifier, APTTYPEQUALIFIER_NONE) << "the thread's own initialisation";
  EXPECT_EQ(inHandler.created, S_OK);
  EXPECT_EQ(look().created, CO_E_NOTINITIALIZED) << "and undone with the thread";
}

TEST_F(MSchedulerThreadTest, SleepsWhileNothingIsSignalled) {
  Register(event_.Get(), [] {});
  thread_.Start();
  thread_.Flush();
  std::this_thread::sleep_for(Orvel::Testing::kMustNotHappenFor);
  static_cast<void>(TakeFlowLog());
  std::this_thread::sleep_for(Orvel::Testing::kMustNotHappenFor);
  EXPECT_THAT(FlowEventsWith(TakeFlowLog(), {ForObject(&thread_)}), IsEmpty());
}

TEST_F(MSchedulerThreadTest, AnErrorOfAHandlerEndsTheWorkerAndLeavesTheApartment) {
  Register(event_.Get(), [] { throw MException(MError(L"Handler:Failed")); });
  static_cast<void>(TakeFlowLog());
  for (int life = 0; life < 2; ++life) {
    thread_.Start();
    Signal(event_);
    // The flush may come first; the end of the worker then meets the next one.
    std::string error;
    while (error.empty()) error = ErrorOf([&] { thread_.Flush(); });
    EXPECT_EQ(error, "MEngineThread.Flush:ThreadExitedUnexpectedly");
    thread_.Stop();
    EXPECT_EQ(thread_.GetState(), MEngineState::kInactive);
  }
  EXPECT_THAT(FlowEventsWith(TakeFlowLog(), {"Dismissed_error"}),
              ElementsAre("Dismissed_error Handler:Failed", "Dismissed_error Handler:Failed"));
  APTTYPE type = APTTYPE_CURRENT;
  APTTYPEQUALIFIER qualifier = APTTYPEQUALIFIER_NONE;
  EXPECT_EQ(::CoGetApartmentType(&type, &qualifier), CO_E_NOTINITIALIZED) << "no apartment is left";
}

TEST(MSchedulerThreadLifeTest, DestructionWaitsForTheHandlerAndDeletesTheFunctors) {
  const HangWatchdog watchdog;
  const KernelHandle event = CreateKernelEvent(EventReset::kAutomatic);
  const auto token = std::make_shared<int>();
  const auto liveAndDie = [&] {
    Latch handlerRuns(1);
    std::atomic<bool> handlerEnded = false;
    {
      MSchedulerThread thread;
      thread.RegisterSchedulerEvent(event.Get(), Functor([&, token] {
                                      handlerRuns.CountDown();
                                      std::this_thread::sleep_for(std::chrono::milliseconds(20));
                                      handlerEnded = true;
                                    }));
      thread.Start();
      ASSERT_TRUE(Orvel::Detail::SetKernelEvent(event.Get()));
      handlerRuns.Wait();
    }
    EXPECT_TRUE(handlerEnded);
    EXPECT_EQ(token.use_count(), 1);
  };
  liveAndDie();
  const std::size_t handles = Orvel::Testing::CountOpenHandles();
  for (int round = 0; round < 5; ++round) liveAndDie();
  EXPECT_EQ(Orvel::Testing::CountOpenHandles(), handles);
}

}  // namespace
