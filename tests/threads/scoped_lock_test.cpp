// SPDX-License-Identifier: MIT
#include "orvel/threads/scoped_lock.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "orvel/foundation/exception.h"
#include "tests/support/raised_error.h"

namespace Orvel::Testing {
namespace {

MSourceContext context(L"MScopedLockTest", L"Fail");

TEST(MScopedLockTest, CountsItsDepthAndReleasesWhenAnErrorLeavesTheScope) {
  const std::unique_ptr<MMutexImp> mutex = MakeWinMutex();
  // Under a second name, because the analysis of locks knows none that are recursive.
  const std::unique_ptr<MMutexImp>& again = mutex;
  std::int32_t depth = 0;
  EXPECT_NE(ErrorOf([&] {
              const MScopedLock outer(mutex, depth);
              const MScopedLock inner(again, depth);
              EXPECT_EQ(depth, 2);
              RaiseError(context, L"Left");
            }),
            "");
  EXPECT_EQ(depth, 0);
  std::jthread([&] {
    if (!mutex->TryLock()) FAIL() << "it is still held";
    mutex->Unlock();
  }).join();

  const std::unique_ptr<MMutexImp> missing;
  const MScopedLock lock(missing, depth);
  EXPECT_EQ(depth, 0);
}

}  // namespace
}  // namespace Orvel::Testing
