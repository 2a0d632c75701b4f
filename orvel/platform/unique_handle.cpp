// SPDX-License-Identifier: MIT
#include "orvel/platform/unique_handle.h"

#include "orvel/platform/registry_api.h"
#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {

void FindHandlePolicy::Close(Handle handle) noexcept { ::FindClose(handle); }

void RegistryKeyPolicy::Close(Handle handle) noexcept { CurrentRegistryApi().closeKey(handle); }

}  // namespace Orvel::Detail
