// SPDX-License-Identifier: MIT
#include "orvel/foundation/locale.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <cwchar>
#include <iomanip>
#include <limits>
#include <new>
#include <sstream>
#include <tuple>
#include <utility>

#include "orvel/foundation/number_text.h"
#include "orvel/foundation/utf8.h"
#include "tests/support/flow_log.h"
#include "tests/support/raised_error.h"

namespace {

using Orvel::Detail::DecodeUtf8;
using Orvel::Detail::EncodeUtf8;
using Orvel::Detail::EncodeUtf8Replacing;
using Orvel::Testing::ErrorOf;
using Orvel::Testing::FlowEventsWith;
using Orvel::Testing::ForObject;
using Orvel::Testing::TakeFlowLog;

TEST(MLocaleTest, ConvertsNumbersPlainlyWhateverTheGlobalLocale) {
  struct Foreign : std::numpunct<wchar_t> {
    wchar_t do_decimal_point() const override { return L','; }
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale before = std::locale::global(std::locale(std::locale(), new Foreign));
  const MLocale locale("C");
  std::wostringstream stream;
  stream.imbue(locale.GetNumberLocale());
  stream << std::fixed << std::setprecision(1) << 1234567.5;
  std::locale::global(before);
  EXPECT_EQ(stream.str(), L"1234567.5");
  EXPECT_EQ(MLocale::DecimalSeparatorOnly(L';').decimal_point(), L';');
#if defined(_WIN32)
  EXPECT_EQ(::_wtoi_l(L"-17", static_cast<_locale_t>(locale.GetCLocale())), -17);
#endif
  EXPECT_EQ(MLocale::Instance().GetName(), "C");
}

TEST(MLocaleTest, NameThatTheLibraryRefusesIsACascadeErrorOfTheInstance) {
  alignas(MLocale) std::byte storage[sizeof(MLocale)];
  (void)TakeFlowLog();
  const std::string error = ErrorOf([&] { new (storage) MLocale("nowhere, U.A.E."); });
  EXPECT_THAT(error, testing::MatchesRegex("MLocale.MLocale:BadCppLocale \\[errorMessage=....+, "
                                           "name=nowhere, ARE\\]"));
  EXPECT_THAT(FlowEventsWith(TakeFlowLog(), {ForObject(storage)}),
              testing::ElementsAre("Cascade_error BadCppLocale"));
  EXPECT_EQ(MLocale("C").GetName(), "C") << "the next construction starts afresh";
}

template <class... Integers>
void ExpectReadAsByStreams(const std::wstring& text) {
  const auto check = [&text](auto value) {
    auto streamed = value;
    std::wistringstream stream(text);
    stream.imbue(MLocale::Instance().GetNumberLocale());
    const bool isStreamed = !(stream >> streamed).fail();
    ASSERT_EQ(Orvel::Detail::ParseInteger(text, MLocale::Instance(), value), isStreamed)
        << testing::PrintToString(text) << " in " << sizeof value << " bytes";
    EXPECT_EQ(value, isStreamed ? streamed : decltype(value){55}) << testing::PrintToString(text);
  };
  (check(Integers{55}), ...);
}

TEST(ParseIntegerTest, ReadsWhatAStreamReads) {
  std::wistringstream words(
      L"0 00 7x 007 0x10 010 1,5 1,000 1.5 1e3 32767 32768 32769 65535 65536 2147483647 2147483648 "
      L"2147483649 4294967295 4294967296 9223372036854775807 9223372036854775808 "
      L"9223372036854775809 18446744073709551615 18446744073709551616 "
      L"00000000000000000000000000000000000012 99999999999999999999999999999999999999 x -1 \xB2");
  for (std::wstring digits; std::getline(words, digits, L' ');) {
    for (const wchar_t* const before :
         {L"", L"-", L"+", L"- ", L"+-", L" \t\n\v\f\r", L"\n-", L"\x1F", L"_"}) {
      ExpectReadAsByStreams<std::int16_t, std::uint16_t, std::int32_t, std::uint32_t, std::int64_t,
                            std::uint64_t>(before + digits);
    }
  }
  for (std::uint32_t unit = 0; unit <= 0xFFFF; ++unit) {
    ExpectReadAsByStreams<std::int32_t>({static_cast<wchar_t>(unit), L' ', L'4'});
  }
}

TEST(ParseDoubleTest, TakesDigitsAndExponentsOfAnyLength) {
  for (std::size_t zeros = 0; zeros < 100; ++zeros) {
    const std::wstring many(zeros, L'0');
    const std::pair<std::wstring, double> cases[] = {
        {L"1" + many + L"e-" + std::to_wstring(zeros), 1.0},
        {L"1e1" + many + L"000", std::numeric_limits<double>::infinity()},
        {L"1e-1" + many + L"000", 0.0}};
    for (const auto& [text, expected] : cases) {
      double value = -1;
      EXPECT_TRUE(Orvel::Detail::ParseDouble(text, MLocale::Instance(), value)) << text;
      EXPECT_EQ(value, expected) << text;
    }
  }
}

/// Writes and reads numbers when everything else of the process that is static has gone.
struct LastUser {
  ~LastUser() {
    double number = 0.0;
    const std::wstring text = Orvel::Detail::ScientificText(2.5, 15, MLocale::Instance());
    if (!Orvel::Detail::ParseDouble(text, MLocale::Instance(), number) || number != 2.5) {
      std::_Exit(EXIT_FAILURE);
    }
  }
} lastUser;  // built before the instance

TEST(MLocaleTest, RepairReplacesTheFirstOfEachLongForm) {
  const std::pair<const char*, const char*> cases[] = {
      {nullptr, ""},
      {"Chinese (Traditional)_Hong Kong S.A.R..950", "Chinese (Traditional)_HKG.950"},
      {"Arabic_U.A.E..1256;U.A.E.", "Arabic_ARE.1256;U.A.E."},
      {"Chinese (Traditional)_Macau S.A.R..950", "ZHM"},
      {"<Chinese (Traditional)_Macao S.A.R..950>", "<ZHM>"},
      {"Chinese_Macao S.A.R..950;Hong Kong S.A.R.;Chinese_Macau S.A.R..950", "ZHM;HKG;ZHM"},
  };
  for (const auto& [name, repaired] : cases) EXPECT_EQ(MLocale::RepairLocaleName(name), repaired);
}

constexpr int kUntouched = -77;
constexpr int tm::*kFields[] = {&tm::tm_year, &tm::tm_mon,  &tm::tm_mday, &tm::tm_hour, &tm::tm_min,
                                &tm::tm_sec,  &tm::tm_wday, &tm::tm_yday, &tm::tm_isdst};

// Format, input, its rest (null: fails), and the fields from year to second, then day of the week,
// of the year, and daylight saving time.
constexpr std::tuple<const wchar_t*, const wchar_t*, const wchar_t*, const char*> kCases[] = {
    {L"at %H!", L"at 7!x", L"x", "- - - 7 - - - - - "},
    {L"%%%d", L"%5", L"", "- - 5 - - - - - - "},
    {L" %d\n%H", L"5 \t\v\f\r\n6", L"", "- - 5 6 - - - - - "},
    {L" %d", L"\x2002\x35", nullptr, "- - - - - - - - - "},
    {L"%Ey%OEm", L"701x", L"x", "70 0 - - - - - - - "},
    {L"%d%", L"5", nullptr, "- - 5 - - - - - - "},
    {L"%Q", L"5", nullptr, "- - - - - - - - - "},
    // A digit is taken while ten times the value is within the bound.
    {L"%d", L"45", L"5", "- - 4 - - - - - - "},
    {L"%d", L"012", L"2", "- - 1 - - - - - - "},
    {L"%d", L" 5", nullptr, "- - - - - - - - - "},
    {L"%d", L"\x0661", nullptr, "- - - - - - - - - "},
    {L"%k:%M:%S", L"23:59:61", L"", "- - - 23 59 61 - - - "},
    {L"%I:%M", L"12:60", L"0", "- - - 0 6 - - - - "},
    {L"%l", L"13", nullptr, "- - - - - - - - - "},
    {L"%j0 %U%W%w", L"400 53006", L"", "- - - - - - 6 39 - "},
    {L"%A %h", L"SUNDAY Decembe", L"embe", "- 11 - - - - 0 - - "},
    {L"%Y", L"12345", L"5", "-666 - - - - - - - - "},
    {L"%Y %C", L"2021 19", L"", "1921 - - - - - - - - "},
    {L"%n%x%t%X", L" 1/2/03 4:05:06", L"", "103 0 2 4 5 6 - - - "},
    {L"%R", L"7:08:09", L":09", "- - - 7 8 - - - - "},
    {L"%a", L"Suntue", L"tue", "- - - - - - 0 - - "},
    {L"%b", L"March", L"", "- 2 - - - - - - - "},
    {L"%y", L"69", L"", "69 - - - - - - - - "},
    {L"%C%y", L"1905", L"", "1905 - - - - - - - - "},
    {L"%y%C", L"0519", L"", "1905 - - - - - - - - "},
    {L"%C %D", L"19 03/05/21", L"", "1921 2 5 - - - - - - "},
    {L"%y %y", L"70 05", L"", "105 - - - - - - - - "},
    {L"%c", L"12/31/99  1:02:03", L"", "99 11 31 1 2 3 - - - "},
    {L"%r", L"01:02:03 PM", nullptr, "- - - 1 2 3 - - - "},
};

TEST(ParseTimeTest, ReadsAsTabledAndTouchesNothingElse) {
  for (const auto& [format, input, rest, expected] : kCases) {
    SCOPED_TRACE(testing::PrintToString(format) + " on " + testing::PrintToString(input));
    tm time{};
    for (int tm::*field : kFields) time.*field = kUntouched;
    const auto* const end = rest != nullptr ? input + std::wcslen(input) - std::wcslen(rest) : rest;
    EXPECT_EQ(MLocale::ParseTime(input, format, &time), end) << "in the input itself";
    std::string fields;
    for (int tm::*field : kFields) {
      fields += time.*field == kUntouched ? "- " : std::to_string(time.*field) + ' ';
    }
    EXPECT_EQ(fields, expected);
  }
}

TEST(Utf8Test, EveryCodePointGoesThereAndBack) {
  std::wstring text = L"\u00E4\u20AC";
  for (std::uint32_t code = 0; code <= 0x10FFFF; ++code) {
    if (code >= 0xD800 && code <= 0xDFFF) continue;
    const bool isPair = sizeof(wchar_t) == 2 && code > 0xFFFF;
    if (isPair) text += static_cast<wchar_t>(0xD7C0 + (code >> 10));
    text += static_cast<wchar_t>(isPair ? 0xDC00 + (code & 0x3FF) : code);
  }
  std::string bytes;
  ASSERT_FALSE(EncodeUtf8(text, bytes).has_value());
  EXPECT_TRUE(bytes.starts_with("\xC3\xA4\xE2\x82\xAC"));
  std::wstring back;
  ASSERT_FALSE(DecodeUtf8(bytes, back).has_value());
  EXPECT_TRUE(back == text);
}

TEST(Utf8Test, RefusesWhatIsMalformedWithItsOffset) {
  for (const char* const bad :
       {"\x80", "\xC0\x80", "\xC1\xBF", "\xC3", "\xC3(", "\xE0\x9F\xBF", "\xE2\x82", "\xED\xA0\x80",
        "\xED\xBF\xBF", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF"}) {
    std::wstring text = L"kept";
    // What follows behind the end would complete it.
    const std::string bytes = std::string("a\xC3\xA4") + bad + "\x80\x80";
    EXPECT_EQ(DecodeUtf8(std::string_view(bytes).substr(0, bytes.size() - 2), text), 3U) << bad;
    EXPECT_EQ(text, L"kept");
  }
  for (const std::wstring unpaired : {L"a\xD83D", L"a\xDE00", L"a\xD83Dx", L"a\xDE00\xD83D"}) {
    std::string bytes = "kept";
    EXPECT_EQ(EncodeUtf8(unpaired, bytes), 1U);
    EXPECT_EQ(bytes, "kept");
  }
  EXPECT_EQ(EncodeUtf8Replacing(L"\xDE00\xD83D\U0001F600x\xD83D"),
            "\xEF\xBF\xBD\xEF\xBF\xBD\xF0\x9F\x98\x80x\xEF\xBF\xBD");
}

}  // namespace
