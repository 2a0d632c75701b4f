// SPDX-License-Identifier: MIT
#pragma once

#include "orvel/platform/critical_section.h"
#include "orvel/threads/mutex_imp.h"

/// The framework's mutex: a Windows critical section. Recursive, within one process, and free of
/// system calls while nobody else wants it. Thread-safe.
class MMutexWinImp final : public MMutexImp {
 public:
  /// Always true.
  bool Lock() override ORVEL_NO_THREAD_SAFETY_ANALYSIS;
  bool TryLock() override ORVEL_NO_THREAD_SAFETY_ANALYSIS;
  void Unlock() override ORVEL_NO_THREAD_SAFETY_ANALYSIS;

 private:
  Orvel::Detail::CriticalSection section_;
};
