// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "orvel/foundation/exception.h"
#include "orvel/platform/kernel_handle.h"
#include "orvel/platform/kernel_wait.h"
#include "orvel/platform/thread_annotations.h"
#include "orvel/threads/mutex_imp.h"
#include "orvel/threads/scoped_lock.h"

namespace Orvel::Detail {

/// The handlers of one kind that are in use, each with a number. Thread-safe; no lock is held while
/// a handler runs.
template <class Handler>
class HandlerList {
 public:
  /// Puts `handler` into use for the errors of `subject`, or for all if it is null, and returns the
  /// handler's number. Borrows both until the handler is removed. Raises `std::bad_alloc`.
  [[nodiscard]] std::uint64_t Add(Handler& handler, const void* subject) {
    const MScopedLock lock(mutex_, lockDepth_);
    entries_.push_back({lastNumber_ + 1, &handler, subject});
    return ++lastNumber_;
  }

  /// Takes a handler out of use and waits for calls of it on other threads. It is not called after
  /// this.
  void Remove(std::uint64_t number) noexcept {
    {
      const MScopedLock lock(mutex_, lockDepth_);
      std::erase_if(entries_, [=](const Entry& entry) { return entry.number == number; });
    }
    while (IsCalledElsewhere(number)) SleepFor(1);
  }

  /// Returns true while a handler of the list runs on the calling thread.
  [[nodiscard]] bool IsCalling() noexcept {
    const MScopedLock lock(mutex_, lockDepth_);
    return AnyCall([](const Call& call) { return call.threadId == CurrentThreadId(); });
  }

  /// Calls `invoke` with each handler for `subject` that is in use when its turn comes. What that
  /// raises is recorded at `point` and dismissed.
  template <class Invoke>
  void CallEach(const void* subject, const MFlowPoint& point, const Invoke& invoke) noexcept {
    Call call{CurrentThreadId()};
    while (Handler* const handler = BeginNext(call, subject)) {
      try {
        invoke(*handler);
      } catch (const MException& exception) {
        RecordDismissed(point, handler, exception);
      } catch (...) {
        point.RecordNamed(MFlowEvent::kDismissedError, handler, L"NoMException");
      }
    }
  }

 private:
  struct Entry {
    std::uint64_t number;
    Handler* handler;
    const void* subject;
  };
  /// One round of calls, on the calling thread's stack.
  struct Call {
    std::uint32_t threadId = 0;
    std::uint64_t number = 0;  // of the handler that runs
    Call* next = nullptr;
  };

  /// Ends the present call of a round and begins the next one. Returns its handler, null when none
  /// is left.
  Handler* BeginNext(Call& call, const void* subject) noexcept {
    const MScopedLock lock(mutex_, lockDepth_);
    const auto next = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) {
      return entry.number > call.number && (entry.subject == nullptr || entry.subject == subject);
    });
    const bool isListed = call.number != 0;
    if (next == entries_.end()) {
      if (isListed) Unlist(call);
      return nullptr;
    }
    if (!isListed) {
      call.next = calls_;
      calls_ = &call;
    }
    call.number = next->number;
    return next->handler;
  }

  void Unlist(const Call& call) noexcept ORVEL_REQUIRES(*mutex_) {
    Call** link = &calls_;
    while (*link != &call) link = &(*link)->next;
    *link = call.next;
  }

  bool IsCalledElsewhere(std::uint64_t number) noexcept {
    const MScopedLock lock(mutex_, lockDepth_);
    return AnyCall([=](const Call& call) {
      return call.number == number && call.threadId != CurrentThreadId();
    });
  }

  template <class Predicate>
  bool AnyCall(const Predicate& predicate) const noexcept ORVEL_REQUIRES(*mutex_) {
    for (const Call* call = calls_; call != nullptr; call = call->next) {
      if (predicate(*call)) return true;
    }
    return false;
  }

  const std::unique_ptr<MMutexImp> mutex_ = MakeWinMutex();
  std::int32_t lockDepth_ = 0;                            // bookkeeping of MScopedLock
  std::vector<Entry> entries_ ORVEL_GUARDED_BY(*mutex_);  // by ascending number
  std::uint64_t lastNumber_ ORVEL_GUARDED_BY(*mutex_) = 0;
  Call* calls_ ORVEL_GUARDED_BY(*mutex_) = nullptr;
};

}  // namespace Orvel::Detail
