// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <thread>

#include "orvel/platform/kernel_handle.h"
#include "orvel/platform/kernel_wait.h"

namespace Orvel::Testing {

/// Opens once it was counted down as often as its constructor says. The standard's latches,
/// barriers and semaphores are no use here: without futexes libstdc++ 12 reads the value before it
/// takes the lock to sleep, so that a wait may miss its wake-up and last for ever.
class Latch {
 public:
  explicit Latch(int count) : left_(count) {}

  void CountDown() {
    if (--left_ == 0) static_cast<void>(Detail::SetKernelEvent(open_.Get()));
  }
  void Wait() { static_cast<void>(Detail::WaitForOne(open_.Get(), Detail::kWaitForever)); }
  /// False on a time-out.
  [[nodiscard]] bool WaitFor(std::chrono::milliseconds limit) {
    return Detail::WaitForOne(open_.Get(), static_cast<std::uint32_t>(limit.count())).status == 0;
  }

 private:
  std::atomic<int> left_;
  const Detail::KernelHandle open_ = Detail::CreateKernelEvent(Detail::EventReset::kManual);
};

/// Lets a number of threads off at the same moment; they spin until the last one is there.
class StartLine {
 public:
  explicit StartLine(std::size_t threads) : missing_(threads) {}

  void Await() {
    --missing_;
    while (missing_ != 0) std::this_thread::yield();
  }

 private:
  std::atomic<std::size_t> missing_;
};

}  // namespace Orvel::Testing
