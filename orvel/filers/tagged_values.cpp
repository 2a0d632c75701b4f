// SPDX-License-Identifier: MIT
#include "orvel/filers/tagged_values.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>
#include <numeric>
#include <system_error>

#include "orvel/foundation/decimal_text.h"

namespace Orvel::Detail {
namespace {

struct Unit {
  std::int64_t numerator;  // of its length in seconds; both are above 0
  std::int64_t denominator;
  bool operator==(const Unit&) const = default;
};

constexpr struct {
  std::wstring_view name;
  Unit unit;
} kNamedUnits[] = {
    {L"ns", {1, 1'000'000'000}}, {L"us", {1, 1'000'000}}, {L"ms", {1, 1'000}}, {L"s", {1, 1}},
    {L"min", {60, 1}},           {L"h", {3'600, 1}},      {L"d", {86'400, 1}}};

/// Reads a whole text as a number, as `std::from_chars` does: without white space or a plus sign.
template <class Integer>
bool ParseDecimal(std::wstring_view text, Integer& value) noexcept {
  char digits[24];
  if (text.size() > std::size(digits)) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    digits[i] = text[i] < 0x80 ? static_cast<char>(text[i]) : '?';
  }
  const char* const end = digits + text.size();
  Integer parsed = 0;
  const auto [stop, error] = std::from_chars(digits, end, parsed);
  if (error != std::errc() || stop != end) return false;
  value = parsed;
  return true;
}

/// Reads a unit, by its name or as a fraction: "[1/30]s".
bool ParseUnit(std::wstring_view text, Unit& unit) noexcept {
  for (const auto& named : kNamedUnits) {
    if (named.name != text) continue;
    unit = named.unit;
    return true;
  }
  const std::size_t slash = text.find(L'/');
  if (!text.starts_with(L'[') || !text.ends_with(L"]s") || slash == text.npos ||
      !ParseDecimal(text.substr(1, slash - 1), unit.numerator) ||
      !ParseDecimal(text.substr(slash + 1, text.size() - slash - 3), unit.denominator) ||
      unit.numerator <= 0 || unit.denominator <= 0) {
    return false;
  }
  const std::int64_t divisor = std::gcd(unit.numerator, unit.denominator);
  unit = {unit.numerator / divisor, unit.denominator / divisor};
  return true;
}

bool Multiply(std::int64_t& value, std::int64_t factor) noexcept {
  using Limits = std::numeric_limits<std::int64_t>;
  if (value > (Limits::max)() / factor || value < (Limits::min)() / factor) return false;
  value *= factor;
  return true;
}

bool Divide(std::int64_t& value, std::int64_t divisor) noexcept {
  if (value % divisor != 0) return false;
  value /= divisor;
  return true;
}

}  // namespace

std::wstring TaggedText(std::int64_t value) { return DecimalText(value); }

std::wstring TaggedText(std::uint64_t value) { return DecimalText(value); }

std::wstring TaggedText(std::span<const std::byte> bytes) {
  std::wstring text(bytes.size() * 2, L'0');
  auto digit = text.begin();
  for (const std::byte byte : bytes) {
    *digit++ = L"0123456789abcdef"[std::to_integer<unsigned>(byte) >> 4U];
    *digit++ = L"0123456789abcdef"[std::to_integer<unsigned>(byte) & 15U];
  }
  return text;
}

std::wstring TaggedDurationText(std::int64_t ticks, std::intmax_t numerator,
                                std::intmax_t denominator) {
  const Unit unit{numerator, denominator};
  std::wstring text = DecimalText(ticks) + L' ';
  const auto named = std::find_if(std::begin(kNamedUnits), std::end(kNamedUnits),
                                  [&](const auto& candidate) { return candidate.unit == unit; });
  if (named != std::end(kNamedUnits)) return text += named->name;
  return text + L'[' + DecimalText(numerator) + L'/' + DecimalText(denominator) + L"]s";
}

bool ParseTaggedText(std::wstring_view text, std::int64_t& value) noexcept {
  return ParseDecimal(text, value);
}

bool ParseTaggedText(std::wstring_view text, std::uint64_t& value) noexcept {
  return ParseDecimal(text, value);
}

bool ParseTaggedText(std::wstring_view text, std::vector<std::byte>& bytes) {
  if (text.size() % 2 != 0) return false;
  std::vector<std::byte> parsed(text.size() / 2);
  for (std::size_t i = 0; i < parsed.size(); ++i) {
    const std::uint32_t high = HexDigitValue(text[2 * i]);
    const std::uint32_t low = HexDigitValue(text[2 * i + 1]);
    if (high > 15 || low > 15) return false;
    parsed[i] = static_cast<std::byte>(high << 4U | low);
  }
  bytes = std::move(parsed);
  return true;
}

bool ParseTaggedDuration(std::wstring_view text, std::intmax_t numerator, std::intmax_t denominator,
                         std::int64_t& ticks) noexcept {
  const std::size_t blank = text.find(L' ');
  Unit unit{1, 1};
  std::int64_t count = 0;
  if (blank == text.npos || !ParseDecimal(text.substr(0, blank), count) ||
      !ParseUnit(text.substr(blank + 1), unit)) {
    return false;
  }
  // Both units are in lowest terms. Once their common factors are taken out, so is their ratio, and
  // the count is a whole number of ticks only if the divisors divide it.
  const std::int64_t numerators = std::gcd(unit.numerator, numerator);
  const std::int64_t denominators = std::gcd(unit.denominator, denominator);
  if (!Divide(count, unit.denominator / denominators) || !Divide(count, numerator / numerators) ||
      !Multiply(count, unit.numerator / numerators) ||
      !Multiply(count, denominator / denominators)) {
    return false;
  }
  ticks = count;
  return true;
}

}  // namespace Orvel::Detail
