// SPDX-License-Identifier: MIT
#include "orvel/commands/scheduler_thread.h"

#include "orvel/platform/windows_api.h"
#include "tests/threads/staging.h"

#include <objbase.h>

namespace Orvel::Testing {
namespace {

class MSchedulerThreadTest : public testing::Test {
 protected:
  void Register(std::function<void()> handler) {
    thread_->RegisterSchedulerEvent(event_.Get(), MakeCallback(std::move(handler)));
  }

  const HangWatchdog watchdog_;
  // Auto-reset, so that one signal is one call of its handler.
  const Detail::KernelHandle event_ = Detail::CreateKernelEvent(Detail::EventReset::kAutomatic);
  std::unique_ptr<MSchedulerThread> thread_ = std::make_unique<MSchedulerThread>();
};

TEST_F(MSchedulerThreadTest, RegistrationIsRefusedWithoutWaitingUnlessTheThreadIsAtRest) {
  const auto token = std::make_shared<int>();
  const auto registering = [&] { Register([token] {}); };
  const std::string refusal = "MSchedulerThread.RegisterSchedulerEvent:ThreadRunning";
  Gate gate;
  Register([&] {
    gate.Hold();
    EXPECT_EQ(ErrorOf(registering), refusal);
  });
  thread_->Start();
  EXPECT_EQ(ErrorOf(registering), refusal);
  ASSERT_TRUE(Detail::SetKernelEvent(event_.Get()));
  gate.AwaitWorker();
  {
    // It has the lock until the handler is through.
    const std::jthread flusher = WaitElsewhere([&] { thread_->Flush(); });
    gate.Release();
  }
  thread_->Stop();
  EXPECT_EQ(token.use_count(), 1) << "the refused functors are gone";
  EXPECT_EQ(ErrorOf(registering), "");
  // What the refused functor owns may call the thread from anywhere.
  std::shared_ptr<void> owned(nullptr, [&](void*) { std::jthread([&] { thread_->Flush(); }); });
  EXPECT_EQ(ErrorOf([&] {
              thread_->RegisterSchedulerEvent(nullptr, MakeCallback([o = std::move(owned)] {}));
            }),
            "MEngineThread.AddEvent:NoEvent");
  thread_.reset();
  EXPECT_EQ(token.use_count(), 1);
}

/// How the calling thread takes part in COM.
struct Apartment {
  APTTYPE type = APTTYPE_CURRENT;
  APTTYPEQUALIFIER qualifier = APTTYPEQUALIFIER_IMPLICIT_MTA;
  HRESULT result = ::CoGetApartmentType(&type, &qualifier);
};

TEST_F(MSchedulerThreadTest, HandlersRunInTheMultithreadedApartmentThatAlsoTheirErrorsLeave) {
  ASSERT_EQ(Apartment().result, CO_E_NOTINITIALIZED) << "this thread must prove nothing by itself";
  Apartment inHandler;
  Register([&] {
    inHandler = Apartment();
    throw MException(MError(L"Handler:Failed"));
  });
  thread_->Start();
  ASSERT_TRUE(Detail::SetKernelEvent(event_.Get()));
  while (ErrorOf([&] { thread_->Flush(); }).empty()) {
  }
  thread_->Stop();
  EXPECT_EQ(inHandler.result, S_OK);
  EXPECT_EQ(inHandler.type, APTTYPE_MTA);
  EXPECT_EQ(inHandler.qualifier, APTTYPEQUALIFIER_NONE) << "the thread's own initialisation";
  EXPECT_EQ(Apartment().result, CO_E_NOTINITIALIZED) << "no apartment is left";
}

}  // namespace
}  // namespace Orvel::Testing
