// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "orvel/platform/thread_annotations.h"

/// A mutex: the interface that the framework's classes use, mostly through `MScopedLock`.
///
/// Thread-safe, apart from destruction: the mutex must be neither held nor waited for then.
class ORVEL_CAPABILITY("mutex") MMutexImp {
 public:
  MMutexImp() = default;
  MMutexImp(const MMutexImp&) = delete;
  MMutexImp& operator=(const MMutexImp&) = delete;
  virtual ~MMutexImp() = default;

  /// Waits, without limit, for the mutex. Returns true when the calling thread now holds it.
  virtual bool Lock() ORVEL_ACQUIRE() = 0;
  /// Takes the mutex if that is possible without waiting. Returns true when the calling thread now
  /// holds it.
  virtual bool TryLock() ORVEL_TRY_ACQUIRE(true) = 0;
  /// Releases the mutex, which the calling thread must hold. Call it once for each time that the
  /// mutex was taken.
  virtual void Unlock() ORVEL_RELEASE() = 0;
};

/// Returns a new `MMutexWinImp`, for owners that know only the interface. Raises `std::bad_alloc`.
[[nodiscard]] std::unique_ptr<MMutexImp> MakeWinMutex();
