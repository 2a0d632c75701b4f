// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>

#include "orvel/platform/kernel_handle.h"

namespace Orvel::Detail {

/// The thread that builds it, whose end others can wait for. The members may be called on any
/// thread.
class ObservedThread {
 public:
  ObservedThread() noexcept;
  ~ObservedThread();
  ObservedThread(const ObservedThread&) = delete;
  ObservedThread& operator=(const ObservedThread&) = delete;

  /// Returns a handle that is signalled when the thread has ended, or nullptr when the system
  /// refused to open the thread.
  [[nodiscard]] void* Get() const noexcept { return thread_.Get(); }

  /// Returns the exit code of the thread, which has ended. A thread that the system ended may have
  /// none of its own and show 0, as under Wine one that used up its stack. That is no success, so 1
  /// is returned for it, with which Wine ends a process whose last thread it is. So it is for one
  /// that another thread terminated with 0, and for one that ends in another fiber than it began
  /// in.
  [[nodiscard]] std::uint32_t GetExitCode() const noexcept;

 private:
  static void __stdcall OnEnd(void* self) noexcept;

  const KernelHandle thread_;
  const std::uint32_t endSlot_;  // fiber-local: the system calls OnEnd as the thread ends by itself
  std::atomic<bool> endsByItself_{false};
};

/// Returns true when the calling thread is the only one of the process. Takes a snapshot of all
/// threads of the system, so it is not for hot paths. Returns false when the system refuses one.
[[nodiscard]] bool IsOnlyThread() noexcept;

}  // namespace Orvel::Detail
