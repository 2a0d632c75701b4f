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

/// The end of a queue from which a consumer takes elements. `T` is the type of the elements, `R`
/// the type in which producers pass them; for pointers both are the same. Threads: see
/// `MThreadSafeFifo`.
template <class T, class R = T>
class MThreadSafeFifoInput {
 public:
  /// The time-out of a wait without limit.
  static constexpr std::uint32_t kWaitForever = Orvel::Detail::kWaitForever;

  MThreadSafeFifoInput(const MThreadSafeFifoInput&) = delete;
  MThreadSafeFifoInput& operator=(const MThreadSafeFifoInput&) = delete;

  /// Copies the oldest element into `item`, leaves it queued and returns true. Returns false, with
  /// `item` unchanged, when the queue is empty.
  virtual bool Peek(T& item) = 0;
  /// Moves the oldest element into `item` and returns true. Returns false, with `item` unchanged,
  /// when the queue is empty.
  virtual bool Pop(T& item) = 0;
  /// Returns true when nothing is queued, and when the look at the event fails.
  virtual bool IsEmpty() = 0;
  /// Returns the number of elements.
  virtual std::int32_t GetSize() = 0;
  /// Waits up to `timeoutMs` milliseconds for an element: 0 does not wait, `kWaitForever` waits
  /// without limit. Returns true when the queue has one, false after a time-out or a failed wait.
  virtual bool WaitNotEmpty(std::uint32_t timeoutMs) = 0;
  /// Returns the handle of the not-empty event, a manual-reset event that is signalled while the
  /// queue has elements. It belongs to the queue: do not set, reset or close it.
  virtual void* GetEvent() = 0;

 protected:
  MThreadSafeFifoInput() = default;
  ~MThreadSafeFifoInput() = default;
};

/// The end of a queue into which producers put elements. Threads: see `MThreadSafeFifo`.
template <class T, class R = T>
class MThreadSafeFifoOutput {
 public:
  MThreadSafeFifoOutput(const MThreadSafeFifoOutput&) = delete;
  MThreadSafeFifoOutput& operator=(const MThreadSafeFifoOutput&) = delete;

  /// Appends `item`. Raises "ErrorAccessingEvent" ("winErrorCode") when the event cannot be set,
  /// "QueueFull" when the queue is full and cannot grow, and `std::bad_alloc`. After an error the
  /// queue is unchanged and the item still belongs to the caller.
  virtual void Push(R item) = 0;
  /// Removes all elements, without deleting what they point to, and frees the buffer.
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

/// A first-in, first-out queue with an event to wait for, through which threads pass pointers to
/// one consumer. It passes data only; to run code on another thread use `MCommandProcessor`.
///
/// Thread-safe, for any number of producers and one consumer. It does not own what its elements
/// point to: `Clear` and the destructor do not delete it. It must outlive every wait for its event.
/// The event costs a system call only when the queue becomes empty and when it stops being empty. A
/// push that finds the buffer full enlarges it by the growth step and moves every element; only
/// `Clear` makes it smaller.
template <class T, class R = T>
class MThreadSafeFifo final : public MThreadSafeFifoInput<T, R>,
                              public MThreadSafeFifoOutput<T, R> {
 public:
  /// `growthStep` is the number of slots added when a push finds the buffer full; with a step below
  /// 1 each push raises "QueueFull". Raises "ErrorAccessingEvent" ("winErrorCode") when the system
  /// cannot create an event.
  explicit MThreadSafeFifo(std::int32_t growthStep = 1)
      : growthStep_(growthStep),
        mutex_(MakeWinMutex()),
        notEmpty_(Orvel::Detail::CreateFifoEvent(this)) {}
  ~MThreadSafeFifo() = default;

  /// Sets the number of slots that a push adds from now on. The elements stay. Any thread.
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
      // If it stayed signalled, the consumer would wake for nothing again and again.
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
      // The event is set first, so that a refusal leaves the queue unchanged. The consumer that it
      // wakes cannot pop before this lock is released.
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
