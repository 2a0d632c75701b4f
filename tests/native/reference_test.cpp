// SPDX-License-Identifier: MIT
// Times and numbers against the C library of this system, which has what Windows has not: a
// strptime, and a printf whose exponents are as short as the library's.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <utility>

#include "orvel/foundation/locale.h"
#include "orvel/foundation/number_text.h"

namespace {

constexpr const char* kRefused = "refused";

std::wstring Wide(std::string_view text) { return {text.begin(), text.end()}; }

/// How much of the input was taken, and those fields that the format names: the C library works out
/// others from them.
std::string Describe(std::ptrdiff_t taken, const tm& time, std::string_view format) {
  std::string text = std::to_string(taken);
  const std::pair<std::string_view, int> fields[] = {
      {"aAw", time.tm_wday},     {"bBhmDx", time.tm_mon}, {"deDx", time.tm_mday},
      {"HkIlRTX", time.tm_hour}, {"MRTX", time.tm_min},   {"STX", time.tm_sec},
      {"j", time.tm_yday},       {"YyDx", time.tm_year}};
  for (const auto& [conversions, value] : fields) {
    const bool isNamed = format.find_first_of(conversions) != std::string_view::npos;
    text += ' ' + (isNamed ? std::to_string(value) : "-");
  }
  return text;
}

std::string Parse(const std::string& format, const std::string& input) {
  tm time{};
  const std::wstring wide = Wide(input);
  const wchar_t* const end = MLocale::ParseTime(wide.c_str(), Wide(format).c_str(), &time);
  return end != nullptr ? Describe(end - wide.c_str(), time, format) : kRefused;
}

std::string ParseWithStrptime(const std::string& format, const std::string& input) {
  tm time{};
  const char* const end = ::strptime(input.c_str(), format.c_str(), &time);
  return end != nullptr ? Describe(end - input.c_str(), time, format) : kRefused;
}

// Left out is what is read otherwise by intention and covered by the tests of ParseTime: centuries,
// "%c", "%r", "%E", "%O", unknown conversions, white space before a number and adjoining names.
TEST(ReferenceTest, TimesAreReadAsStrptimeReadsThem) {
  constexpr std::string_view kConversions = "aAbBhdeDHkIljmMRSTUWwXxYy%";
  constexpr const char* kTexts[] = {"Sun",  "MONDAY", "tues",   "thurs",   "saturday", "Jan",
                                    "febr", "MAR",    "Sept",   "1/31/99", "12/32/70", "7:08",
                                    "24:0", "9:59:6", "0:0:62", "%",       ""};
  std::minstd_rand random(20'240'607);
  const auto below = [&](std::size_t bound) { return random() % bound; };
  int accepted = 0;
  for (int pair = 0; pair < 300'000; ++pair) {
    std::string format;
    std::string input;
    for (std::size_t item = 0, items = 1 + below(3); item < items; ++item) {
      const char separator = "/:-"[below(3)];
      // Without one, a conversion takes what the one before it has left of a long number.
      if (below(4) != 0) format += separator;
      input += separator;
      format += {'%', kConversions[below(kConversions.size())]};
      input += below(3) == 0 ? kTexts[below(std::size(kTexts))]
                             : std::to_string(below(below(2) == 0 ? 100 : 100'000'000));
    }
    const std::string outcome = Parse(format, input);
    ASSERT_EQ(outcome, ParseWithStrptime(format, input))
        << '"' << format << "\" on \"" << input << '"';
    if (outcome != kRefused) ++accepted;
  }
  EXPECT_GT(accepted, 30'000);
}

TEST(ReferenceTest, NumbersAreWrittenAsPrintfWritesThemAndReadBack) {
  const MLocale& locale = MLocale::Instance();
  std::mt19937_64 random(20'240'607);
  int nans = 0;
  for (int pattern = 0; pattern < 1'000'000; ++pattern) {
    const std::uint64_t bits = random();
    // A quarter are whole numbers, sixteenths and what is near them.
    const double value = pattern % 4 == 0
                             ? static_cast<double>(static_cast<std::int32_t>(bits)) / 16
                             : std::bit_cast<double>(bits);
    if (std::isnan(value)) ++nans;
    for (const int digits : {6, 15, 16}) {
      char expected[64];
      std::snprintf(expected, sizeof expected, "%.*e", digits, value);
      const std::wstring text = Orvel::Detail::ScientificText(value, digits, locale);
      ASSERT_EQ(text, Wide(expected)) << "bits " << bits;
      double read = 0;
      ASSERT_TRUE(Orvel::Detail::ParseDouble(text, locale, read)) << expected;
      if (std::isnan(value)) {
        ASSERT_TRUE(std::isnan(read));
        continue;
      }
      ASSERT_EQ(read, std::strtod(expected, nullptr)) << expected;
      if (digits != 16) continue;
      ASSERT_EQ(std::bit_cast<std::uint64_t>(read), std::bit_cast<std::uint64_t>(value));
    }
    const float narrow = std::bit_cast<float>(static_cast<std::uint32_t>(bits));
    if (std::isnan(narrow)) continue;
    double read = 0;
    ASSERT_TRUE(
        Orvel::Detail::ParseDouble(Orvel::Detail::ScientificText(narrow, 8, locale), locale, read));
    ASSERT_EQ(Orvel::Detail::NarrowToFloat(read), narrow);
  }
  EXPECT_GT(nans, 0);
}

}  // namespace
