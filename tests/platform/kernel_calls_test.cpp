// SPDX-License-Identifier: MIT
// What the library expects of the system's calls. Run against the system and against the stand-in
// that takes its place under the sanitizers, so that the two cannot drift apart.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>

#include "orvel/platform/windows_api.h"

namespace {

class Event {
 public:
  explicit Event(bool manualReset, bool signalled = false)
      : handle_(::CreateEventW(nullptr, manualReset, signalled, nullptr)) {}
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;
  ~Event() { ::CloseHandle(handle_); }
  [[nodiscard]] HANDLE Get() const { return handle_; }
  [[nodiscard]] DWORD Poll() const { return ::WaitForSingleObject(handle_, 0); }

 private:
  HANDLE handle_;
};

TEST(KernelCallsTest, EventsFallBackAsTheyWereMade) {
  const Event automatic(false);
  const Event manual(true, true);
  EXPECT_EQ(automatic.Poll(), WAIT_TIMEOUT);
  ::SetEvent(automatic.Get());
  ::SetEvent(automatic.Get());
  EXPECT_EQ(automatic.Poll(), WAIT_OBJECT_0);
  EXPECT_EQ(automatic.Poll(), WAIT_TIMEOUT) << "setting twice is setting once";
  EXPECT_EQ(manual.Poll(), WAIT_OBJECT_0);
  EXPECT_EQ(manual.Poll(), WAIT_OBJECT_0);
  ::ResetEvent(manual.Get());
  EXPECT_EQ(manual.Poll(), WAIT_TIMEOUT);
}

TEST(KernelCallsTest, AWaitForAnyTakesTheFirstAndLeavesTheRest) {
  const Event first(false);
  const Event second(false, true);
  const Event third(false, true);
  const std::array<HANDLE, 3> handles = {first.Get(), second.Get(), third.Get()};
  EXPECT_EQ(::WaitForMultipleObjects(3, handles.data(), FALSE, INFINITE), WAIT_OBJECT_0 + 1);
  EXPECT_EQ(third.Poll(), WAIT_OBJECT_0) << "only the reported one falls back";
  EXPECT_EQ(::WaitForMultipleObjects(3, handles.data(), FALSE, 0), WAIT_TIMEOUT);
}

TEST(KernelCallsTest, BadHandlesAndTooManyOfThemFail) {
  const HANDLE nothing = reinterpret_cast<HANDLE>(std::uintptr_t{0x7FF0});
  EXPECT_EQ(::WaitForSingleObject(nothing, 0), WAIT_FAILED);
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  ::SetLastError(0);
  EXPECT_FALSE(::SetEvent(nothing));
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  const Event event(true, true);
  std::array<HANDLE, MAXIMUM_WAIT_OBJECTS + 1> handles;
  handles.fill(event.Get());
  EXPECT_EQ(::WaitForMultipleObjects(MAXIMUM_WAIT_OBJECTS, handles.data(), FALSE, 0),
            WAIT_OBJECT_0);
  EXPECT_EQ(::WaitForMultipleObjects(MAXIMUM_WAIT_OBJECTS + 1, handles.data(), FALSE, 0),
            WAIT_FAILED);
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(::MsgWaitForMultipleObjectsEx(MAXIMUM_WAIT_OBJECTS, handles.data(), 0, QS_ALLINPUT,
                                          MWMO_INPUTAVAILABLE),
            WAIT_FAILED);
}

struct ThreadReport {
  std::atomic<DWORD> id{0};
  HANDLE mayEnd = nullptr;
};

unsigned ReportAndWait(void* argument) {
  auto& report = *static_cast<ThreadReport*>(argument);
  report.id = ::GetCurrentThreadId();
  ::WaitForSingleObject(report.mayEnd, INFINITE);
  return 0;
}

TEST(KernelCallsTest, AThreadsHandleIsSignalledOnceItHasEnded) {
  const Event mayEnd(true);
  ThreadReport report;
  report.mayEnd = mayEnd.Get();
  unsigned id = 0;
  const HANDLE thread =
      reinterpret_cast<HANDLE>(::_beginthreadex(nullptr, 0, &ReportAndWait, &report, 0, &id));
  ASSERT_NE(thread, nullptr);
  EXPECT_EQ(::WaitForSingleObject(thread, 20), WAIT_TIMEOUT);
  ::SetEvent(mayEnd.Get());
  EXPECT_EQ(::WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
  EXPECT_EQ(::WaitForSingleObject(thread, 0), WAIT_OBJECT_0);
  EXPECT_EQ(report.id, id);
  EXPECT_NE(id, ::GetCurrentThreadId());
  EXPECT_TRUE(::CloseHandle(thread));
}

TEST(KernelCallsTest, AMutexOfAnEndedThreadIsAbandonedOnce) {
  const HANDLE mutex = ::CreateMutexW(nullptr, FALSE, nullptr);
  std::thread([mutex] { ::WaitForSingleObject(mutex, INFINITE); }).join();
  EXPECT_EQ(::WaitForSingleObject(mutex, INFINITE), WAIT_ABANDONED_0);
  EXPECT_TRUE(::ReleaseMutex(mutex));
  EXPECT_EQ(::WaitForSingleObject(mutex, INFINITE), WAIT_OBJECT_0);
  EXPECT_TRUE(::ReleaseMutex(mutex));
  EXPECT_TRUE(::CloseHandle(mutex));
}

TEST(KernelCallsTest, CriticalSectionsAreRecursiveAndExclusive) {
  CRITICAL_SECTION section;
  ::InitializeCriticalSection(&section);
  ::EnterCriticalSection(&section);
  EXPECT_TRUE(::TryEnterCriticalSection(&section));
  ::LeaveCriticalSection(&section);
  const auto isFree = [&section] {
    bool entered = false;
    std::thread([&] {
      entered = ::TryEnterCriticalSection(&section) != FALSE;
      if (entered) ::LeaveCriticalSection(&section);
    }).join();
    return entered;
  };
  EXPECT_FALSE(isFree()) << "left once of twice";
  ::LeaveCriticalSection(&section);
  EXPECT_TRUE(isFree());
  ::DeleteCriticalSection(&section);
}

TEST(KernelCallsTest, TheCounterRunsForwardAtItsFrequency) {
  LARGE_INTEGER frequency;
  LARGE_INTEGER before;
  LARGE_INTEGER after;
  ASSERT_TRUE(::QueryPerformanceFrequency(&frequency));
  ASSERT_TRUE(::QueryPerformanceCounter(&before));
  ::Sleep(20);
  ASSERT_TRUE(::QueryPerformanceCounter(&after));
  EXPECT_GE(after.QuadPart - before.QuadPart, frequency.QuadPart / 100);
}

}  // namespace
