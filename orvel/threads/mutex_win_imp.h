// SPDX-License-Identifier: MIT
#pragma once

#include "orvel/platform/critical_section.h"
#include "orvel/threads/mutex_imp.h"

/// The framework's mutex: a Windows critical section. It is recursive, works within one process,
/// and makes no system call unless threads compete for it. Thread-safe, as `MMutexImp` is.
class MMutexWinImp final : public MMutexImp {
 public:
  /// Waits, without limit, for the mutex. Returns true.
  bool Lock() override ORVEL_NO_THREAD_SAFETY_ANALYSIS;
  bool TryLock() override ORVEL_NO_THREAD_SAFETY_ANALYSIS;
  void Unlock() override ORVEL_NO_THREAD_SAFETY_ANALYSIS;

 private:
  Orvel::Detail::CriticalSection section_;
};
