// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {

/// The system's function that writes minidumps, loaded when this object is built, because the
/// loader may be locked in a crash.
///
/// Thread-compatible; a reporter uses it on one thread at a time.
class MiniDumpWriter {
 public:
  MiniDumpWriter() noexcept;

  /// Writes the threads, their stacks and the modules of this process to `file`, with the exception
  /// of the thread `threadId`. The system suspends all other threads meanwhile; to avoid a
  /// deadlock, this first takes the locks of the loader and the heap. Returns 0 or the system's
  /// error code: ERROR_LOCK_VIOLATION when a thread holds the loader's lock for `patienceMs`
  /// milliseconds. Waits without limit for a thread that holds the heap's lock.
  [[nodiscard]] std::uint32_t Write(void* file, std::uint32_t threadId,
                                    EXCEPTION_POINTERS* exception,
                                    std::uint32_t patienceMs) const noexcept;

 private:
  void* const write_;  // the functions; null when the system has none
  void* const lockLoader_;
  void* const unlockLoader_;
};

}  // namespace Orvel::Detail
