// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {

/// An address as it means something in another run too: the file of its module, without its path,
/// and the offset from where the module is loaded. Without a module the name is empty and the
/// offset the address.
struct CodePlace {
  std::array<wchar_t, MAX_PATH> moduleName;  // ends in 0
  std::uint64_t offset;
};

/// Finds the module of an address, without memory from the heap.
[[nodiscard]] CodePlace FindCodePlace(std::uint64_t address) noexcept;

/// Fills `addresses` with where a thread was when `context` was captured and then with the places
/// that it would have returned to, and returns how many there are. The thread must wait meanwhile,
/// and may be another one. Its stack may be damaged: who follows it may then crash as well.
[[nodiscard]] std::size_t WalkStack(const CONTEXT& context,
                                    std::span<std::uint64_t> addresses) noexcept;

}  // namespace Orvel::Detail
