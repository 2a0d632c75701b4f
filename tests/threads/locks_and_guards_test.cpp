// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "orvel/foundation/exception.h"
#include "orvel/threads/generic_guard.h"
#include "orvel/threads/scoped_lock.h"
#include "tests/support/flow_log.h"
#include "tests/support/raised_error.h"

namespace {

using Orvel::Libraries::GenericGuard;
using Orvel::Testing::ErrorOf;

MSourceContext context(L"LocksAndGuardsTest", L"Fail");

class RefusingMutex final : public MMutexImp {
 public:
  explicit RefusingMutex(int& unlocks) : unlocks_(unlocks) {}
  bool Lock() override { return false; }
  bool TryLock() override { return false; }
  void Unlock() override { ++unlocks_; }

 private:
  int& unlocks_;
};

TEST(MScopedLockTest, CountsItsDepthAndReleasesWhenAnErrorLeavesTheScope) {
  const std::unique_ptr<MMutexImp> mutex = MakeWinMutex();
  // Under a second name, because the analysis of locks knows none that are recursive.
  const std::unique_ptr<MMutexImp>& again = mutex;
  std::int32_t depth = 0;
  const auto otherThreadGetsIt = [&] {
    bool taken = false;
    std::jthread([&] {
      if (!mutex->TryLock()) return;
      taken = true;
      mutex->Unlock();
    }).join();
    return taken;
  };
  EXPECT_NE(ErrorOf([&] {
              const MScopedLock outer(mutex, depth);
              const MScopedLock inner(again, depth);
              EXPECT_EQ(depth, 2);
              EXPECT_FALSE(otherThreadGetsIt());
              RaiseError(context, L"Left");
            }),
            "");
  EXPECT_EQ(depth, 0);
  EXPECT_TRUE(otherThreadGetsIt());
}

TEST(MScopedLockTest, TakesNothingFromAMissingOrRefusingMutex) {
  std::int32_t depth = 0;
  const std::unique_ptr<MMutexImp> missing;
  {
    const MScopedLock lock(missing, depth);
    EXPECT_EQ(depth, 0);
  }
  EXPECT_EQ(depth, 0);

  int unlocks = 0;
  const std::unique_ptr<MMutexImp> refusing = std::make_unique<RefusingMutex>(unlocks);
  {
    const MScopedLock lock(refusing, depth);
    EXPECT_EQ(depth, 0);
  }
  EXPECT_EQ(depth, 0) << "the counter went below zero";
  EXPECT_EQ(unlocks, 1);
}

TEST(GenericGuardTest, CallsSetUpAtOnceAndCleanUpAtTheEndUnlessDismissed) {
  std::vector<int> calls;
  {
    const GenericGuard guard([&] { calls.push_back(1); }, [&] { calls.push_back(2); });
    EXPECT_EQ(calls, std::vector{1});
  }
  EXPECT_EQ(calls, (std::vector{1, 2}));
  {
    GenericGuard guard({}, [&] { calls.push_back(3); });
    guard.Dismiss();
    const GenericGuard empty({}, {});
  }
  EXPECT_EQ(calls, (std::vector{1, 2}));
}

TEST(GenericGuardTest, LetsSetUpRaiseAndSwallowsWhatCleanUpRaises) {
  bool cleaned = false;
  EXPECT_EQ(ErrorOf([&] {
              const GenericGuard guard([] { RaiseError(context, L"SetUp"); },
                                       [&] { cleaned = true; });
            }),
            "LocksAndGuardsTest.Fail:SetUp");
  EXPECT_FALSE(cleaned);

  static_cast<void>(Orvel::Testing::TakeFlowLog());
  {
    const GenericGuard guard({}, [] { RaiseError(context, L"CleanUp"); });
  }
  EXPECT_EQ(Orvel::Testing::FlowEventsWith(Orvel::Testing::TakeFlowLog(),
                                           {"Dismissed_error", "at ~GenericGuard"}),
            std::vector<std::string>{"Dismissed_error LocksAndGuardsTest.Fail:CleanUp"});
}

}  // namespace
