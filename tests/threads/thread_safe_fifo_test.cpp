// SPDX-License-Identifier: MIT
#include "orvel/threads/thread_safe_fifo.h"

#include <array>
#include <deque>
#include <random>

#include "tests/threads/staging.h"

namespace Orvel::Testing {
namespace {

using Queue = MThreadSafeFifo<const int*>;

// Elements are addresses into this: never looked at, only told apart.
std::array<int, 1500> items;

class MThreadSafeFifoTest : public testing::TestWithParam<std::int32_t> {};

// Every operation against a model, for as long as wrapping, growing and emptying need to meet.
TEST_P(MThreadSafeFifoTest, BehavesLikeAQueueWhoseEventIsSetWhileItHoldsAnything) {
  Queue queue(GetParam());
  std::deque<const int*> model;
  std::minstd_rand random(20240611);
  const auto check = [&] {
    ASSERT_EQ(queue.GetSize(), static_cast<std::int32_t>(model.size()));
    ASSERT_EQ(queue.IsEmpty(), model.empty());
    ASSERT_EQ(queue.WaitNotEmpty(0), !model.empty());
    ASSERT_EQ(Detail::WaitForOne(queue.GetEvent(), 0).status == 0, !model.empty());
    const int* oldest = &items[0];
    ASSERT_EQ(queue.Peek(oldest), !model.empty());
    ASSERT_EQ(oldest, model.empty() ? &items[0] : model.front());
  };
  check();
  for (std::size_t step = 1; step < items.size(); ++step) {
    if (step == items.size() / 2) queue.SetGrowthStep(GetParam() + 2);
    // Phases that mostly push and phases that mostly pop.
    const bool pushes = random() % 8 < (step / 50 % 2 == 0 ? 6u : 2u);
    if (step % 400 == 0) {
      queue.Clear();
      model.clear();
    } else if (pushes) {
      queue.Push(&items[step]);
      model.push_back(&items[step]);
    } else {
      const int* popped = &items[0];
      ASSERT_EQ(queue.Pop(popped), !model.empty());
      ASSERT_EQ(popped, model.empty() ? &items[0] : model.front());
      if (!model.empty()) model.pop_front();
    }
    ASSERT_NO_FATAL_FAILURE(check()) << "after step " << step;
  }
}

INSTANTIATE_TEST_SUITE_P(GrowthSteps, MThreadSafeFifoTest, testing::Values(1, 7));

TEST(MThreadSafeFifoTest, CopiesWhatIsPeekedAndIsEmptyAfterAnElementThatCannotBeMoved) {
  MThreadSafeFifo<std::string, const std::string&> texts;
  std::string text;
  texts.Push("element");
  EXPECT_TRUE(texts.Peek(text));
  EXPECT_TRUE(texts.Pop(text));
  EXPECT_EQ(text, "element");

  struct Immovable {
    Immovable& operator=(const Immovable&) { throw 1; }
  };
  MThreadSafeFifo<Immovable, const Immovable&> queue;
  Immovable item;
  EXPECT_THROW(queue.Push({}), int);
  EXPECT_FALSE(queue.Pop(item));
  EXPECT_TRUE(queue.IsEmpty());
}

TEST(MThreadSafeFifoTest, IsAsItWasWhenItHasNoRoomOrTheSystemRefusesAnEvent) {
  Queue full(0);
  EXPECT_EQ(ErrorOf([&] { full.Push(&items[1]); }), "MThreadSafeFifo.Push:QueueFull");
  EXPECT_EQ(full.GetSize(), 0);
  EXPECT_TRUE(full.IsEmpty());
  EXPECT_EQ(ErrorUnder({SystemCall::kCreateEvent, 0, {0, 1450}}, [] { Queue queue; }),
            "MThreadSafeFifo.MThreadSafeFifo:ErrorAccessingEvent [winErrorCode=1450]");
  Queue queue;
  EXPECT_EQ(ErrorUnder({SystemCall::kSetEvent, 0, {0, 6}}, [&] { queue.Push(&items[2]); }),
            "MThreadSafeFifo.Push:ErrorAccessingEvent [winErrorCode=6]");
  EXPECT_EQ(queue.GetSize(), 0);
  queue.Push(&items[1]);
  {
    const SystemCallHook refusal(SystemCall::kSetEvent, 0, {0, 6});
    queue.Push(&items[2]);
    EXPECT_FALSE(refusal.WasReached()) << "the event of a queue that holds something is set";
  }

  const int* item = nullptr;
  EXPECT_TRUE(queue.Pop(item));
  EXPECT_EQ(ErrorUnder({SystemCall::kResetEvent, 0, {0, 6}}, [&] { queue.Pop(item); }), "");
  EXPECT_EQ(item, &items[2]);
  // The consumer that wakes for nothing puts the event right.
  EXPECT_FALSE(queue.IsEmpty());
  EXPECT_FALSE(queue.Pop(item));
  EXPECT_TRUE(queue.IsEmpty());
}

}  // namespace
}  // namespace Orvel::Testing
