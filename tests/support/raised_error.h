// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "orvel/foundation/exception.h"

namespace Orvel::Testing {

/// An exception's newest error with all its parameters: "MQueue.Push:Full [name=value, ...]", the
/// brackets only when there are any. Empty for an empty exception.
[[nodiscard]] inline std::string ErrorText(const MException& exception) {
  const MError* const error = exception.GetNewestError();
  if (error == nullptr) return {};
  std::wstring text = error->GetMessage();
  const wchar_t* separator = L" [";
  for (const auto& [name, value] : error->GetParameters()) {
    text += separator + name + L'=' + value;
    separator = L", ";
  }
  if (!error->GetParameters().empty()) text += L']';
  std::string narrow;
  for (const wchar_t character : text) narrow += static_cast<char>(character);
  return narrow;
}

/// What `call` raises, in the form of `ErrorText`; empty when it returns.
template <class Call>
[[nodiscard]] std::string ErrorOf(Call&& call) {
  try {
    call();
  } catch (const MException& exception) {
    return ErrorText(exception);
  }
  return {};
}

}  // namespace Orvel::Testing
