// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "orvel/commands/command_processor.h"
#include "orvel/commands/function_command.h"
#include "orvel/diagnostics/spontaneous_error_handler.h"
#include "orvel/diagnostics/thread_error_handler.h"
#include "tests/threads/staging.h"

namespace Orvel::Testing {
namespace {

using testing::ElementsAre;

MSourceContext context(L"Test", L"Fail");

struct Listener final : IThreadErrorHandler, ISpontaneousErrorHandler {
  std::function<void(MEngineThread*)> onCall = [](MEngineThread*) {};
  std::vector<std::string> heard;

  void OnThreadError(MEngineThread& engine, const MException& error) override {
    heard.push_back("worker " + ErrorText(error));
    onCall(&engine);
  }
  void OnSpontaneousError(const MFlowPoint&, const void*, const MException& error) override {
    heard.push_back(ErrorText(error));
    onCall(nullptr);
  }
};

void Dismiss(const wchar_t* errorName) {
  RecordDismissed(context, nullptr, MException(MError(context, errorName)));
}

void FailWorkerOf(MCommandProcessor& processor) {
  processor.Start();
  processor.QueueCommand(MakeCommand([] { RaiseError(context, L"Plain"); }));
  EXPECT_EQ(ErrorOf([&] { processor.Flush(); }), "MEngineThread.Flush:ThreadExitedUnexpectedly");
  processor.Stop();
}

TEST(ErrorHandlersTest, HearOfFailedWorkersAndDismissedErrorsAsLongAsTheyAreInUse) {
  const HangWatchdog watchdog;
  MCommandProcessor one;
  MCommandProcessor other;
  Listener ofAll;
  Listener ofOther;
  ofOther.onCall = [&](MEngineThread* engine) {
    if (engine == nullptr) return;
    EXPECT_EQ(engine, &other);
    EXPECT_TRUE(other.IsAborted());
    EXPECT_EQ(ErrorOf([&] { engine->Flush(); }), "MEngineThread.Flush:CannotFlushSelf");
  };
  {
    const MThreadErrorRegistration workersOfAll(ofAll);
    const MThreadErrorRegistration workersOfOther(ofOther, other);
    const MSpontaneousErrorRegistration errorsOfAll(ofAll);
    const MSpontaneousErrorRegistration errorsOfOther(ofOther, other);
    Dismiss(L"Elsewhere");
    FailWorkerOf(one);
    FailWorkerOf(other);
  }
  FailWorkerOf(other);
  const char* const plain = "Test.Fail:Plain";
  const char* const worker = "worker Test.Fail:Plain";
  EXPECT_THAT(ofAll.heard, ElementsAre("Test.Fail:Elsewhere", plain, worker, plain, worker));
  EXPECT_THAT(ofOther.heard, ElementsAre(plain, worker));
}

TEST(ErrorHandlersTest, WhatOneRaisesIsRecordedAndComesBackToNoneAndOneMayEndItself) {
  Listener raising;
  Listener brief;
  const MSpontaneousErrorRegistration first(raising);
  std::optional<MSpontaneousErrorRegistration> second(std::in_place, brief);
  raising.onCall = [](MEngineThread*) {
    Dismiss(L"Inside");
    RaiseError(context, L"Raised");
  };
  brief.onCall = [&](MEngineThread*) {
    second.reset();
    throw 1;
  };
  static_cast<void>(TakeFlowLog());
  Dismiss(L"Dismissed");
  EXPECT_THAT(FlowEventsWith(TakeFlowLog(), {"Dismissed_error"}),
              ElementsAre("Dismissed_error Test.Fail:Dismissed", "Dismissed_error Test.Fail:Inside",
                          "Dismissed_error Test.Fail:Raised", "Dismissed_error NoMException"));
  Dismiss(L"Later");
  EXPECT_THAT(raising.heard, ElementsAre("Test.Fail:Dismissed", "Test.Fail:Later"));
  EXPECT_THAT(brief.heard, ElementsAre("Test.Fail:Dismissed"));
}

TEST(ErrorHandlersTest, AreNotCalledOnceTheirRegistrationIsGone) {
  struct Brief final : ISpontaneousErrorHandler {
    ~Brief() { isAlive = false; }
    void OnSpontaneousError(const MFlowPoint&, const void*, const MException&) override {
      EXPECT_TRUE(isAlive);
    }
    std::atomic<bool> isAlive{true};
  };
  std::atomic<int> going{2};
  RunTogether(4, [&](std::size_t thread) {
    for (int round = 0; thread < 2 && round < 300; ++round) {
      const auto handler = std::make_unique<Brief>();
      const MSpontaneousErrorRegistration registration(*handler);
      std::this_thread::yield();
    }
    if (thread < 2) --going;
    while (thread >= 2 && going > 0) Dismiss(L"Raced");
  });
}

}  // namespace
}  // namespace Orvel::Testing
