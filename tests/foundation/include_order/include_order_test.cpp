// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <map>

#include "orvel/foundation/error.h"
#include "tests/foundation/include_order/order_cases.h"

namespace {

TEST(IncludeOrderTest, MessagesAndOverridesAreCalledFromEveryOrderToEveryOther) {
  const MError plain(L"Importer.Open:NoSuchFile");
  for (const OrderCase& caller : OrderCases()) {
    EXPECT_EQ(caller.textOf(plain), L"Importer.Open:NoSuchFile") << caller.name;
    EXPECT_EQ(caller.textOfClassAlone, L"own text of a code") << caller.name;
    for (const OrderCase& maker : OrderCases()) {
      EXPECT_EQ(caller.textOf(*maker.makeErrorWithOwnText()), L"own text of a code")
          << "written in " << maker.name << ", called from " << caller.name;
    }
  }
}

// A program that pumps window messages still needs the macro.
TEST(IncludeOrderTest, TheSystemsMacroIsLeftAsItWas) {
  std::map<std::string, std::string> expansions;
  for (const OrderCase& order : OrderCases()) expansions[order.name] = order.expansion;
  const std::map<std::string, std::string> expected = {
      {"NoWindowsAnsi", "GetMessage"},      {"NoWindowsUnicode", "GetMessage"},
      {"WindowsBeforeAnsi", "GetMessageA"}, {"WindowsBeforeUnicode", "GetMessageW"},
      {"WindowsAfterAnsi", "GetMessageA"},  {"WindowsAfterUnicode", "GetMessageW"},
  };
  EXPECT_EQ(expansions, expected);
}

}  // namespace
