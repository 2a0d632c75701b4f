// SPDX-License-Identifier: MIT
#include "orvel/platform/misuse.h"

#include <gtest/gtest.h>

namespace {

TEST(MisuseDeathTest, AbortsWithTheMessageWhenTheLibraryHasAssertions) {
  if (!Orvel::Detail::ReportsMisuse()) GTEST_SKIP();
  EXPECT_DEATH(Orvel::Detail::ReportMisuse(L"a rule was broken"),
               "Orvel is misused: a rule was broken");
}

}  // namespace
