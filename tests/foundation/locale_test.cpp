// SPDX-License-Identifier: MIT
#include "orvel/foundation/locale.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iomanip>
#include <limits>
#include <new>
#include <sstream>
#include <utility>

#include "orvel/foundation/number_text.h"
#include "tests/support/flow_dump_reader.h"
#include "tests/support/raised_error.h"

namespace {

using Orvel::Testing::ErrorOf;
using Orvel::Testing::TakeFlowRecords;

TEST(MLocaleTest, ConvertsNumbersPlainlyWhateverTheGlobalLocale) {
  struct Foreign : std::numpunct<wchar_t> {
    wchar_t do_decimal_point() const override { return L','; }
    wchar_t do_thousands_sep() const override { return L'.'; }
    std::string do_grouping() const override { return "\3"; }
    std::wstring do_truename() const override { return L"wahr"; }
  };
  const std::locale before = std::locale::global(std::locale(std::locale(), new Foreign));
  const MLocale locale("C");
  std::wostringstream stream;
  stream.imbue(locale.GetNumberLocale());
  stream << std::fixed << std::setprecision(1) << 1234567.5 << L' ' << 1234567 << L' '
         << std::boolalpha << true << false;
  std::locale::global(before);
  EXPECT_EQ(stream.str(), L"1234567.5 1234567 truefalse");

  EXPECT_EQ(MLocale::DecimalSeparatorOnly(L';').decimal_point(), L';');
#if defined(_WIN32)
  EXPECT_EQ(::_wtoi_l(L"-17", static_cast<_locale_t>(locale.GetCLocale())), -17);
#endif
  EXPECT_EQ(MLocale::Instance().GetName(), "C");
}

TEST(MLocaleTest, NameThatTheLibraryRefusesIsACascadeErrorOfTheInstance) {
  alignas(MLocale) std::byte storage[sizeof(MLocale)];
  (void)TakeFlowRecords();
  const std::string error = ErrorOf([&] { new (storage) MLocale("nowhere, U.A.E."); });
  EXPECT_THAT(error, testing::MatchesRegex("MLocale.MLocale:BadCppLocale \\[errorMessage=....+, "
                                           "name=nowhere, ARE\\]"));
  const auto records = TakeFlowRecords();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].event, "Cascade_error");
  EXPECT_EQ(records[0].detail, "BadCppLocale");
  EXPECT_EQ(records[0].object, FlowObject(storage));
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
      {"Chinese_Macau S.A.R..950", "ZHM"},
      {"Chinese (Traditional)_Macao S.A.R..950", "ZHM"},
      {"<Chinese_Macao S.A.R..950>", "<ZHM>"},
      {"Chinese_Macao S.A.R..950;Hong Kong S.A.R.;Chinese_Macau S.A.R..950", "ZHM;HKG;ZHM"},
  };
  for (const auto& [name, repaired] : cases) EXPECT_EQ(MLocale::RepairLocaleName(name), repaired);
}

}  // namespace
