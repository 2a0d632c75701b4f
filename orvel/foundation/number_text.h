// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

class MLocale;

namespace Orvel::Detail {

/// `value` in scientific form with `digits` digits after the decimal point, which is the locale's,
/// and an exponent of at least two digits: "5.000000000000000e-01". Infinities and NaN are "inf"
/// and "nan", with a sign. The same text in every runtime.
[[nodiscard]] std::wstring ScientificText(double value, int digits, const MLocale& locale);

/// Reads a number at the start of `text`, after white space, in fixed or scientific form; what
/// follows it is ignored. Also reads "inf", "infinity" and "nan" and the older "1.#INF", "1.#QNAN",
/// "1.#SNAN", "1.#NAN" and "1.#IND", with signs, in any case of letters. A number too large is an
/// infinity, one too small zero. False, with `value` untouched, when there is no number.
[[nodiscard]] bool ParseDouble(std::wstring_view text, const MLocale& locale, double& value);

/// `value` as the nearest float; an infinity when it is out of range.
[[nodiscard]] float NarrowToFloat(double value) noexcept;

}  // namespace Orvel::Detail
