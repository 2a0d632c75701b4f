// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace Orvel::Detail {

/// Copies `piece` to `to`, which must have room for it elsewhere, and returns the place behind the
/// copy. For short texts, where a call of the runtime costs more than the copying.
inline wchar_t* CopyWide(std::wstring_view piece, wchar_t* to) noexcept {
  struct Block {
    std::uint64_t parts[2];
  };
  constexpr std::size_t kInBlock = sizeof(Block) / sizeof(wchar_t);
  constexpr std::size_t kInHalf = kInBlock / 2;
  constexpr std::size_t kShort = 8 * kInBlock;
  const auto copy = [](const wchar_t* from, wchar_t* there, auto part) {
    std::memcpy(&part, from, sizeof part);
    std::memcpy(there, &part, sizeof part);
  };
  const std::size_t count = piece.size();
  const wchar_t* const from = piece.data();
  if (count > kShort) {
    std::memcpy(to, from, count * sizeof(wchar_t));
  } else if (count >= kInBlock) {
    for (std::size_t i = 0; i + kInBlock < count; i += kInBlock) copy(from + i, to + i, Block{});
    copy(from + count - kInBlock, to + count - kInBlock, Block{});
  } else if (count >= kInHalf) {
    copy(from, to, std::uint64_t{});
    copy(from + count - kInHalf, to + count - kInHalf, std::uint64_t{});
  } else {
    for (std::size_t i = 0; i < count; ++i) to[i] = from[i];
  }
  return to + count;
}

}  // namespace Orvel::Detail
