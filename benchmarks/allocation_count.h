// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// Calls of operator new so far, by every thread of a program that this is linked into.
[[nodiscard]] std::int64_t GetAllocationCount() noexcept;
