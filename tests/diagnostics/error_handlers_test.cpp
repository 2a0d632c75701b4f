// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "orvel/commands/command_processor.h"
#include "orvel/commands/function_command.h"
#include "orvel/diagnostics/spontaneous_error_handler.h"
#include "orvel/diagnostics/thread_error_handler.h"
#include "tests/support/time_limits.h"
#include "tests/threads/staging.h"

namespace Orvel::Testing {
namespace {

using testing::ElementsAre;

MSourceContext context(L"ErrorHandlersTest", L"Fail");

/// Both kinds in one, with a hook for what a test wants to happen in it.
class Listener final : public IThreadErrorHandler, public ISpontaneousErrorHandler {
 public:
  std::function<void(MEngineThread*)> onCall;
  std::vector<std::string> heard;  // the error's text

  void OnThreadError(MEngineThread& engine, const MException& error) override {
    Hear(&engine, error);
  }
  void OnSpontaneousError(const MFlowPoint&, const void*, const MException& error) override {
    Hear(nullptr, error);
  }

 private:
  void Hear(MEngineThread* engine, const MException& error) {
    heard.push_back(ErrorText(error));
    if (onCall) onCall(engine);
  }
};

/// Has a processor's worker fail. It is stopped at the end.
void FailWorkerOf(MCommandProcessor& processor) {
  processor.Start();
  processor.QueueCommand(MakeCommand([] { RaiseError(context, L"Plain"); }));
  EXPECT_EQ(ErrorOf([&] { processor.Flush(); }), "MEngineThread.Flush:ThreadExitedUnexpectedly");
  processor.Stop();
}

void Dismiss(const wchar_t* errorName, const void* object = nullptr) {
  try {
    RaiseError(context, errorName);
  } catch (const MException& exception) {
    RecordDismissed(context, object, exception);
  }
}

constexpr const char* kPlain = "ErrorHandlersTest.Fail:Plain";

class ErrorHandlersTest : public testing::Test {
 protected:
  const HangWatchdog watchdog_;
  MCommandProcessor processor_;
  Listener listener_;
};

TEST_F(ErrorHandlersTest, HearOnTheWorkerOfItsFailureAsLongAsTheyAreInUse) {
  MCommandProcessor other;
  Listener ofOther;
  ofOther.onCall = [&](MEngineThread* engine) {
    EXPECT_EQ(engine, &other);
    EXPECT_TRUE(other.IsAborted());
    EXPECT_EQ(ErrorOf([&] { engine->Flush(); }), "MEngineThread.Flush:CannotFlushSelf");
    EXPECT_THAT(listener_.heard, ElementsAre(kPlain)) << "called before one put into use earlier";
  };
  {
    const MThreadErrorRegistration forAll(listener_);
    const MThreadErrorRegistration forOther(ofOther, other);
    FailWorkerOf(other);
    FailWorkerOf(processor_);
  }
  FailWorkerOf(other);
  EXPECT_THAT(listener_.heard, ElementsAre(kPlain, kPlain));
  EXPECT_THAT(ofOther.heard, ElementsAre(kPlain));
}

TEST_F(ErrorHandlersTest, HearOfErrorsThatNobodyElseIsToldOf) {
  Listener ofProcessor;
  const MSpontaneousErrorRegistration forAll(listener_);
  const MSpontaneousErrorRegistration forProcessor(ofProcessor, processor_);
  Dismiss(L"Elsewhere");
  FailWorkerOf(processor_);
  EXPECT_THAT(listener_.heard, ElementsAre("ErrorHandlersTest.Fail:Elsewhere", kPlain));
  EXPECT_THAT(ofProcessor.heard, ElementsAre(kPlain));
}

TEST_F(ErrorHandlersTest, WhatOneRaisesIsRecordedAndComesBackToNone) {
  Listener second;
  const MSpontaneousErrorRegistration first(listener_);
  const MSpontaneousErrorRegistration last(second);
  listener_.onCall = [](MEngineThread*) {
    Dismiss(L"Inside");
    RaiseError(context, L"Raised");
  };
  second.onCall = [](MEngineThread*) { throw 1; };
  static_cast<void>(TakeFlowLog());
  Dismiss(L"Dismissed");
  EXPECT_THAT(
      FlowEventsWith(TakeFlowLog(), {"Dismissed_error"}),
      ElementsAre("Dismissed_error ErrorHandlersTest.Fail:Dismissed",
                  "Dismissed_error ErrorHandlersTest.Fail:Inside",
                  "Dismissed_error ErrorHandlersTest.Fail:Raised", "Dismissed_error NoMException"));
  EXPECT_THAT(listener_.heard, ElementsAre("ErrorHandlersTest.Fail:Dismissed"));
  EXPECT_THAT(second.heard, ElementsAre("ErrorHandlersTest.Fail:Dismissed"));
}

TEST_F(ErrorHandlersTest, MayBeTakenOutOfUseInsideOneAndNotWhileTheyRunElsewhere) {
  std::optional<MSpontaneousErrorRegistration> registration(std::in_place, listener_);
  listener_.onCall = [&](MEngineThread*) { registration.reset(); };
  Dismiss(L"First");
  Dismiss(L"Second");
  EXPECT_THAT(listener_.heard, ElementsAre("ErrorHandlersTest.Fail:First"));

  Gate gate;
  std::atomic<bool> isGone{false};
  listener_.onCall = [&](MEngineThread*) {
    gate.Hold();
    std::this_thread::sleep_for(kMustNotHappenFor);
    EXPECT_FALSE(isGone);
  };
  registration.emplace(listener_);
  const std::jthread dismissing([] { Dismiss(L"Elsewhere"); });
  gate.AwaitWorker();
  gate.Release();
  registration.reset();
  isGone = true;
}

TEST_F(ErrorHandlersTest, ComeAndGoWhileOthersDismissErrors) {
  class Brief final : public ISpontaneousErrorHandler {
   public:
    ~Brief() { isAlive_ = false; }
    void OnSpontaneousError(const MFlowPoint&, const void*, const MException&) override {
      EXPECT_TRUE(isAlive_);
    }

   private:
    std::atomic<bool> isAlive_{true};
  };
  std::atomic<int> going{2};
  RunTogether(4, [&](std::size_t thread) {
    if (thread < 2) {
      for (int round = 0; round < 300; ++round) {
        const auto handler = std::make_unique<Brief>();
        const MSpontaneousErrorRegistration registration(*handler);
        std::this_thread::yield();
      }
      --going;
    } else {
      while (going > 0) Dismiss(L"Raced");
    }
  });
}

}  // namespace
}  // namespace Orvel::Testing
