// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>

namespace Orvel::Testing {

/// Runs an operation with the allocation by operator new after `skipped` others failing, once and
/// for this thread only; subtracts from `skipped` what was counted. Returns whether the operation
/// raised std::bad_alloc. For programs that failing_allocation.cpp is linked into.
bool RunsOutOfMemory(std::size_t& skipped, const std::function<void()>& operation);

}  // namespace Orvel::Testing
