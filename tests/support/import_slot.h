// SPDX-License-Identifier: MIT
#pragma once

#include <utility>

#include "orvel/platform/windows_api.h"

namespace Orvel::Testing {

/// Puts a function into a slot of this program's import table, for good, and returns the one that
/// was there.
template <class Function>
Function* ReplaceImport(void*& slot, Function* replacement) {
  DWORD protection = 0;
  ::VirtualProtect(&slot, sizeof slot, PAGE_READWRITE, &protection);
  void* const original = std::exchange(slot, reinterpret_cast<void*>(replacement));
  ::VirtualProtect(&slot, sizeof slot, protection, &protection);
  return reinterpret_cast<Function*>(original);
}

}  // namespace Orvel::Testing
