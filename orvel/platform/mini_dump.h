// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {

/// The system's function that writes minidumps, loaded when this object is built: in a crash the
/// loader may not be had.
///
/// Thread-affine after construction.
class MiniDumpWriter {
 public:
  MiniDumpWriter() noexcept;

  /// Writes the threads, their stacks and the modules of this process to `file`, with the
  /// exception of the thread `threadId`. For a moment all other threads stand still, and none of
  /// them holds a lock by then that the function needs. 0, or else the system's error code: when a
  /// thread keeps such a lock for `patienceMs` milliseconds that is ERROR_LOCK_VIOLATION. A thread
  /// that never gives the heap's lock back is waited for without end.
  [[nodiscard]] std::uint32_t Write(void* file, std::uint32_t threadId,
                                    EXCEPTION_POINTERS* exception,
                                    std::uint32_t patienceMs) const noexcept;

 private:
  void* const write_;  // the functions; null when the system has none
  void* const lockLoader_;
  void* const unlockLoader_;
};

}  // namespace Orvel::Detail
