// SPDX-License-Identifier: MIT
// What the library expects of the system's waits, and no other test would notice. Run against the
// system and against the stand-in that takes its place under the sanitizers, so that the two cannot
// drift apart.
#include <gtest/gtest.h>

#include <array>

#include "orvel/platform/kernel_handle.h"
#include "orvel/platform/windows_api.h"

namespace {

using Orvel::Detail::CreateKernelEvent;
using Orvel::Detail::EventReset;
using Orvel::Detail::KernelHandle;

DWORD Poll(const KernelHandle& handle) { return ::WaitForSingleObject(handle.Get(), 0); }

TEST(KernelCallsTest, AWaitForAnyTakesTheFirstAndLeavesTheRest) {
  std::array<KernelHandle, 3> events;
  std::array<HANDLE, 3> handles;
  for (std::size_t i = 0; i < events.size(); ++i) {
    events[i] = CreateKernelEvent(EventReset::kAutomatic);
    handles[i] = events[i].Get();
  }
  ::SetEvent(handles[1]);
  ::SetEvent(handles[2]);
  EXPECT_EQ(::WaitForMultipleObjects(3, handles.data(), FALSE, INFINITE), WAIT_OBJECT_0 + 1);
  EXPECT_EQ(Poll(events[2]), WAIT_OBJECT_0) << "only the reported one falls back";
  EXPECT_EQ(::WaitForMultipleObjects(3, handles.data(), FALSE, 0), DWORD{WAIT_TIMEOUT});
}

TEST(KernelCallsTest, BadHandlesAndTooManyOfThemFail) {
  const HANDLE nothing = reinterpret_cast<HANDLE>(std::uintptr_t{0x7FF0});
  EXPECT_EQ(::WaitForSingleObject(nothing, 0), WAIT_FAILED);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_HANDLE});
  ::SetLastError(0);
  EXPECT_FALSE(::SetEvent(nothing));
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_HANDLE});
  const KernelHandle event = CreateKernelEvent(EventReset::kManual);
  ::SetEvent(event.Get());
  std::array<HANDLE, MAXIMUM_WAIT_OBJECTS + 1> handles;
  handles.fill(event.Get());
  EXPECT_EQ(::WaitForMultipleObjects(MAXIMUM_WAIT_OBJECTS, handles.data(), FALSE, 0),
            WAIT_OBJECT_0);
  EXPECT_EQ(::WaitForMultipleObjects(MAXIMUM_WAIT_OBJECTS + 1, handles.data(), FALSE, 0),
            WAIT_FAILED);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_EQ(::MsgWaitForMultipleObjectsEx(MAXIMUM_WAIT_OBJECTS, handles.data(), 0, QS_ALLINPUT,
                                          MWMO_INPUTAVAILABLE),
            WAIT_FAILED);
}

}  // namespace
