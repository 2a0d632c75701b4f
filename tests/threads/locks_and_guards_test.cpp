// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "orvel/foundation/exception.h"
#include "orvel/threads/callback_functor.h"
#include "orvel/threads/generic_guard.h"
#include "orvel/threads/scoped_lock.h"
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

  const std::unique_ptr<MMutexImp> missing;
  const MScopedLock lock(missing, depth);
  EXPECT_EQ(depth, 0);
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

TEST(MakeCallbackTest, KeepsAnyFunctionAndDropsItWithTheCallback) {
  const auto owned = std::make_shared<int>(0);
  const auto add = [owned](int more) { return *owned += more; };
  const std::function<int()> lvalue = std::bind(add, 1);
  std::array<std::unique_ptr<MCallbackFunctor>, 3> callbacks = {
      MakeCallback(lvalue), MakeCallback(std::bind(add, 10)),
      MakeCallback([add, more = std::make_unique<int>(100)] { return add(*more); })};
  for (const auto& callback : callbacks) callback->Invoke();
  EXPECT_EQ(*owned, 111);
  callbacks = {};
  EXPECT_EQ(owned.use_count(), 3);  // this, add's and lvalue's
}

}  // namespace
}  // namespace Orvel::Testing
