// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>

#include <bit>
#define ORVEL_WIDE_SEARCH_SSE2 1
#endif

namespace Orvel::Detail {

#ifdef ORVEL_WIDE_SEARCH_SSE2

inline constexpr std::ptrdiff_t kWideLanes = 16 / static_cast<std::ptrdiff_t>(sizeof(wchar_t));

/// Returns all bits set in each lane where the two blocks are equal.
inline __m128i EqualLanes(__m128i block, __m128i pattern) noexcept {
  if constexpr (sizeof(wchar_t) == 2)
    return _mm_cmpeq_epi16(block, pattern);
  else
    return _mm_cmpeq_epi32(block, pattern);
}

/// Returns a block with `character` in every lane.
inline __m128i FillLanes(wchar_t character) noexcept {
  if constexpr (sizeof(wchar_t) == 2)
    return _mm_set1_epi16(static_cast<short>(character));
  else
    return _mm_set1_epi32(static_cast<int>(character));
}

inline constexpr std::ptrdiff_t kNarrowLanes = 16;

/// Returns the 16 characters at `text`, a byte each: those below 256 as they are, others as 0 or
/// 255.
inline __m128i LoadNarrow(const wchar_t* text) noexcept {
  const auto* const blocks = reinterpret_cast<const __m128i*>(text);
  if constexpr (sizeof(wchar_t) == 2) {
    return _mm_packus_epi16(_mm_loadu_si128(blocks), _mm_loadu_si128(blocks + 1));
  } else {
    return _mm_packus_epi16(
        _mm_packs_epi32(_mm_loadu_si128(blocks), _mm_loadu_si128(blocks + 1)),
        _mm_packs_epi32(_mm_loadu_si128(blocks + 2), _mm_loadu_si128(blocks + 3)));
  }
}

/// Returns all bits set in each byte that is `character`.
inline __m128i EqualBytes(__m128i bytes, char character) noexcept {
  return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(character));
}

/// Returns all bits set in each byte from `first` to `last`.
inline __m128i BytesInRange(__m128i bytes, char first, char last) noexcept {
  const __m128i distance = _mm_sub_epi8(bytes, _mm_set1_epi8(first));
  const __m128i bound = _mm_set1_epi8(static_cast<char>(last - first));
  return _mm_cmpeq_epi8(_mm_min_epu8(distance, bound), distance);
}

/// Returns a bit for each byte of a mask, the first one lowest.
inline unsigned ByteBits(__m128i mask) noexcept {
  return static_cast<unsigned>(_mm_movemask_epi8(mask));
}

/// Returns the position of the lowest bit that is set; there must be one. Unsigned, since a sign
/// would have to be extended before a pointer can be moved by it, and searches wait for that.
inline unsigned FirstBit(unsigned bits) noexcept {
  return static_cast<unsigned>(std::countr_zero(bits));
}

#endif

/// Returns the first `wanted` in the range, or `end`. Reads nothing outside the range.
inline const wchar_t* FindWide(const wchar_t* begin, const wchar_t* end, wchar_t wanted) noexcept {
#ifdef ORVEL_WIDE_SEARCH_SSE2
  const __m128i pattern = FillLanes(wanted);
  for (; end - begin >= 2 * kWideLanes; begin += 2 * kWideLanes) {
    const auto* const blocks = reinterpret_cast<const __m128i*>(begin);
    // Joined without loss: all bits of a lane are the same.
    const __m128i hits = _mm_packs_epi16(EqualLanes(_mm_loadu_si128(blocks), pattern),
                                         EqualLanes(_mm_loadu_si128(blocks + 1), pattern));
    const unsigned bits = ByteBits(hits);
    if (bits != 0) return begin + (sizeof(wchar_t) == 2 ? FirstBit(bits) : FirstBit(bits) / 2);
  }
#endif
  while (begin != end && *begin != wanted) ++begin;
  return begin;
}

/// True when `count` characters are equal. For short texts, where a call of the runtime takes
/// longer than the comparison.
inline bool EqualWide(const wchar_t* a, const wchar_t* b, std::size_t count) noexcept {
  constexpr std::size_t kStep = sizeof(std::uint64_t) / sizeof(wchar_t);
  const auto load = [](const wchar_t* text) {
    std::uint64_t chunk = 0;
    std::memcpy(&chunk, text, sizeof chunk);
    return chunk;
  };
  if (count < kStep) {
    for (std::size_t i = 0; i < count; ++i) {
      if (a[i] != b[i]) return false;
    }
    return true;
  }
  for (std::size_t i = 0; i + kStep < count; i += kStep) {
    if (load(a + i) != load(b + i)) return false;
  }
  return load(a + count - kStep) == load(b + count - kStep);
}

}  // namespace Orvel::Detail
