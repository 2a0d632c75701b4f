// SPDX-License-Identifier: MIT
#pragma once

#include <charconv>
#include <iterator>
#include <string>

namespace Orvel::Detail {

/// `value` in decimal, without grouping, whatever locales the process has set. Needs no locale
/// object, so that errors can carry numbers before and after every static object's life.
template <class Integer>
[[nodiscard]] std::wstring DecimalText(Integer value) {
  char digits[24];
  char* const end = std::to_chars(std::begin(digits), std::end(digits), value).ptr;
  return std::wstring(std::begin(digits), end);
}

}  // namespace Orvel::Detail
