// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "orvel/platform/thread_annotations.h"

/// A mutex as the framework's classes see it. Lock it through `MScopedLock`.
class ORVEL_CAPABILITY("mutex") MMutexImp {
 public:
  MMutexImp() = default;
  MMutexImp(const MMutexImp&) = delete;
  MMutexImp& operator=(const MMutexImp&) = delete;
  virtual ~MMutexImp() = default;

  /// Waits for the mutex; true when the calling thread now holds it.
  virtual bool Lock() ORVEL_ACQUIRE() = 0;
  /// Takes the mutex only if that needs no waiting; true when the calling thread now holds it.
  virtual bool TryLock() ORVEL_TRY_ACQUIRE(true) = 0;
  /// Gives the mutex back, once for each time it was taken. The calling thread holds it.
  virtual void Unlock() ORVEL_RELEASE() = 0;
};

/// A new `MMutexWinImp`, for owners that need to know the interface only. Raises `std::bad_alloc`.
[[nodiscard]] std::unique_ptr<MMutexImp> MakeWinMutex();
