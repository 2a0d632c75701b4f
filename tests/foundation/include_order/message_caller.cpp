// SPDX-License-Identifier: MIT
#if defined(ORDER_WindowsBefore)
#include <windows.h>
#endif

#include "orvel/foundation/error.h"

#if defined(ORDER_WindowsAfter)
#include <windows.h>
#endif

#include "tests/foundation/include_order/order_cases.h"

#if defined(ORDER_NoWindows) && defined(_WINDOWS_)
#error "error.h brings <windows.h> along"
#endif

#define TEXT_OF_TOKEN(token) #token
#define TEXT_OF_EXPANSION(token) TEXT_OF_TOKEN(token)

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

const struct Registration {
  Registration() {
    OrderCases().push_back({ORDER_CASE, TEXT_OF_EXPANSION(GetMessage),
                            ErrorWithOwnText(L"a code").GetMessage(),
                            [](const MError& error) { return error.GetMessage(); },
                            []() -> std::unique_ptr<MError> {
                              return std::make_unique<ErrorWithOwnText>(L"a code");
                            }});
  }
} registration;

}  // namespace
