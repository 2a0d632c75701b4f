// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>

#include "orvel/platform/thread_annotations.h"
#include "orvel/threads/mutex_imp.h"

/// Holds an owner's mutex for a scope and counts the locks held in the owner's counter, which is
/// there for people who debug and decides nothing. With a null mutex it does nothing. Mutex and
/// counter are borrowed. Thread-affine, like any local.
class [[nodiscard]] ORVEL_SCOPED_CAPABILITY MScopedLock {
 public:
  /// Waits, without limit, for the mutex and then increments `depth`. The mutex may be null.
  MScopedLock(const std::unique_ptr<MMutexImp>& mutex, std::int32_t& depth)
      ORVEL_ACQUIRE(*mutex) ORVEL_NO_THREAD_SAFETY_ANALYSIS : mutex_(mutex.get()),
                                                              depth_(depth) {
    if (mutex_ != nullptr && mutex_->Lock()) ++depth_;
  }
  MScopedLock(const MScopedLock&) = delete;
  MScopedLock& operator=(const MScopedLock&) = delete;
  ~MScopedLock() ORVEL_RELEASE() ORVEL_NO_THREAD_SAFETY_ANALYSIS {
    if (mutex_ == nullptr) return;
    if (depth_ > 0) --depth_;
    mutex_->Unlock();
  }

 private:
  MMutexImp* const mutex_;
  std::int32_t& depth_;
};
