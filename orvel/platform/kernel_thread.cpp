// SPDX-License-Identifier: MIT
#include "orvel/platform/kernel_thread.h"

#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {

KernelThread StartKernelThread(unsigned (*entry)(void*), void* argument) noexcept {
  unsigned id = 0;
  const std::uintptr_t handle = ::_beginthreadex(nullptr, 0, entry, argument, 0, &id);
  return {KernelHandle(reinterpret_cast<void*>(handle)), id};
}

}  // namespace Orvel::Detail
