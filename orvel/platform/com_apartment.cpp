// SPDX-License-Identifier: MIT
#include "orvel/platform/com_apartment.h"

#include "orvel/platform/windows_api.h"

#include <objbase.h>

namespace Orvel::Detail {

void EnterMultithreadedApartment() noexcept {
  static_cast<void>(::CoInitializeEx(nullptr, COINIT_MULTITHREADED));
}

void LeaveApartment() noexcept { ::CoUninitialize(); }

}  // namespace Orvel::Detail
