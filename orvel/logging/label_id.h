// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>

namespace Orvel::Detail {

inline constexpr std::uint32_t kFnvOffsetBasis = 2166136261u;
inline constexpr std::uint32_t kFnvPrime = 16777619u;

template <class Char>
[[nodiscard]] constexpr std::int32_t HashLabel(std::basic_string_view<Char> name) noexcept {
  std::uint32_t hash = kFnvOffsetBasis;
  for (const Char character : name) {
    hash ^= static_cast<std::uint32_t>(character) & 0xFFu;
    hash *= kFnvPrime;
  }
  return static_cast<std::int32_t>(hash != 0 ? hash : kFnvOffsetBasis);
}

}  // namespace Orvel::Detail

/// Returns the identifier under which the flow logger knows a name: the 32-bit FNV-1a hash (offset
/// basis 2166136261, prime 16777619; Fowler, Noll and Vo) of the low byte of each character, never
/// 0. It depends on the text alone, so it is the same in every module, and a constant expression
/// for a literal. Any thread; raises nothing.
[[nodiscard]] constexpr std::int32_t FlowLabelId(std::wstring_view name) noexcept {
  return Orvel::Detail::HashLabel(name);
}
/// The same for narrow text: "Start" and L"Start" have one identifier.
[[nodiscard]] constexpr std::int32_t FlowLabelId(std::string_view name) noexcept {
  return Orvel::Detail::HashLabel(name);
}
