// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include "orvel/foundation/exception.h"
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

}  // namespace
}  // namespace Orvel::Testing
