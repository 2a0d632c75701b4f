// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>

#include <bit>
#define ORVEL_WIDE_SEARCH_SSE2 1
#endif

namespace Orvel::Detail {

#ifdef ORVEL_WIDE_SEARCH_SSE2

inline constexpr std::ptrdiff_t kWideLanes = 16 / static_cast<std::ptrdiff_t>(sizeof(wchar_t));

/// All bits set in each lane of `block` that holds the character of `pattern`.
inline __m128i EqualLanes(__m128i block, __m128i pattern) noexcept {
  if constexpr (sizeof(wchar_t) == 2)
    return _mm_cmpeq_epi16(block, pattern);
  else
    return _mm_cmpeq_epi32(block, pattern);
}

/// `character` in every lane.
inline __m128i FillLanes(wchar_t character) noexcept {
  if constexpr (sizeof(wchar_t) == 2)
    return _mm_set1_epi16(static_cast<short>(character));
  else
    return _mm_set1_epi32(static_cast<int>(character));
}

/// Position of the first lane in a byte mask that is not 0.
inline std::ptrdiff_t FirstLane(int mask) noexcept {
  return std::countr_zero(static_cast<unsigned>(mask)) / static_cast<int>(sizeof(wchar_t));
}

#endif

/// First `wanted` in the range, or `end`. Reads nothing outside the range.
inline const wchar_t* FindWide(const wchar_t* begin, const wchar_t* end, wchar_t wanted) noexcept {
#ifdef ORVEL_WIDE_SEARCH_SSE2
  const __m128i pattern = FillLanes(wanted);
  for (; end - begin >= kWideLanes; begin += kWideLanes) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(begin));
    const int mask = _mm_movemask_epi8(EqualLanes(block, pattern));
    if (mask != 0) return begin + FirstLane(mask);
  }
#endif
  while (begin != end && *begin != wanted) ++begin;
  return begin;
}

/// First of the three characters in the range, or `end`. Reads nothing outside the range.
inline const wchar_t* FindWideOfThree(const wchar_t* begin, const wchar_t* end, wchar_t a,
                                      wchar_t b, wchar_t c) noexcept {
#ifdef ORVEL_WIDE_SEARCH_SSE2
  const __m128i patternA = FillLanes(a);
  const __m128i patternB = FillLanes(b);
  const __m128i patternC = FillLanes(c);
  for (; end - begin >= kWideLanes; begin += kWideLanes) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(begin));
    const __m128i hits =
        _mm_or_si128(_mm_or_si128(EqualLanes(block, patternA), EqualLanes(block, patternB)),
                     EqualLanes(block, patternC));
    const int mask = _mm_movemask_epi8(hits);
    if (mask != 0) return begin + FirstLane(mask);
  }
#endif
  while (begin != end && *begin != a && *begin != b && *begin != c) ++begin;
  return begin;
}

}  // namespace Orvel::Detail
