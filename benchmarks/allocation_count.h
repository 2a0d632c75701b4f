// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// Calls of operator new so far, by every thread of a program that this is linked into.
[[nodiscard]] std::int64_t GetAllocationCount() noexcept;

/// Bytes that were got from operator new and not given back yet.
[[nodiscard]] std::int64_t GetAllocatedBytes() noexcept;
