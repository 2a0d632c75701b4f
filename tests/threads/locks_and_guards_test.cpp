// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include "orvel/foundation/exception.h"
#include "orvel/threads/generic_guard.h"
#include "orvel/threads/scoped_lock.h"
#include "tests/support/flow_log.h"
#include "tests/support/raised_error.h"

namespace Orvel::Testing {
namespace {

using Libraries::GenericGuard;

MSourceContext context(L"LocksAndGuardsTest", L"Fail");

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

struct RefusingMutex final : MMutexImp {
  MOCK_METHOD(bool, Lock, (), (override));
  MOCK_METHOD(bool, TryLock, (), (override));
  MOCK_METHOD(void, Unlock, (), (override));
};

TEST(MScopedLockTest, TakesNothingFromAMissingOrRefusingMutex) {
  auto refusing = std::make_unique<RefusingMutex>();
  EXPECT_CALL(*refusing, Lock()).WillOnce(testing::Return(false));
  EXPECT_CALL(*refusing, Unlock());
  std::int32_t depth = 0;
  const std::unique_ptr<MMutexImp> mutexes[] = {nullptr, std::move(refusing)};
  for (const std::unique_ptr<MMutexImp>& mutex : mutexes) {
    {
      const MScopedLock lock(mutex, depth);
      EXPECT_EQ(depth, 0);
    }
    EXPECT_EQ(depth, 0) << "the counter went below zero";
  }
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

  static_cast<void>(TakeFlowLog());
  {
    const GenericGuard guard({}, [] { RaiseError(context, L"CleanUp"); });
  }
  EXPECT_THAT(FlowEventsWith(TakeFlowLog(), {"Dismissed_error", "at ~GenericGuard"}),
              testing::ElementsAre("Dismissed_error LocksAndGuardsTest.Fail:CleanUp"));
}

}  // namespace
}  // namespace Orvel::Testing
