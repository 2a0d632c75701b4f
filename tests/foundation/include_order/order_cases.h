// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <vector>

class MError;

/// What a source sees of errors, built with its own order of includes.
struct OrderCase {
  std::string name;
  std::string expansion;          ///< what the preprocessor makes of GetMessage after the includes
  std::wstring textOfClassAlone;  ///< of its own subclass, called on that class and not on MError
  std::wstring (*textOf)(const MError& error);        ///< error.GetMessage()
  std::unique_ptr<MError> (*makeErrorWithOwnText)();  ///< of its own subclass
};

/// One for each order; they register themselves before main().
inline std::vector<OrderCase>& OrderCases() {
  static std::vector<OrderCase> cases;
  return cases;
}
