// SPDX-License-Identifier: MIT
// The handles that few programs own. Kernel handles are closed in kernel_handle.cpp, so that the
// others do not bring along what these need.
#include "orvel/platform/unique_handle.h"

#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {

void FindHandlePolicy::Close(Handle handle) noexcept { ::FindClose(handle); }

void RegistryKeyPolicy::Close(Handle handle) noexcept { ::RegCloseKey(static_cast<HKEY>(handle)); }

}  // namespace Orvel::Detail
