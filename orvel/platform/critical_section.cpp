// SPDX-License-Identifier: MIT
#include "orvel/platform/critical_section.h"

#include <memory>
#include <new>

#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {
namespace {

CRITICAL_SECTION* Native(std::byte* storage) noexcept {
  return std::launder(reinterpret_cast<CRITICAL_SECTION*>(storage));
}

}  // namespace

CriticalSection::CriticalSection() noexcept {
  static_assert(sizeof(CRITICAL_SECTION) == kSizeInBytes);
  static_assert(alignof(CRITICAL_SECTION) <= alignof(void*));
  ::InitializeCriticalSection(::new (storage_) CRITICAL_SECTION{});
}

CriticalSection::~CriticalSection() {
  ::DeleteCriticalSection(Native(storage_));
  std::destroy_at(Native(storage_));
}

void CriticalSection::lock() noexcept { ::EnterCriticalSection(Native(storage_)); }

bool CriticalSection::try_lock() noexcept {
  return ::TryEnterCriticalSection(Native(storage_)) != 0;
}

bool CriticalSection::TryLockFor(std::uint32_t timeoutMs) noexcept {
  while (!try_lock()) {
    if (timeoutMs-- == 0) return false;
    ::Sleep(1);
  }
  return true;
}

void CriticalSection::unlock() noexcept { ::LeaveCriticalSection(Native(storage_)); }

}  // namespace Orvel::Detail
