// SPDX-License-Identifier: MIT
#include "orvel/threads/scoped_lock.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>

namespace {

TEST(MScopedLockTest, LocksAndCountsItsLocksAndDoesNothingWithoutAMutex) {
  const std::unique_ptr<MMutexImp> mutex = MakeWinMutex();
  const std::unique_ptr<MMutexImp> missing;
  const auto isFree = [&] {
    bool isTaken = false;
    std::thread([&] {
      if (!mutex->TryLock()) return;
      isTaken = true;
      mutex->Unlock();
    }).join();
    return isTaken;
  };
  std::int32_t depth = 0;
  {
    const MScopedLock lock(mutex, depth);
    const MScopedLock none(missing, depth);
    EXPECT_EQ(depth, 1);
    EXPECT_FALSE(isFree());
  }
  EXPECT_EQ(depth, 0);
  EXPECT_TRUE(isFree());
}

}  // namespace
