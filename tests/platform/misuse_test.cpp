// SPDX-License-Identifier: MIT
#include "orvel/platform/misuse.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/misuse_recorder.h"

namespace {

TEST(MisuseTest, IsReportedInTheWayInUseWhenTheLibraryHasAssertions) {
  using Messages = std::vector<std::wstring>;
  Orvel::Testing::MisuseRecorder outer;
  {
    Orvel::Testing::MisuseRecorder inner;
    Orvel::Detail::ReportMisuse(L"one");
    EXPECT_EQ(inner.Take(), Orvel::Detail::ReportsMisuse() ? Messages{L"one"} : Messages{});
  }
  Orvel::Detail::ReportMisuse(L"two");
  EXPECT_EQ(outer.Take(), Orvel::Detail::ReportsMisuse() ? Messages{L"two"} : Messages{});
}

TEST(MisuseDeathTest, AbortsWithTheMessage) {
  if (!Orvel::Detail::ReportsMisuse()) GTEST_SKIP() << "the library has no assertions";
  EXPECT_DEATH(Orvel::Detail::ReportMisuse(L"a rule was broken"),
               "Orvel is misused: a rule was broken");
}

}  // namespace
