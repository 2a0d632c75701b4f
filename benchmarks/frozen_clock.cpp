// SPDX-License-Identifier: MIT
#include "frozen_clock.h"

#include <atomic>

#include "orvel/platform/windows_api.h"

using PerformanceCounter = BOOL(WINAPI*)(LARGE_INTEGER*);

// The pointer through which every call of the imported function goes.
extern "C" PerformanceCounter __imp_QueryPerformanceCounter;

namespace {

const PerformanceCounter realCounter = __imp_QueryPerformanceCounter;

BOOL WINAPI ReadFrozenCounter(LARGE_INTEGER* counter) {
  counter->QuadPart = 1;
  return TRUE;
}

void Redirect(PerformanceCounter target) {
  auto* const slot = &__imp_QueryPerformanceCounter;
  DWORD protection = 0;
  ::VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &protection);
  std::atomic_ref(*slot).store(target, std::memory_order_relaxed);
  ::VirtualProtect(slot, sizeof *slot, protection, &protection);
}

long long ReadRealCounter() {
  LARGE_INTEGER counter;
  realCounter(&counter);
  return counter.QuadPart;
}

}  // namespace

FrozenClock::FrozenClock() noexcept {
  Redirect(&ReadFrozenCounter);
  start_ = ReadRealCounter();
}

FrozenClock::~FrozenClock() { Redirect(realCounter); }

double FrozenClock::GetRealSeconds() const noexcept {
  const long long end = ReadRealCounter();
  LARGE_INTEGER frequency;
  ::QueryPerformanceFrequency(&frequency);
  return static_cast<double>(end - start_) / static_cast<double>(frequency.QuadPart);
}
