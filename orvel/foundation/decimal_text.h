// SPDX-License-Identifier: MIT
#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>

namespace Orvel::Detail {

/// Returns `value` in decimal, without grouping, whatever locales the process has set. Needs no
/// locale object, so that errors can carry numbers before and after every static object's life.
template <class Integer>
[[nodiscard]] std::wstring DecimalText(Integer value) {
  char digits[24];
  char* const end = std::to_chars(std::begin(digits), std::end(digits), value).ptr;
  return std::wstring(std::begin(digits), end);
}

/// Returns "0x" and the low `digits` hexadecimal digits of `value`, in upper case.
[[nodiscard]] inline std::wstring HexText(std::uint64_t value, std::size_t digits) {
  std::wstring text(digits + 2, L'0');
  text[1] = L'x';
  for (std::size_t place = text.size(); place > 2; value >>= 4) {
    text[--place] = L"0123456789ABCDEF"[value & 15];
  }
  return text;
}

}  // namespace Orvel::Detail
