// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {

/// The system's function that writes minidumps, loaded when this object is built, because the
/// loader may be locked in a crash.
///
/// Thread-affine after construction.
class MiniDumpWriter {
 public:
  MiniDumpWriter() noexcept;

  /// Writes the threads, their stacks and the modules of this process to `file`, with the exception
  /// of the thread `threadId`. For a moment all other threads stand still, and none of them holds a
  /// lock by then that the function needs. 0, or else the system's error code: when a thread keeps
  /// such a lock for `patienceMs` milliseconds that is ERROR_LOCK_VIOLATION. Waits without limit
  /// for a thread that holds the heap's lock.
  [[nodiscard]] std::uint32_t Write(void* file, std::uint32_t threadId,
                                    EXCEPTION_POINTERS* exception,
                                    std::uint32_t patienceMs) const noexcept;

 private:
  void* const write_;  // the functions; null when the system has none
  void* const lockLoader_;
  void* const unlockLoader_;
};

}  // namespace Orvel::Detail
