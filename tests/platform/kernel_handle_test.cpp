// SPDX-License-Identifier: MIT
#include "orvel/platform/kernel_handle.h"

#include <gtest/gtest.h>

#include <utility>

#include "orvel/platform/system_message.h"
#include "orvel/platform/windows_api.h"
#include "tests/support/handle_count.h"

namespace {

using Orvel::Detail::CreateKernelEvent;
using Orvel::Detail::EventReset;
using Orvel::Detail::KernelHandle;
using Orvel::Testing::CountOpenHandles;
using Orvel::Testing::IsOpenHandle;

KernelHandle OpenEvent() { return CreateKernelEvent(EventReset::kManual); }

TEST(KernelHandleTest, HasOneOwnerThatClosesItOnce) {
  const std::size_t before = CountOpenHandles();
  {
    KernelHandle source = OpenEvent();
    KernelHandle target = OpenEvent();
    EXPECT_EQ(CountOpenHandles(), before + 2) << "what leak tests rest on";
    void* const oldRaw = target.Get();
    void* const raw = source.Get();
    target = std::move(source);
    EXPECT_FALSE(source);  // NOLINT(bugprone-use-after-move): a moved-from owner is empty
    EXPECT_EQ(target.Get(), raw);
    EXPECT_FALSE(IsOpenHandle(oldRaw)) << "the old handle closes at the assignment";

    KernelHandle& same = target;
    target = std::move(same);
    EXPECT_EQ(target.Get(), raw) << "moved onto itself";

    KernelHandle last(std::move(target));
    EXPECT_TRUE(IsOpenHandle(raw));
    last = KernelHandle();
    EXPECT_FALSE(IsOpenHandle(raw)) << "an empty owner takes its place";
    // Reuses the value: a second close of the first owner must not reach it.
    const KernelHandle bystander = OpenEvent();
    last.Close();
    EXPECT_TRUE(IsOpenHandle(bystander.Get()));
  }
  EXPECT_EQ(CountOpenHandles(), before);
}

// Also a close that fails and sets a code of its own.
TEST(KernelHandleTest, ClosingAndAskingForAMessageKeepTheLastError) {
  KernelHandle event = OpenEvent();
  KernelHandle stale(OpenEvent().Get());
  ::SetLastError(ERROR_DISK_FULL);
  event.Close();
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_DISK_FULL});
  stale.Close();
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_DISK_FULL});
  EXPECT_EQ(Orvel::Detail::FindSystemMessage(0xFFF0), L"");
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_DISK_FULL});
}

TEST(UniqueHandleTest, ClosesEachKindAndKnowsWhichValueIsNone) {
  wchar_t path[MAX_PATH] = {};
  ASSERT_NE(::GetModuleFileNameW(nullptr, path, MAX_PATH), DWORD{0});
  const auto open = [&] {
    return ::CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  };
  MFileHandle file;
  EXPECT_FALSE(file);
  EXPECT_EQ(file.Get(), INVALID_HANDLE_VALUE);
  file.Reset(open());
  void* const first = file.Get();
  file.Reset(open());
  EXPECT_TRUE(IsOpenHandle(file.Get()));
  EXPECT_FALSE(IsOpenHandle(first)) << "replaced";
  const MFileHandle released(file.Release());
  EXPECT_FALSE(file);

  WIN32_FIND_DATAW found;
  MFindHandle find(::FindFirstFileW(path, &found));
  EXPECT_TRUE(find);
  HKEY key = nullptr;
  ASSERT_EQ(::RegOpenKeyExW(HKEY_CURRENT_USER, L"Software", 0, KEY_READ, &key), ERROR_SUCCESS);
  MRegistryKeyHandle owner(key);
  find.Close();
  owner.Close();
  EXPECT_FALSE(find);
  EXPECT_NE(::RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr, nullptr, nullptr),
            ERROR_SUCCESS);
}

}  // namespace
