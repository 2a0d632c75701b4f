// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <utility>

#include "orvel/threads/non_copyable.h"

namespace Orvel::Testing {

enum class SystemCall {
  kCreateEvent,
  kSetEvent,
  kResetEvent,
  kWaitForSingleObject,
  kWaitForMultipleObjects,
  kBeginThread,
  kThreadBegun,  ///< no call: its thread is there, and whoever made it does not know its id yet
  kCreateTimer,
  kSetTimer,
  kQueryCounter,
  kSleep,
  kFlushFile,
  kSetFileInformation
};

/// What a system call is to return instead of being made, and the error code (the last error and
/// `errno`) that it leaves. A result of 0 is how those that can fail do, but for the waits.
struct SystemAnswer {
  std::uint64_t result = 0;
  std::uint32_t errorCode = 0;
};

/// Catches one system call that the calling thread makes through this program's import table: the
/// way to let a call fail that never does, and to know that a thread got as far as its wait.
///
/// Thread-affine: catches calls of the thread that built it only, while it lives.
class SystemCallHook : public Libraries::NonCopyable {
 public:
  /// The first call after `skipped` others gets `answer` and is not made.
  SystemCallHook(SystemCall call, int skipped, SystemAnswer answer)
      : SystemCallHook(call, skipped, nullptr, answer) {}
  /// Runs `before` ahead of the first call after `skipped` others, which is then made.
  SystemCallHook(SystemCall call, std::function<void()> before, int skipped = 0)
      : SystemCallHook(call, skipped, std::move(before), std::nullopt) {}
  /// Both: runs `before` ahead of the first call, which then gets `answer` and is not made.
  SystemCallHook(SystemCall call, std::function<void()> before, SystemAnswer answer)
      : SystemCallHook(call, 0, std::move(before), answer) {}
  ~SystemCallHook();

  /// True once the call came.
  [[nodiscard]] bool WasReached() const noexcept { return reached_; }

  /// For the replacements: the answer to give instead of making the call, if any.
  static std::optional<SystemAnswer> OnCall(SystemCall call);

 private:
  SystemCallHook(SystemCall call, int skipped, std::function<void()> before,
                 std::optional<SystemAnswer> answer);

  const SystemCall call_;
  int skipped_;
  const std::function<void()> before_;
  const std::optional<SystemAnswer> answer_;
  bool reached_ = false;
  std::size_t slot_;
};

}  // namespace Orvel::Testing
