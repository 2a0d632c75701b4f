// SPDX-License-Identifier: MIT
#include "orvel/threads/mutex_win_imp.h"

bool MMutexWinImp::Lock() {
  section_.lock();
  return true;
}

bool MMutexWinImp::TryLock() { return section_.try_lock(); }

void MMutexWinImp::Unlock() { section_.unlock(); }

std::unique_ptr<MMutexImp> MakeWinMutex() { return std::make_unique<MMutexWinImp>(); }
