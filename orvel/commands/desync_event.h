// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <utility>

#include "orvel/commands/function_executor.h"

/// Work that an `MDesyncEventScheduler` runs apart from the thread that scheduled it. The scheduler
/// owns it from then on and deletes it after it has run.
class MDesyncEvent {
 public:
  MDesyncEvent() = default;
  MDesyncEvent(const MDesyncEvent&) = delete;
  MDesyncEvent& operator=(const MDesyncEvent&) = delete;
  virtual ~MDesyncEvent() = default;

  /// The work, run once on the scheduler's thread. An `MException` that it raises is recorded in
  /// the flow log and swallowed.
  virtual void Execute() = 0;
};

/// An event that calls `function` without arguments and drops its result. The function is moved or
/// copied into the event and destroyed with it.
template <Orvel::Detail::CallableLater Function>
[[nodiscard]] std::unique_ptr<MDesyncEvent> MakeDesyncEvent(Function&& function) {
  return Orvel::Detail::MakeExecutor<MDesyncEvent>(std::forward<Function>(function));
}
