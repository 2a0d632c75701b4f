// SPDX-License-Identifier: MIT
#include "tests/support/handle_count.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "orvel/platform/kernel_handle.h"

namespace {

using Orvel::Detail::CreateKernelEvent;
using Orvel::Detail::EventReset;
using Orvel::Detail::KernelHandle;
using Orvel::Testing::CountOpenHandles;

// Leak tests rest on this count, so that it must see every handle, not only some.
TEST(CountOpenHandlesTest, SeesEachHandleOpenedAndClosed) {
  constexpr std::size_t kHandles = 300;
  const std::size_t before = CountOpenHandles();
  EXPECT_GT(before, 0u);

  std::vector<KernelHandle> events;
  for (std::size_t i = 0; i < kHandles; ++i) {
    events.push_back(CreateKernelEvent(EventReset::kManual));
    ASSERT_TRUE(events.back());
  }
  EXPECT_EQ(CountOpenHandles(), before + kHandles);

  events.pop_back();
  EXPECT_EQ(CountOpenHandles(), before + kHandles - 1);
  events.clear();
  EXPECT_EQ(CountOpenHandles(), before);
}

}  // namespace
