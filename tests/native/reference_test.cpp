// SPDX-License-Identifier: MIT
// Times and numbers against the C library of this system, which has what Windows has not: a
// strptime, and a printf whose exponents are as short as the library's.
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <random>
#include <string>
#include <string_view>

#include "orvel/foundation/locale.h"
#include "orvel/foundation/number_text.h"

namespace {

std::wstring Wide(std::string_view text) { return {text.begin(), text.end()}; }

/// What one of the two made of a pair: how much of the input was taken, or -1, and the fields.
struct Outcome {
  std::ptrdiff_t taken;
  std::array<int, 8> fields;
  bool operator==(const Outcome&) const = default;
};

/// Only the fields that `named`, a format, names: the C library works out others from them.
Outcome Describe(std::ptrdiff_t taken, const tm& time, std::string_view named) {
  const auto field = [&](std::string_view conversions, int value) {
    return taken >= 0 && named.find_first_of(conversions) != std::string_view::npos ? value : -1;
  };
  return {taken,
          {field("aAw", time.tm_wday), field("bBhmDx", time.tm_mon), field("deDx", time.tm_mday),
           field("HkIlRTX", time.tm_hour), field("MRTX", time.tm_min), field("STX", time.tm_sec),
           field("j", time.tm_yday), field("YyDx", time.tm_year)}};
}

Outcome Parse(const std::string& format, const std::string& input, std::string_view named) {
  tm time{};
  const std::wstring wide = Wide(input);
  const wchar_t* const end = MLocale::ParseTime(wide.c_str(), Wide(format).c_str(), &time);
  return Describe(end != nullptr ? end - wide.c_str() : -1, time, named);
}

Outcome ParseWithStrptime(const std::string& format, const std::string& input,
                          std::string_view named) {
  tm time{};
  const char* const end = ::strptime(input.c_str(), format.c_str(), &time);
  return Describe(end != nullptr ? end - input.c_str() : -1, time, named);
}

class PairMaker {
 public:
  void Make(std::string& format, std::string& input) {
    format.clear();
    input.clear();
    for (std::size_t item = 0, items = 1 + Below(4); item < items; ++item) {
      constexpr std::string_view kConversions = "aAbBhdeDHkIljmMntRSTUWwXxYy%";
      const char conversion = kConversions[Below(kConversions.size())];
      if (item != 0) {
        constexpr std::array<std::string_view, 5> kSeparators = {"", " ", "/", ":", "-"};
        const bool isName = std::string_view("aAbBh").find(conversion) != std::string_view::npos;
        const std::size_t fewest = isName ? 1 : 0;  // a name right behind a name: listed as well
        const std::string_view separator = kSeparators[fewest + Below(kSeparators.size() - fewest)];
        format += separator;
        // White space before a number is one of the differences listed below.
        if (separator != " ") input += separator;
        if (separator == " " && isName) input += " \t";
      }
      format += '%';
      format += conversion;
      input += TextFor(conversion);
    }
    constexpr std::string_view kOther = "0123456789:/aMSx%";
    if (Below(4) == 0 && !input.empty()) {
      input[Below(input.size())] = kOther[Below(kOther.size())];
    }
    if (Below(4) == 0) input.insert(Below(input.size() + 1), 1, kOther[Below(kOther.size())]);
    if (Below(4) == 0 && !input.empty()) input.erase(Below(input.size()), 1);
  }

 private:
  std::size_t Below(std::size_t bound) { return random_() % bound; }

  std::string Number(std::size_t upper) {
    std::string text = std::to_string(Below(upper + upper / 8 + 2));
    return Below(2) == 0 && text.size() == 1 ? '0' + text : text;
  }

  std::string TextFor(char conversion) {
    constexpr std::array<const char*, 7> kDays = {"Sun",   "MONDAY", "tue",     "Wednesday",
                                                  "thurs", "Fri",    "saturday"};
    constexpr std::array<const char*, 8> kMonths = {"Jan", "february", "MAR",  "April",
                                                    "May", "June",     "sept", "December"};
    const auto isOneOf = [=](std::string_view conversions) {
      return conversions.find(conversion) != std::string_view::npos;
    };
    if (isOneOf("aA")) return kDays[Below(kDays.size())];
    if (isOneOf("bBh")) return kMonths[Below(kMonths.size())];
    if (isOneOf("Dx")) return Number(12) + '/' + Number(31) + '/' + Number(99);
    if (isOneOf("RTX")) {
      const std::string time = Number(23) + ':' + Number(59);
      return conversion == 'R' ? time : time + ':' + Number(61);
    }
    if (isOneOf("nt")) return "";
    if (conversion == '%') return "%";
    return Number(conversion == 'j'   ? 366
                  : conversion == 'w' ? 6
                  : conversion == 'Y' ? 9999
                  : conversion == 'y' ? 99
                                      : 60);
  }

  std::minstd_rand random_{20'240'607};
};

TEST(ReferenceTest, TimesAreReadAsStrptimeReadsThem) {
  PairMaker maker;
  std::string format;
  std::string input;
  int accepted = 0;
  for (int pair = 0; pair < 100'000; ++pair) {
    maker.Make(format, input);
    const Outcome outcome = Parse(format, input, format);
    ASSERT_EQ(outcome, ParseWithStrptime(format, input, format))
        << '"' << format << "\" on \"" << input << '"';
    if (outcome.taken >= 0) ++accepted;
  }
  std::printf("%d of 100000 pairs accepted by both\n", accepted);
  EXPECT_GT(accepted, 20'000);
  EXPECT_LT(accepted, 80'000);
}

TEST(ReferenceTest, TimesAreReadOtherwiseWhereThatIsIntended) {
  struct Difference {
    const char* format;
    const char* input;
    const char* why;
  };
  constexpr Difference kDifferences[] = {
      {"%d", " 5", "no white space is skipped before a number"},
      {"%a", "Suntue", "a day's name is one name, also with that of a later day right behind it"},
      {"%C%y", "1905", "the year after a century is the full one, not that since 1900"},
      {"%c", "12/31/99 01:02:03", "\"%c\" is \"%x %X\""},
      {"%r", "01:02:03 PM", "there is no \"%p\", and so no \"%r\""},
      {"%Ed", "5", "\"E\" and \"O\" are skipped before every conversion"},
      {"%s", "5", "no such conversion; nor \"%F\", \"%G\", \"%g\", \"%u\", \"%V\", \"%Z\", \"%z\""},
  };
  for (const auto& [format, input, why] : kDifferences) {
    const std::string named = std::string(format) + 'Y';  // so that years are compared
    EXPECT_NE(Parse(format, input, named), ParseWithStrptime(format, input, named)) << why;
  }
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
      if (digits == 16)
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
