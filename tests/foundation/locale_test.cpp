// SPDX-License-Identifier: MIT
#include "orvel/foundation/locale.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <iomanip>
#include <new>
#include <sstream>

#include "orvel/platform/windows_api.h"
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
  EXPECT_EQ(::_wtoi_l(L"-17", static_cast<_locale_t>(locale.GetCLocale())), -17);
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
