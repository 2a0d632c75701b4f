// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <utility>

#include "orvel/commands/function_executor.h"

/// Work that an `MDesyncEventScheduler` runs on its own thread instead of on the one that schedules
/// it. The scheduler owns it once it is scheduled and deletes it after it has run.
///
/// Thread-compatible: built on any thread, run and deleted on the scheduler's.
class MDesyncEvent {
 public:
  MDesyncEvent() = default;
  MDesyncEvent(const MDesyncEvent&) = delete;
  MDesyncEvent& operator=(const MDesyncEvent&) = delete;
  virtual ~MDesyncEvent() = default;

  /// The work, run once on the scheduler's thread. An `MException` that it raises is recorded in
  /// the flow log and dismissed.
  virtual void Execute() = 0;
};

/// Returns an event that calls `function` without arguments and ignores its result. The function is
/// moved or copied into the event and destroyed with it. Raises `std::bad_alloc` and what moving or
/// copying the function raises. Any thread.
template <Orvel::Detail::CallableLater Function>
[[nodiscard]] std::unique_ptr<MDesyncEvent> MakeDesyncEvent(Function&& function) {
  return Orvel::Detail::MakeExecutor<MDesyncEvent>(std::forward<Function>(function));
}
