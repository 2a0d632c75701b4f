// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <array>

#include "orvel/foundation/error.h"
#include "tests/foundation/include_order/order_cases.h"

namespace {

struct OrderCase {
  const char* name;
  const char* expansion;
  std::wstring (*textOf)(const MError& error);
  std::unique_ptr<MError> (*makeErrorWithOwnText)();
  std::wstring (*textOfErrorWithOwnText)();
  std::string (*expansionOfGetMessage)();
};

#define ORDER_CASE_ENTRY(name, expansion)                                                        \
  OrderCase {                                                                                    \
#name, expansion, &name::TextOf, &name::MakeErrorWithOwnText, &name::TextOfErrorWithOwnText, \
        &name::ExpansionOfGetMessage                                                             \
  }

const std::array kCases = {
    ORDER_CASE_ENTRY(NoWindowsAnsi, "GetMessage"),
    ORDER_CASE_ENTRY(NoWindowsUnicode, "GetMessage"),
    ORDER_CASE_ENTRY(WindowsBeforeAnsi, "GetMessageA"),
    ORDER_CASE_ENTRY(WindowsBeforeUnicode, "GetMessageW"),
    ORDER_CASE_ENTRY(WindowsAfterAnsi, "GetMessageA"),
    ORDER_CASE_ENTRY(WindowsAfterUnicode, "GetMessageW"),
};

TEST(IncludeOrderTest, EveryOrderGetsTheMessage) {
  const MError error(L"Importer.Open:NoSuchFile");
  for (const OrderCase& order : kCases) {
    EXPECT_EQ(order.textOf(error), L"Importer.Open:NoSuchFile") << order.name;
  }
}

TEST(IncludeOrderTest, AnOverrideWrittenInOneOrderIsCalledFromEveryOther) {
  for (const OrderCase& maker : kCases) {
    const std::unique_ptr<MError> error = maker.makeErrorWithOwnText();
    for (const OrderCase& caller : kCases) {
      EXPECT_EQ(caller.textOf(*error), L"own text of a code")
          << "written in " << maker.name << ", called from " << caller.name;
    }
  }
}

TEST(IncludeOrderTest, AClassWithItsOwnMessageAnswersToTheMacrosNameToo) {
  for (const OrderCase& order : kCases) {
    EXPECT_EQ(order.textOfErrorWithOwnText(), L"own text of a code") << order.name;
  }
}

// A program that pumps window messages still needs the macro.
TEST(IncludeOrderTest, TheSystemsMacroIsLeftAsItWas) {
  for (const OrderCase& order : kCases) {
    EXPECT_EQ(order.expansionOfGetMessage(), order.expansion) << order.name;
  }
}

}  // namespace
