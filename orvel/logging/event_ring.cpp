// SPDX-License-Identifier: MIT
#include "orvel/logging/event_ring.h"

namespace Orvel::Detail {

EventRing::EventRing() : slots_(std::make_unique<Slot[]>(kCapacity)) {}

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
  const std::uint32_t old = control_.fetch_and(~kRecordingEnabled, std::memory_order_acq_rel);
  // Dropped events are counted as well, so the word no longer shows where the records end when
  // recording was off already.
  if ((old & kRecordingEnabled) != 0) stopWord_.store(old, std::memory_order_relaxed);
  const std::uint32_t stopWord = stopWord_.load(std::memory_order_relaxed);

  // The count of records shows whether the ring is full, until the count itself wraps after 2^31 of
  // them. Then the slots show it: three of them, because one stray record, of a recorder that was
  // still storing during an earlier restart, must not make the ring look full.
  const std::uint32_t position = PositionOf(stopWord);
  const bool wrapped =
      !Read(position).IsEmpty() &&
      (CountOf(stopWord) >= kCapacity ||
       (!Read((position + 1) & kPositionMask).IsEmpty() && !Read(kCapacity - 1).IsEmpty()));
  return wrapped ? Span{position, kCapacity} : Span{0, position};
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
