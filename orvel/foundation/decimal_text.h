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

/// Returns the value of a hexadecimal digit; 16 for any other character.
[[nodiscard]] constexpr std::uint32_t HexDigitValue(wchar_t c) noexcept {
  if (c >= L'0' && c <= L'9') return static_cast<std::uint32_t>(c - L'0');
  if (c >= L'a' && c <= L'f') return static_cast<std::uint32_t>(c - L'a') + 10;
  if (c >= L'A' && c <= L'F') return static_cast<std::uint32_t>(c - L'A') + 10;
  return 16;
}

}  // namespace Orvel::Detail
