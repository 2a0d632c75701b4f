// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <utility>

#include "orvel/platform/kernel_handle.h"
#include "orvel/platform/kernel_wait.h"
#include "orvel/platform/thread_annotations.h"
#include "orvel/threads/mutex_imp.h"
#include "orvel/threads/scoped_lock.h"

/// The consumer's end of a queue: the input of whoever takes elements. `T` is the element type,
/// `R` the type in which producers pass one; for pointers both are the same.
template <class T, class R = T>
class MThreadSafeFifoInput {
 public:
  /// Time-out of a wait that never gives up.
  static constexpr std::uint32_t kWaitForever = Orvel::Detail::kWaitForever;

  MThreadSafeFifoInput(const MThreadSafeFifoInput&) = delete;
  MThreadSafeFifoInput& operator=(const MThreadSafeFifoInput&) = delete;

  /// Copies the oldest element into `item` and leaves it queued; false, with `item` untouched,
  /// when there is none.
  virtual bool Peek(T& item) = 0;
  /// Moves the oldest element into `item`; false, with `item` untouched, when there is none.
  virtual bool Pop(T& item) = 0;
  /// True when the not-empty event is unsignalled.
  virtual bool IsEmpty() = 0;
  /// Elements queued.
  virtual std::int32_t GetSize() = 0;
  /// Waits up to `timeoutMs` milliseconds for an element; 0 only looks, `kWaitForever` never gives
  /// up. A time-out and a failed wait are both false.
  virtual bool WaitNotEmpty(std::uint32_t timeoutMs) = 0;
  /// The not-empty event, a manual-reset one that is signalled while anything is queued. It stays
  /// the queue's: only wait on it.
  virtual void* GetEvent() = 0;

 protected:
  MThreadSafeFifoInput() = default;
  ~MThreadSafeFifoInput() = default;
};

/// The producers' end of a queue, into which they output.
template <class T, class R = T>
class MThreadSafeFifoOutput {
 public:
  MThreadSafeFifoOutput(const MThreadSafeFifoOutput&) = delete;
  MThreadSafeFifoOutput& operator=(const MThreadSafeFifoOutput&) = delete;

  /// Appends `item`. Raises `std::bad_alloc`, "ErrorAccessingEvent" ("winErrorCode") when the
  /// event cannot be set and "QueueFull" when a queue that cannot grow is full; the queue is then
  /// as it was and the item still the caller's.
  virtual void Push(R item) = 0;
  /// Drops all elements, undeleted, and the buffer.
  virtual void Clear() = 0;

 protected:
  MThreadSafeFifoOutput() = default;
  ~MThreadSafeFifoOutput() = default;
};

namespace Orvel::Detail {

// What the queue needs of the system and of errors, kept out of the template.
[[nodiscard]] KernelHandle CreateFifoEvent(const void* fifo);
void SetFifoEvent(const void* fifo, void* event);
[[noreturn]] void RaiseFifoFull(const void* fifo);

}  // namespace Orvel::Detail

/// First-in, first-out queue through which threads hand pointers to one consumer, with an event to
/// wait on. To run code on another thread use MCommandProcessor; this only hands over data.
///
/// Thread-safe, for any number of producers and one consumer. Owns no element: `Clear` and the
/// destructor drop them undeleted. Must outlive every wait on its event, which costs a system call
/// only when the queue ceases to be empty and when it becomes so. A push that finds the buffer full
/// grows it by the growth step, copying every element; it shrinks in `Clear` only.
template <class T, class R = T>
class MThreadSafeFifo final : public MThreadSafeFifoInput<T, R>,
                              public MThreadSafeFifoOutput<T, R> {
 public:
  /// `growthStep` is the number of slots added when a push finds the buffer full; a queue with a
  /// step below 1 takes nothing. Raises "ErrorAccessingEvent" ("winErrorCode") when the system has
  /// no event left.
  explicit MThreadSafeFifo(std::int32_t growthStep = 1)
      : growthStep_(growthStep),
        mutex_(MakeWinMutex()),
        notEmpty_(Orvel::Detail::CreateFifoEvent(this)) {}
  ~MThreadSafeFifo() = default;

  /// Changes the step by which pushes grow the buffer from now on; what is queued stays.
  void SetGrowthStep(std::int32_t growthStep) {
    const MScopedLock lock(mutex_, lockDepth_);
    growthStep_ = growthStep;
  }

  bool Peek(T& item) override {
    const MScopedLock lock(mutex_, lockDepth_);
    if (count_ == 0) return false;
    item = buffer_[Index(head_)];
    return true;
  }

  bool Pop(T& item) override {
    const MScopedLock lock(mutex_, lockDepth_);
    if (count_ == 0) {
      // Signalled for nothing it would keep the consumer awake.
      if (eventIsStale_) ResetEvent();
      return false;
    }
    item = std::move(buffer_[Index(head_)]);
    if (++head_ == capacity_) head_ = 0;
    if (--count_ == 0) ResetEvent();
    return true;
  }

  bool IsEmpty() override { return !WaitNotEmpty(0); }

  std::int32_t GetSize() override {
    const MScopedLock lock(mutex_, lockDepth_);
    return count_;
  }

  bool WaitNotEmpty(std::uint32_t timeoutMs) override {
    return Orvel::Detail::WaitForOne(notEmpty_.Get(), timeoutMs).status ==
           Orvel::Detail::WaitStatus::kObject0;
  }

  void* GetEvent() override { return notEmpty_.Get(); }

  /// See `MThreadSafeFifoOutput::Push`.
  void Push(R item) override {
    const MScopedLock lock(mutex_, lockDepth_);
    if (count_ == capacity_) Grow();
    if (count_ == 0) {
      // The event goes first, so that a refusal leaves the queue as it was; whoever wakes by it
      // cannot pop before this lock is released.
      Orvel::Detail::SetFifoEvent(this, notEmpty_.Get());
      eventIsStale_ = true;  // unless the element gets in
    }
    const std::int32_t untilEnd = capacity_ - head_;
    buffer_[Index(count_ < untilEnd ? head_ + count_ : count_ - untilEnd)] = std::move(item);
    ++count_;
    eventIsStale_ = false;
  }

  void Clear() override {
    const MScopedLock lock(mutex_, lockDepth_);
    buffer_.reset();
    count_ = capacity_ = head_ = 0;
    ResetEvent();
  }

 private:
  static std::size_t Index(std::int32_t slot) noexcept { return static_cast<std::size_t>(slot); }

  void ResetEvent() noexcept ORVEL_REQUIRES(*mutex_) {
    eventIsStale_ = !Orvel::Detail::ResetKernelEvent(notEmpty_.Get());
  }

  void Grow() ORVEL_REQUIRES(*mutex_) {
    // In parentheses, because <windows.h> may have defined max as a macro.
    constexpr std::int32_t kMaxCapacity = (std::numeric_limits<std::int32_t>::max)();
    if (growthStep_ < 1 || capacity_ > kMaxCapacity - growthStep_) {
      Orvel::Detail::RaiseFifoFull(this);
    }
    const std::int32_t newCapacity = capacity_ + growthStep_;
    auto grown = std::make_unique<T[]>(Index(newCapacity));
    // Queue order from slot 0 on: the stretch from the head to the end, then what had wrapped.
    T* const first = buffer_.get();
    T* const wrapped = std::move(first + head_, first + capacity_, grown.get());
    std::move(first, first + head_, wrapped);
    buffer_ = std::move(grown);
    head_ = 0;
    capacity_ = newCapacity;
  }

  std::unique_ptr<T[]> buffer_ ORVEL_GUARDED_BY(*mutex_);
  std::int32_t count_ ORVEL_GUARDED_BY(*mutex_) = 0;
  std::int32_t capacity_ ORVEL_GUARDED_BY(*mutex_) = 0;
  std::int32_t growthStep_ ORVEL_GUARDED_BY(*mutex_);
  std::int32_t head_ ORVEL_GUARDED_BY(*mutex_) = 0;
  const std::unique_ptr<MMutexImp> mutex_;
  std::int32_t lockDepth_ = 0;                           // bookkeeping of MScopedLock
  bool eventIsStale_ ORVEL_GUARDED_BY(*mutex_) = false;  // signalled though nothing is queued
  const Orvel::Detail::KernelHandle notEmpty_;
};
