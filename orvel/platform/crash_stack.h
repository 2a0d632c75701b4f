// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {

/// An address in a form that is the same in every run: the name of its module's file, without the
/// path, and the offset from where the module is loaded. An address outside of modules has an empty
/// name and is itself the offset.
struct CodePlace {
  std::array<wchar_t, MAX_PATH> moduleName;  // ends in 0
  std::uint64_t offset;
};

/// Keeps `bytes` of the calling thread's stack back for what runs after a stack overflow. Returns
/// false when the system refuses.
[[nodiscard]] bool ReserveStack(std::uint32_t bytes) noexcept;

/// Finds the module of an address, without memory from the heap.
[[nodiscard]] CodePlace FindCodePlace(std::uint64_t address) noexcept;

/// Fills `addresses` with the place where a thread was when `context` was captured, then with the
/// places that it would have returned to, and returns how many there are. The thread is the calling
/// one, or one that waits meanwhile. If its stack is damaged, this function may crash.
[[nodiscard]] std::size_t WalkStack(const CONTEXT& context,
                                    std::span<std::uint64_t> addresses) noexcept;

}  // namespace Orvel::Detail
