// SPDX-License-Identifier: MIT
#include <array>
#include <ctime>
#include <string_view>

#include "orvel/foundation/locale.h"

namespace {

constexpr std::array<std::wstring_view, 7> kDayNames = {
    L"Sunday", L"Monday", L"Tuesday", L"Wednesday", L"Thursday", L"Friday", L"Saturday"};
constexpr std::array<std::wstring_view, 12> kMonthNames = {
    L"January", L"February", L"March",     L"April",   L"May",      L"June",
    L"July",    L"August",   L"September", L"October", L"November", L"December"};
constexpr std::size_t kAbbreviationLength = 3;
constexpr int kTmYearBase = 1900;

bool IsSpace(wchar_t character) noexcept {
  return character == L' ' || (character >= L'\t' && character <= L'\r');
}

wchar_t ToLowerAscii(wchar_t character) noexcept {
  return character >= L'A' && character <= L'Z' ? static_cast<wchar_t>(character - L'A' + L'a')
                                                : character;
}

/// True when the zero-terminated `input` starts with `name`, letter case aside.
bool StartsWith(const wchar_t* input, std::wstring_view name) noexcept {
  for (const wchar_t expected : name) {
    if (ToLowerAscii(*input) != ToLowerAscii(expected)) return false;
    ++input;
  }
  return true;
}

/// One call of ParseTime. Every step moves the input forward, or fails and leaves what was read.
class TimeParser {
 public:
  TimeParser(const wchar_t* input, tm& result) noexcept : input_(input), result_(result) {}

  [[nodiscard]] const wchar_t* GetInput() const noexcept { return input_; }

  /// Expansions call this again, two levels deep at most: "%c" expands to "%x", "%x" to "%m/%d/%y".
  bool Parse(const wchar_t* format) {
    for (; *format != L'\0'; ++format) {
      if (IsSpace(*format)) {
        SkipSpace();
      } else if (*format != L'%') {
        if (!Take(*format)) return false;
      } else {
        do {
          ++format;
        } while (*format == L'E' || *format == L'O');
        if (!Convert(*format)) return false;
      }
    }
    return true;
  }

 private:
  bool Convert(wchar_t conversion) {
    switch (conversion) {
      case L'%':
        return Take(L'%');
      case L'c':
        return Parse(L"%x %X");
      case L'n':
      case L't':
        SkipSpace();
        return true;
      default:
        return ConvertDate(conversion);
    }
  }

  /// What is no part of a date may be one of a time of day.
  bool ConvertDate(wchar_t conversion) {
    int value = 0;
    switch (conversion) {
      case L'a':
      case L'A':
        return TakeName(kDayNames, result_.tm_wday);
      case L'b':
      case L'B':
      case L'h':
        return TakeName(kMonthNames, result_.tm_mon);
      case L'C':
        if (!TakeNumber(2, 0, 99, value)) return false;
        result_.tm_year = value * 100 + (yearIsSet_ ? result_.tm_year % 100 : 0);
        yearIsSet_ = centuryIsSet_ = true;
        return true;
      case L'D':
      case L'x':
        return Parse(L"%m/%d/%y");
      case L'd':
      case L'e':
        return TakeNumber(2, 1, 31, result_.tm_mday);
      case L'j':
        if (!TakeNumber(3, 1, 366, value)) return false;
        result_.tm_yday = value - 1;
        return true;
      case L'm':
        if (!TakeNumber(2, 1, 12, value)) return false;
        result_.tm_mon = value - 1;
        return true;
      case L'U':
      case L'W':
        return TakeNumber(2, 0, 53, value);
      case L'w':
        return TakeNumber(1, 0, 6, result_.tm_wday);
      case L'Y':
        if (!TakeNumber(4, 0, 9999, value)) return false;
        result_.tm_year = value - kTmYearBase;
        yearIsSet_ = true;
        return true;
      case L'y':
        if (!TakeNumber(2, 0, 99, value)) return false;
        if (centuryIsSet_) {
          result_.tm_year = result_.tm_year / 100 * 100 + value;
        } else {
          result_.tm_year = value < 69 ? value + 100 : value;
        }
        yearIsSet_ = true;
        return true;
      default:
        return ConvertTimeOfDay(conversion);
    }
  }

  bool ConvertTimeOfDay(wchar_t conversion) {
    int value = 0;
    switch (conversion) {
      case L'H':
      case L'k':
        return TakeNumber(2, 0, 23, result_.tm_hour);
      case L'I':
      case L'l':
        if (!TakeNumber(2, 1, 12, value)) return false;
        result_.tm_hour = value == 12 ? 0 : value;
        return true;
      case L'M':
        return TakeNumber(2, 0, 59, result_.tm_min);
      case L'R':
        return Parse(L"%H:%M");
      case L'r':
        return Parse(L"%I:%M:%S %p");
      case L'S':
        return TakeNumber(2, 0, 61, result_.tm_sec);
      case L'T':
      case L'X':
        return Parse(L"%H:%M:%S");
      default:
        return false;
    }
  }

  void SkipSpace() noexcept {
    while (IsSpace(*input_)) ++input_;
  }

  bool Take(wchar_t expected) noexcept {
    if (*input_ != expected) return false;
    ++input_;
    return true;
  }

  /// Reads up to `maxDigits` digits, as long as ten times the value is within `upper`.
  bool TakeNumber(int maxDigits, int lower, int upper, int& destination) noexcept {
    int value = 0;
    int digits = 0;
    while (digits < maxDigits && value * 10 <= upper && *input_ >= L'0' && *input_ <= L'9') {
      value = value * 10 + (*input_ - L'0');
      ++input_;
      ++digits;
    }
    if (digits == 0 || value < lower || value > upper) return false;
    destination = value;
    return true;
  }

  template <std::size_t kCount>
  bool TakeName(const std::array<std::wstring_view, kCount>& names, int& destination) noexcept {
    for (std::size_t index = 0; index < kCount; ++index) {
      for (const std::wstring_view name :
           {names[index], names[index].substr(0, kAbbreviationLength)}) {
        if (!StartsWith(input_, name)) continue;
        input_ += name.size();
        destination = static_cast<int>(index);
        return true;
      }
    }
    return false;
  }

  const wchar_t* input_;
  tm& result_;
  bool yearIsSet_ = false;     // by any conversion of this call
  bool centuryIsSet_ = false;  // by "%C" of this call
};

}  // namespace

const wchar_t* MLocale::ParseTime(const wchar_t* input, const wchar_t* format, tm* result) {
  TimeParser parser(input, *result);
  return parser.Parse(format) ? parser.GetInput() : nullptr;
}
