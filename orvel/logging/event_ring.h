// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "orvel/platform/recording_calls.h"

namespace Orvel::Detail {

/// One flow event as it was recorded. In a slot that nothing was recorded into, all fields are 0.
struct EventRecord {
  std::int64_t counter = 0;  ///< performance counter at the moment of recording, never 0
  std::int32_t kind = 0;     ///< one of `EventCode`
  std::int32_t arg1 = 0;
  std::int32_t arg2 = 0;
  std::int32_t classId = 0;
  std::int32_t pointId = 0;
  std::uint64_t object = 0;
  std::uint32_t threadId = 0;  ///< never 0 in a record that is complete

  [[nodiscard]] bool IsEmpty() const noexcept {
    return counter == 0 && kind == 0 && arg1 == 0 && arg2 == 0 && classId == 0 && pointId == 0 &&
           object == 0 && threadId == 0;
  }
  [[nodiscard]] bool IsComplete() const noexcept { return threadId != 0; }
};

/// Fixed ring of the latest event records, written by any number of threads without a lock.
///
/// Thread-safe for recorders and one reader. The reader stops recording, walks the records and
/// restarts it; a recorder that took its slot before the stop may still be storing into it, also
/// after the restart. Such a record may be read half written when its slot had been used before;
/// it is never a data race, because every field is atomic.
class EventRing {
 public:
  /// Records held; a power of two, because positions are masked.
  static constexpr std::uint32_t kCapacity = 0x20000;
  static constexpr std::uint32_t kPositionMask = kCapacity - 1;

  /// Allocates the ring, about 5 MB, and starts recording at position 0. Raises `std::bad_alloc`.
  EventRing();

  /// Records one event with the present time and thread, or drops it while recording is stopped.
  void Record(std::int32_t kind, std::int32_t arg1, std::int32_t arg2, std::int32_t classId,
              std::int32_t pointId, std::uint64_t object) noexcept;

  /// Returns the record in a slot as it is at this moment; `index` is below `kCapacity`.
  [[nodiscard]] EventRecord Read(std::uint32_t index) const noexcept;

  /// The records to read, oldest first: `count` of them from slot `first` on.
  struct Span {
    std::uint32_t first;
    std::uint32_t count;
  };
  /// Stops recording and returns what is to be read. When recording was stopped before, returns
  /// what the first stop returned. For the reader only, except that a crash report may call it at
  /// any time: if the reader restarts recording meanwhile, the report reads records that are empty
  /// or new.
  [[nodiscard]] Span StopRecording() noexcept;
  /// Empties the ring and starts recording again at position 0. For the reader only.
  void RestartRecording() noexcept;

 private:
  // Forty bytes in the order of the fields; `object` would lie unaligned and is kept as two
  // halves, so that every field can be atomic.
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
  static_assert(sizeof(Slot) == 40, "records are packed");

  static constexpr std::uint32_t kRecordingEnabled = 1;
  static constexpr std::uint32_t kOneRecord = 2;

  [[nodiscard]] static std::uint32_t CountOf(std::uint32_t controlWord) noexcept {
    return controlWord >> 1;
  }
  [[nodiscard]] static std::uint32_t PositionOf(std::uint32_t controlWord) noexcept {
    return CountOf(controlWord) & kPositionMask;
  }

  std::unique_ptr<Slot[]> slots_;
  // The control word at the first stop. Relaxed: only the reader uses it, and crash reports, which
  // must not wait for the reader.
  std::atomic<std::uint32_t> stopWord_{0};
  // Bit 0: recording is enabled. Bits 1 to 31: records since the last restart, wrapping. See Record
  // for the orders.
  std::atomic<std::uint32_t> control_{kRecordingEnabled};
};

// Inline, and on the system's functions directly, so that it is compiled into whatever records:
// apart from reading the clock, a record costs little more than one locked addition.
inline void EventRing::Record(std::int32_t kind, std::int32_t arg1, std::int32_t arg2,
                              std::int32_t classId, std::int32_t pointId,
                              std::uint64_t object) noexcept {
  // Acquire pairs with the release of RestartRecording: a slot taken from a restarted ring is
  // stored into after it was emptied.
  const std::uint32_t old = control_.fetch_add(kOneRecord, std::memory_order_acquire);
  if ((old & kRecordingEnabled) == 0) return;
  Slot& slot = slots_[PositionOf(old)];
  std::int64_t counter;  // NOLINT(cppcoreguidelines-init-variables): the next call fills it
  ::QueryPerformanceCounter(reinterpret_cast<union _LARGE_INTEGER*>(&counter));
  slot.counter.store(counter, std::memory_order_relaxed);
  slot.kind.store(kind, std::memory_order_relaxed);
  slot.arg1.store(arg1, std::memory_order_relaxed);
  slot.arg2.store(arg2, std::memory_order_relaxed);
  slot.objectLow.store(static_cast<std::uint32_t>(object), std::memory_order_relaxed);
  slot.objectHigh.store(static_cast<std::uint32_t>(object >> 32), std::memory_order_relaxed);
  slot.classId.store(classId, std::memory_order_relaxed);
  slot.pointId.store(pointId, std::memory_order_relaxed);
  // Release pairs with the acquire of Read: in a slot that was empty, the thread id says that the
  // other fields are there.
  slot.threadId.store(::GetCurrentThreadId(), std::memory_order_release);
}

}  // namespace Orvel::Detail
