// SPDX-License-Identifier: MIT
#include "orvel/threads/scoped_lock.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

TEST(MScopedLockTest, CountsItsLocksAndDoesNothingWithoutAMutex) {
  const std::unique_ptr<MMutexImp> mutex = MakeWinMutex();
  const std::unique_ptr<MMutexImp> missing;
  std::int32_t depth = 0;
  {
    const MScopedLock lock(mutex, depth);
    const MScopedLock none(missing, depth);
    EXPECT_EQ(depth, 1);
  }
  EXPECT_EQ(depth, 0);
}

}  // namespace
