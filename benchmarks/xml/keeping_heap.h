// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

/// What operator new is in a program that this is linked into, for those who take functions.
[[nodiscard]] void* KeepingAllocate(std::size_t size);
void KeepingFree(void* memory) noexcept;
