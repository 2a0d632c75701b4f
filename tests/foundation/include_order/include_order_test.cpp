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

/// One of a subclass written in each order; they are added before main().
inline std::vector<std::unique_ptr<MError>>& ErrorsOfEachOrder() {
  static std::vector<std::unique_ptr<MError>> errors;
  return errors;
}

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

const bool isAdded =
    (ErrorsOfEachOrder().push_back(std::make_unique<ErrorWithOwnText>(L"a code")), true);

TEST(IncludeOrderTest, ORDER_CASE) {
  ASSERT_TRUE(isAdded);
  EXPECT_EQ(MError(L"Importer.Open:NoSuchFile").GetMessage(), L"Importer.Open:NoSuchFile");
  ASSERT_THAT(ErrorsOfEachOrder(), testing::SizeIs(6));
  for (const auto& error : ErrorsOfEachOrder()) {
    EXPECT_EQ(error->GetMessage(), L"own text of a code");
  }
}

}  // namespace
