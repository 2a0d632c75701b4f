// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>

class MLocale;

namespace Orvel::Detail {

/// Returns `value` in scientific form, with `digits` digits after the locale's decimal point and an
/// exponent of at least two digits: "5.000000000000000e-01". Infinities and NaN are "inf" and
/// "nan", with a sign. The text is the same in every runtime.
[[nodiscard]] std::wstring ScientificText(double value, int digits, const MLocale& locale);

/// Reads a number at the start of `text`, after white space, in fixed or scientific form; what
/// follows it is ignored. Also reads "inf", "infinity" and "nan" and the older "1.#INF", "1.#QNAN",
/// "1.#SNAN", "1.#NAN" and "1.#IND", with signs, in any case of letters. A number that is too large
/// becomes an infinity, one that is too small zero. Returns false, with `value` unchanged, when
/// there is no number.
[[nodiscard]] bool ParseDouble(std::wstring_view text, const MLocale& locale, double& value);

/// Reads the sign and the magnitude of an integer, for ParseInteger(). Returns false when there are
/// no digits, or when the magnitude has more than 64 bits.
[[nodiscard]] bool ParseMagnitude(std::wstring_view text, const MLocale& locale, bool& isNegative,
                                  std::uint64_t& magnitude);

/// Reads a decimal integer of up to 64 bits at the start of `text`, as a stream does: white space
/// of the locale before it and a sign are taken, what follows its digits is ignored. A minus sign
/// in front of an unsigned number that fits negates it modulo 2^bits. Returns false, with `value`
/// unchanged, when there is none or it does not fit.
template <class Integer>
[[nodiscard]] bool ParseInteger(std::wstring_view text, const MLocale& locale, Integer& value) {
  bool isNegative = false;
  std::uint64_t magnitude = 0;
  if (!ParseMagnitude(text, locale, isNegative, magnitude)) return false;
  auto largest = static_cast<std::uint64_t>((std::numeric_limits<Integer>::max)());
  if constexpr (std::is_signed_v<Integer>) largest += isNegative ? 1U : 0U;
  if (magnitude > largest) return false;
  value = static_cast<Integer>(isNegative ? 0 - magnitude : magnitude);
  return true;
}

/// Returns the float nearest to `value`; an infinity when it is out of range.
[[nodiscard]] float NarrowToFloat(double value) noexcept;

}  // namespace Orvel::Detail
