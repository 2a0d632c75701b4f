// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "orvel/platform/windows_api.h"

/// What recording a flow event cannot do without: one locked add, one reading of the clock, the
/// stores of one record and the thread's id. The floor that the flow logger is measured against.
/// Thread-safe for recorders; nobody reads.
class BareRecorder {
 public:
  void Record(std::int32_t kind, std::int32_t arg1, std::int32_t arg2, std::int32_t classId,
              std::int32_t pointId, std::uint64_t object) noexcept {
    const std::uint32_t old = control_.fetch_add(2, std::memory_order_acq_rel);
    Slot& slot = slots_[(old >> 1) & (kCapacity - 1)];
    LARGE_INTEGER counter;
    ::QueryPerformanceCounter(&counter);
    slot.counter.store(counter.QuadPart, std::memory_order_relaxed);
    slot.kind.store(kind, std::memory_order_relaxed);
    slot.arg1.store(arg1, std::memory_order_relaxed);
    slot.arg2.store(arg2, std::memory_order_relaxed);
    slot.objectLow.store(static_cast<std::uint32_t>(object), std::memory_order_relaxed);
    slot.objectHigh.store(static_cast<std::uint32_t>(object >> 32), std::memory_order_relaxed);
    slot.classId.store(classId, std::memory_order_relaxed);
    slot.pointId.store(pointId, std::memory_order_relaxed);
    slot.threadId.store(::GetCurrentThreadId(), std::memory_order_relaxed);
  }

 private:
  // As many records of the same size as the flow logger keeps, so that both walk through as much
  // memory.
  static constexpr std::size_t kCapacity = 0x20000;
  struct Slot {
    std::atomic<std::int64_t> counter;
    std::atomic<std::int32_t> kind;
    std::atomic<std::int32_t> arg1;
    std::atomic<std::int32_t> arg2;
    std::atomic<std::int32_t> classId;
    std::atomic<std::int32_t> pointId;
    std::atomic<std::uint32_t> objectLow;
    std::atomic<std::uint32_t> objectHigh;
    std::atomic<std::uint32_t> threadId;
  };
  static_assert(sizeof(Slot) == 40);

  alignas(64) std::atomic<std::uint32_t> control_{1};
  alignas(64) std::array<Slot, kCapacity> slots_{};
};
