// SPDX-License-Identifier: MIT
#include "orvel/logging/event_ring.h"

#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {

EventRing::EventRing() : slots_(std::make_unique<Slot[]>(kCapacity)) {}

void EventRing::Record(std::int32_t kind, std::int32_t arg1, std::int32_t arg2,
                       std::int32_t classId, std::int32_t pointId, std::uint64_t object) noexcept {
  // Acquire pairs with the release of RestartRecording: a slot taken from a restarted ring is
  // stored into after it was emptied.
  const std::uint32_t old = control_.fetch_add(kOneRecord, std::memory_order_acq_rel);
  if ((old & kRecordingEnabled) == 0) return;
  Slot& slot = slots_[PositionOf(old)];

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
  // Release pairs with the acquire of Read: in a slot that was empty, the thread id says that the
  // other fields are there.
  slot.threadId.store(::GetCurrentThreadId(), std::memory_order_release);
}

EventRecord EventRing::Read(std::uint32_t index) const noexcept {
  const Slot& slot = slots_[index];
  EventRecord record;
  record.threadId = slot.threadId.load(std::memory_order_acquire);
  record.counter = slot.counter.load(std::memory_order_relaxed);
  record.kind = slot.kind.load(std::memory_order_relaxed);
  record.arg1 = slot.arg1.load(std::memory_order_relaxed);
  record.arg2 = slot.arg2.load(std::memory_order_relaxed);
  record.classId = slot.classId.load(std::memory_order_relaxed);
  record.pointId = slot.pointId.load(std::memory_order_relaxed);
  record.object = slot.objectLow.load(std::memory_order_relaxed) |
                  static_cast<std::uint64_t>(slot.objectHigh.load(std::memory_order_relaxed)) << 32;
  return record;
}

EventRing::Span EventRing::StopRecording() noexcept {
  std::uint32_t old = control_.load(std::memory_order_relaxed);
  while (!control_.compare_exchange_weak(old, old & ~kRecordingEnabled, std::memory_order_acq_rel,
                                         std::memory_order_relaxed)) {
  }
  // Dropped events still count, so a word that was disabled already no longer tells where the
  // records end.
  if ((old & kRecordingEnabled) != 0) stopPosition_ = PositionOf(old);

  // One stray record of a recorder that outlived an earlier restart must not pass for a full
  // ring, hence three slots.
  const bool wrapped = !Read(stopPosition_).IsEmpty() &&
                       !Read((stopPosition_ + 1) & kPositionMask).IsEmpty() &&
                       !Read(kCapacity - 1).IsEmpty();
  return wrapped ? Span{stopPosition_, kCapacity} : Span{0, stopPosition_};
}

void EventRing::RestartRecording() noexcept {
  for (std::uint32_t index = 0; index < kCapacity; ++index) {
    Slot& slot = slots_[index];
    slot.counter.store(0, std::memory_order_relaxed);
    slot.kind.store(0, std::memory_order_relaxed);
    slot.arg1.store(0, std::memory_order_relaxed);
    slot.arg2.store(0, std::memory_order_relaxed);
    slot.classId.store(0, std::memory_order_relaxed);
    slot.pointId.store(0, std::memory_order_relaxed);
    slot.objectLow.store(0, std::memory_order_relaxed);
    slot.objectHigh.store(0, std::memory_order_relaxed);
    slot.threadId.store(0, std::memory_order_relaxed);
  }
  control_.store(kRecordingEnabled, std::memory_order_release);
}

}  // namespace Orvel::Detail
