// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

#include "orvel/threads/non_copyable.h"

namespace Orvel::Libraries {

/// Calls a clean-up function at the end of a scope, on every path out of it, unless dismissed.
/// Thread-affine, like any local.
class [[nodiscard]] GenericGuard : public NonCopyable {
 public:
  /// Calls `setUp` at once and keeps `cleanUp` for later; either may be empty. When `setUp` raises,
  /// `cleanUp` is not called.
  GenericGuard(const std::function<void()>& setUp, std::function<void()> cleanUp);
  /// Calls the clean-up function. An `MException` that it raises is recorded in the flow log and
  /// dismissed; any other exception ends the process, as it does in every destructor.
  virtual ~GenericGuard();

  /// Destroys the clean-up function without calling it.
  void Dismiss() noexcept { cleanUp_ = nullptr; }

 private:
  std::function<void()> cleanUp_;
};

}  // namespace Orvel::Libraries
