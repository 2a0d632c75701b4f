// SPDX-License-Identifier: MIT
#include "orvel/platform/kernel_handle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>

#include "orvel/platform/windows_api.h"
#include "tests/support/handle_count.h"

namespace {

using Orvel::Detail::CreateKernelEvent;
using Orvel::Detail::EventReset;
using Orvel::Detail::KernelHandle;
using Orvel::Testing::CountOpenHandles;
using Orvel::Testing::IsOpenHandle;

KernelHandle OpenEvent(EventReset reset = EventReset::kManual) {
  KernelHandle event = CreateKernelEvent(reset);
  EXPECT_TRUE(event) << "error " << ::GetLastError();
  return event;
}

DWORD Look(const KernelHandle& handle) { return ::WaitForSingleObject(handle.Get(), 0); }

TEST(KernelHandleTest, EmptyOwnerClosesNothing) {
  const std::size_t before = CountOpenHandles();
  {
    KernelHandle empty;
    EXPECT_FALSE(empty);
    EXPECT_EQ(empty.Get(), nullptr);
    empty.Close();
    KernelHandle moved(std::move(empty));
    EXPECT_FALSE(moved);
  }
  EXPECT_EQ(CountOpenHandles(), before);
}

TEST(KernelHandleTest, DestructorCloses) {
  void* raw = nullptr;
  {
    const KernelHandle event = OpenEvent();
    raw = event.Get();
    EXPECT_TRUE(IsOpenHandle(raw));
  }
  EXPECT_FALSE(IsOpenHandle(raw));
}

TEST(KernelHandleTest, CloseEmptiesAndIsHarmlessTwice) {
  KernelHandle event = OpenEvent();
  void* const raw = event.Get();
  event.Close();
  EXPECT_FALSE(event);
  EXPECT_FALSE(IsOpenHandle(raw));

  // The next event reuses the value: a second close of the first owner must not reach it.
  const KernelHandle next = OpenEvent();
  event.Close();
  EXPECT_TRUE(IsOpenHandle(next.Get()));
}

TEST(KernelHandleTest, MoveConstructionLeavesOneOwner) {
  KernelHandle source = OpenEvent();
  void* const raw = source.Get();
  {
    const KernelHandle target(std::move(source));
    EXPECT_EQ(target.Get(), raw);
    EXPECT_FALSE(source);  // NOLINT(bugprone-use-after-move): a moved-from owner is empty
    source.Close();
    EXPECT_TRUE(IsOpenHandle(raw));
  }
  EXPECT_FALSE(IsOpenHandle(raw));
}

TEST(KernelHandleTest, MoveAssignmentOverALiveHandleClosesItOnce) {
  const std::size_t before = CountOpenHandles();
  {
    KernelHandle target = OpenEvent();
    KernelHandle source = OpenEvent();
    void* const oldRaw = target.Get();
    void* const newRaw = source.Get();
    ASSERT_EQ(CountOpenHandles(), before + 2);

    target = std::move(source);

    EXPECT_EQ(target.Get(), newRaw);
    EXPECT_FALSE(source);  // NOLINT(bugprone-use-after-move): a moved-from owner is empty
    EXPECT_FALSE(IsOpenHandle(oldRaw)) << "the old handle closes at the assignment";
    EXPECT_TRUE(IsOpenHandle(newRaw));

    // Takes the value just freed: whoever still believed to own it would close this one.
    const KernelHandle bystander = OpenEvent();
    source.Close();
    target.Close();
    EXPECT_TRUE(IsOpenHandle(bystander.Get()));
  }
  EXPECT_EQ(CountOpenHandles(), before);
}

TEST(KernelHandleTest, MoveAssignmentOntoItselfKeepsTheHandle) {
  const std::size_t before = CountOpenHandles();
  {
    KernelHandle event = OpenEvent();
    void* const raw = event.Get();
    KernelHandle& same = event;
    event = std::move(same);
    EXPECT_EQ(event.Get(), raw);
    EXPECT_TRUE(IsOpenHandle(raw));
  }
  EXPECT_EQ(CountOpenHandles(), before);
}

TEST(KernelHandleTest, AssigningAnEmptyOwnerCloses) {
  KernelHandle event = OpenEvent();
  void* const raw = event.Get();
  event = KernelHandle();
  EXPECT_FALSE(event);
  EXPECT_FALSE(IsOpenHandle(raw));
}

TEST(KernelHandleTest, ClosingKeepsTheLastError) {
  constexpr DWORD kCode = ERROR_DISK_FULL;
  {
    KernelHandle event = OpenEvent();
    ::SetLastError(kCode);
    event.Close();
    EXPECT_EQ(::GetLastError(), kCode);
  }
  {
    // A close that fails sets a code of its own, which must not come through either.
    KernelHandle stale(OpenEvent().Get());
    ::SetLastError(kCode);
    stale.Close();
    EXPECT_EQ(::GetLastError(), kCode);
  }
}

TEST(CreateKernelEventTest, StartsUnsignalled) {
  EXPECT_EQ(Look(OpenEvent(EventReset::kManual)), DWORD{WAIT_TIMEOUT});
  EXPECT_EQ(Look(OpenEvent(EventReset::kAutomatic)), DWORD{WAIT_TIMEOUT});
}

TEST(CreateKernelEventTest, ManualEventStaysSignalledUntilReset) {
  const KernelHandle event = OpenEvent(EventReset::kManual);
  ASSERT_TRUE(::SetEvent(event.Get()));
  EXPECT_EQ(Look(event), DWORD{WAIT_OBJECT_0});
  EXPECT_EQ(Look(event), DWORD{WAIT_OBJECT_0});
  ASSERT_TRUE(::ResetEvent(event.Get()));
  EXPECT_EQ(Look(event), DWORD{WAIT_TIMEOUT});
}

TEST(CreateKernelEventTest, AutomaticEventReleasesOneWait) {
  const KernelHandle event = OpenEvent(EventReset::kAutomatic);
  ASSERT_TRUE(::SetEvent(event.Get()));
  EXPECT_EQ(Look(event), DWORD{WAIT_OBJECT_0});
  EXPECT_EQ(Look(event), DWORD{WAIT_TIMEOUT});
}

}  // namespace
