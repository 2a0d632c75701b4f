// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

#include "orvel/threads/non_copyable.h"

namespace Orvel::Testing {

/// Lets one allocation by operator new fail, in a program that failing_allocation.cpp is linked
/// into. Counts and fails those of the calling thread only, while it lives. One at a time.
class FailingAllocation : public Libraries::NonCopyable {
 public:
  /// The allocation after `skipped` others fails, once. Subtracts from `skipped` what it counted.
  explicit FailingAllocation(std::size_t& skipped);
  ~FailingAllocation();
};

}  // namespace Orvel::Testing
