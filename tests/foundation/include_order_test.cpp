// SPDX-License-Identifier: MIT
#if defined(ORDER_WindowsBefore)
#include <windows.h>
#endif

#include "orvel/foundation/error.h"

#if defined(ORDER_WindowsAfter)
#include <windows.h>
#endif

#if defined(ORDER_NoWindows) && defined(_WINDOWS_)
#error "error.h brings <windows.h> along"
#endif
// A program that pumps window messages still needs the macro.
#if !defined(ORDER_NoWindows) && !defined(GetMessage)
#error "error.h takes the macro of <windows.h> away"
#endif

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

/// Errors of a subclass, one written in each order.
inline std::vector<std::unique_ptr<MError>> errorsOfEachOrder;

namespace {

// The same guard as round MError: without it the class would override nothing where the word is a
// macro.
#pragma push_macro("GetMessage")
#undef GetMessage

class ErrorWithOwnText : public MError {
 public:
  using MError::MError;
  [[nodiscard]] std::wstring GetMessage() const override { return L"own text of " + GetCode(); }
};

#pragma pop_macro("GetMessage")

// Before main(); the list, defined ahead of it in every file, is there by then.
const bool isAdded =
    (errorsOfEachOrder.push_back(std::make_unique<ErrorWithOwnText>(L"a code")), true);

TEST(IncludeOrderTest, ORDER_CASE) {
  ASSERT_TRUE(isAdded);
  EXPECT_EQ(MError(L"Importer.Open:NoSuchFile").GetMessage(), L"Importer.Open:NoSuchFile");
  ASSERT_THAT(errorsOfEachOrder, testing::SizeIs(6));
  for (const auto& error : errorsOfEachOrder) {
    EXPECT_EQ(error->GetMessage(), L"own text of a code");
  }
}

}  // namespace
