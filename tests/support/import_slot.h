// SPDX-License-Identifier: MIT
#pragma once

#include "orvel/platform/windows_api.h"

namespace Orvel::Testing {

/// Puts a function into a slot of this program's import table, for good. `original` gets the one
/// that was there, and gets it first: another thread may call through the slot at any time.
template <class Function>
void ReplaceImport(void*& slot, Function* replacement, Function*& original) {
  DWORD protection = 0;
  ::VirtualProtect(&slot, sizeof slot, PAGE_READWRITE, &protection);
  original = reinterpret_cast<Function*>(slot);
  slot = reinterpret_cast<void*>(replacement);
  ::VirtualProtect(&slot, sizeof slot, protection, &protection);
}

}  // namespace Orvel::Testing
