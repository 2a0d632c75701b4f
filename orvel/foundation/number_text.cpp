// SPDX-License-Identifier: MIT
#include "orvel/foundation/number_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <locale>
#include <string>
#include <system_error>

#include "orvel/foundation/locale.h"

namespace Orvel::Detail {
namespace {

constexpr const wchar_t* kAsciiSpace = L" \t\n\v\f\r";

wchar_t DecimalPoint(const MLocale& locale) {
  return std::use_facet<std::numpunct<wchar_t>>(locale.GetNumberLocale()).decimal_point();
}

bool IsDigit(wchar_t character) noexcept { return character >= L'0' && character <= L'9'; }

/// Removes `word`, in lower case, from the start of `text` if it stands there in any case.
bool TakeWord(std::wstring_view& text, std::wstring_view word) noexcept {
  const auto matches = [](wchar_t character, wchar_t expected) {
    return character == expected ||
           (character >= L'A' && character <= L'Z' && character - L'A' + L'a' == expected);
  };
  if (text.size() < word.size() ||
      !std::equal(word.begin(), word.end(), text.begin(), [&](wchar_t expected, wchar_t character) {
        return matches(character, expected);
      })) {
    return false;
  }
  text.remove_prefix(word.size());
  return true;
}

std::size_t CountDigits(std::wstring_view text, std::size_t start) noexcept {
  std::size_t end = start;
  while (end < text.size() && IsDigit(text[end])) ++end;
  return end - start;
}

/// The length and the order of magnitude of a decimal number at the start of a text.
struct DecimalShape {
  std::size_t length = 0;  // 0: there is none
  bool isHuge = false;     // its first significant digit stands left of the point, exponent applied
};

DecimalShape MeasureDecimal(std::wstring_view text, wchar_t decimalPoint) noexcept {
  const std::size_t wholeDigits = CountDigits(text, 0);
  std::size_t end = wholeDigits;
  std::size_t fractionDigits = 0;
  if (end < text.size() && text[end] == decimalPoint) {
    fractionDigits = CountDigits(text, end + 1);
    if (wholeDigits + fractionDigits != 0) end += 1 + fractionDigits;
  }
  if (wholeDigits + fractionDigits == 0) return {};

  // Digits left of the point from the first significant one on, or the zeros right of it, negated.
  std::int64_t magnitude = 0;
  const std::size_t firstSignificant = text.find_first_not_of(L'0');
  if (firstSignificant < wholeDigits) {
    magnitude = static_cast<std::int64_t>(wholeDigits - firstSignificant);
  } else if (fractionDigits != 0) {
    const std::size_t fraction = wholeDigits + 1;
    magnitude = -static_cast<std::int64_t>((std::min)(text.find_first_not_of(L'0', fraction), end) -
                                           fraction);
  }

  std::size_t exponentStart = end;
  if (exponentStart < text.size() && (text[exponentStart] == L'e' || text[exponentStart] == L'E')) {
    ++exponentStart;
    const bool isNegative = exponentStart < text.size() && text[exponentStart] == L'-';
    if (exponentStart < text.size() && (isNegative || text[exponentStart] == L'+')) ++exponentStart;
    if (const std::size_t digits = CountDigits(text, exponentStart); digits != 0) {
      constexpr std::int64_t kBound = std::int64_t{1} << 40;  // beyond any text's length
      std::int64_t exponent = 0;
      for (std::size_t index = 0; index < digits && exponent < kBound; ++index) {
        exponent = exponent * 10 + (text[exponentStart + index] - L'0');
      }
      magnitude += isNegative ? -exponent : exponent;
      end = exponentStart + digits;
    }
  }
  return {end, magnitude > 0};
}

/// Converts a decimal number without a sign in front, which MeasureDecimal() has measured.
double ConvertDecimal(std::wstring_view text, wchar_t decimalPoint, bool isHuge) {
  char buffer[64];  // enough for every number that was written here
  std::string longText;
  char* narrow = buffer;
  if (text.size() > std::size(buffer)) {
    longText.resize(text.size());
    narrow = longText.data();
  }
  std::transform(text.begin(), text.end(), narrow, [decimalPoint](wchar_t character) {
    return character == decimalPoint ? '.' : static_cast<char>(character);
  });
  double value = 0.0;
  const auto result = std::from_chars(narrow, narrow + text.size(), value);
  if (result.ec == std::errc::result_out_of_range) {
    return isHuge ? std::numeric_limits<double>::infinity() : 0.0;
  }
  return value;
}

}  // namespace

std::wstring ScientificText(double value, int digits, const MLocale& locale) {
  if (!std::isfinite(value)) {  // some runtimes have a text for each kind of NaN
    std::wstring text(std::signbit(value) ? L"-" : L"");
    return text += std::isnan(value) ? L"nan" : L"inf";
  }
  char narrow[64];
  char* const end = std::to_chars(std::begin(narrow), std::end(narrow), value,
                                  std::chars_format::scientific, digits)
                        .ptr;
  std::wstring text(narrow, end);
  if (const std::size_t point = text.find(L'.'); point != std::wstring::npos) {
    text[point] = DecimalPoint(locale);
  }
  return text;
}

bool ParseMagnitude(std::wstring_view text, const MLocale& locale, bool& isNegative,
                    std::uint64_t& magnitude) {
  std::size_t place = text.find_first_not_of(kAsciiSpace);
  if (place < text.size() && text[place] > 0x7F) {
    // The runtime decides which other characters are white space.
    const auto& characters = std::use_facet<std::ctype<wchar_t>>(locale.GetNumberLocale());
    while (place < text.size() && characters.is(std::ctype_base::space, text[place])) ++place;
  }
  if (place >= text.size()) return false;
  isNegative = text[place] == L'-';
  if (isNegative || text[place] == L'+') ++place;
  const std::size_t firstDigit = place;
  std::uint64_t number = 0;
  for (; place < text.size() && IsDigit(text[place]); ++place) {
    const auto digit = static_cast<std::uint64_t>(text[place] - L'0');
    if (number > ((std::numeric_limits<std::uint64_t>::max)() - digit) / 10) return false;
    number = number * 10 + digit;
  }
  magnitude = number;
  return place != firstDigit;
}

bool ParseDouble(std::wstring_view text, const MLocale& locale, double& value) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  text.remove_prefix((std::min)(text.find_first_not_of(kAsciiSpace), text.size()));
  const bool isNegative = !text.empty() && text.front() == L'-';
  if (!text.empty() && (isNegative || text.front() == L'+')) text.remove_prefix(1);

  double magnitude = 0.0;
  const wchar_t decimalPoint = DecimalPoint(locale);
  if (const DecimalShape shape = MeasureDecimal(text, decimalPoint); shape.length != 0) {
    magnitude = ConvertDecimal(text.substr(0, shape.length), decimalPoint, shape.isHuge);
    text.remove_prefix(shape.length);
    if (magnitude == 1.0 && TakeWord(text, L"#")) {
      if (TakeWord(text, L"inf")) {
        magnitude = kInfinity;
      } else if (TakeWord(text, L"nan") || TakeWord(text, L"qnan") || TakeWord(text, L"snan") ||
                 TakeWord(text, L"ind")) {
        magnitude = kNan;
      }
    }
  } else if (TakeWord(text, L"inf")) {
    magnitude = kInfinity;
  } else if (TakeWord(text, L"nan")) {
    magnitude = kNan;
  } else {
    return false;
  }
  value = isNegative ? -magnitude : magnitude;
  return true;
}

float NarrowToFloat(double value) noexcept {
  // The conversion of a finite number out of range is not defined by the language.
  constexpr double kFirstInfinite = 0x1.ffffffp127;  // halfway from the largest float to 2^128
  if (std::isfinite(value) && std::fabs(value) >= kFirstInfinite) {
    return std::copysign(std::numeric_limits<float>::infinity(), value < 0 ? -1.0f : 1.0f);
  }
  return static_cast<float>(value);
}

}  // namespace Orvel::Detail
