// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>

#include "orvel/platform/windows_api.h"

/// Work for a BareWorker, which deletes it after it has run.
class BareItem {
 public:
  BareItem() = default;
  BareItem(const BareItem&) = delete;
  BareItem& operator=(const BareItem&) = delete;
  virtual ~BareItem() = default;
  virtual void Run() = 0;
};

/// A thread with a queue, written by hand on the bare system calls: what the command processor and
/// the scheduler are measured against. It does what they do in the plain way: a queue under a
/// critical section with a manual-reset event that each push sets, a wait for any of four handles,
/// a look at the stop event after each wake-up, and for a caller that waits an event of its own and
/// a look at the abort event. Nothing is traced and nothing is checked.
class BareWorker {
 public:
  enum class Drain {
    kOneItem,       ///< per wake-up one item
    kWhatIsQueued,  ///< per wake-up what was queued when it began
  };

  explicit BareWorker(Drain drain);
  BareWorker(const BareWorker&) = delete;
  BareWorker& operator=(const BareWorker&) = delete;
  /// Stops the thread; what is queued is deleted.
  ~BareWorker();

  void Push(std::unique_ptr<BareItem> item);
  /// Pushes an empty item and waits until it has run.
  void RunSynchronously();

  [[nodiscard]] std::uint32_t GetThreadId() const noexcept { return threadId_; }

 private:
  static constexpr DWORD kIdleTimeoutMs = 100;
  enum Handle : std::size_t { kFlush, kStop, kRestart, kNotEmpty, kHandleCount };

  static unsigned __stdcall ThreadEntry(void* self);
  void Loop();
  [[nodiscard]] bool RunNext();
  [[nodiscard]] std::size_t GetSize();

  const Drain drain_;
  CRITICAL_SECTION section_;
  std::deque<std::unique_ptr<BareItem>> queue_;  // under section_
  std::array<HANDLE, kHandleCount> handles_;
  HANDLE aborted_;
  unsigned threadId_ = 0;
  HANDLE thread_;
};
