// SPDX-License-Identifier: MIT
#include "orvel/commands/desync_event_scheduler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "orvel/foundation/exception.h"
#include "tests/commands/tallied_command.h"
#include "tests/support/flow_log.h"
#include "tests/support/handle_count.h"
#include "tests/support/hang_watchdog.h"
#include "tests/support/meeting.h"
#include "tests/support/raised_error.h"
#include "tests/support/system_call_hook.h"
#include "tests/support/time_limits.h"

namespace {

using Orvel::Testing::ErrorOf;
using Orvel::Testing::FlowEventsWith;
using Orvel::Testing::HangWatchdog;
using Orvel::Testing::Latch;
using Orvel::Testing::StartLine;
using Orvel::Testing::SystemCall;
using Orvel::Testing::SystemCallHook;
using Orvel::Testing::TakeFlowLog;
using Orvel::Testing::TalliedWork;
using Orvel::Testing::Tally;
using testing::ElementsAre;

class TalliedEvent final : public TalliedWork<MDesyncEvent> {
 public:
  explicit TalliedEvent(Tally& tally, std::function<void()> work = nullptr)
      : TalliedWork(tally, std::move(work)) {}
  void Execute() override { Work(); }
};

class MDesyncEventSchedulerTest : public testing::Test {
 protected:
  void Schedule(std::function<void()> work) {
    scheduler_.ScheduleDesyncEvent(MakeDesyncEvent(std::move(work)));
  }
  /// Waits until everything scheduled before has run.
  void RunAll() {
    Latch reached(1);
    Schedule([&] { reached.CountDown(); });
    reached.Wait();
  }

  const HangWatchdog watchdog_;
  MDesyncEventScheduler scheduler_;
};

TEST_F(MDesyncEventSchedulerTest, WhatIsScheduledWhileDisabledRunsInOrderOnceEnabled) {
  std::array<Tally, 20> tallies;
  std::vector<std::size_t> order;
  for (int life = 0; life < 2; ++life) {
    for (std::size_t half = 0; half < 10; ++half) {
      const std::size_t index = static_cast<std::size_t>(life) * 10 + half;
      scheduler_.ScheduleDesyncEvent(
          std::make_unique<TalliedEvent>(tallies[index], [&, index] { order.push_back(index); }));
    }
    EXPECT_EQ(order.size(), static_cast<std::size_t>(life) * 10);
    scheduler_.Enable();
    RunAll();
    scheduler_.Disable();
    scheduler_.Disable();
  }
  std::vector<std::size_t> ascending(tallies.size());
  for (std::size_t index = 0; index < ascending.size(); ++index) ascending[index] = index;
  EXPECT_EQ(order, ascending);
  for (const Tally& tally : tallies) EXPECT_TRUE(tally.RanOnce());
}

TEST_F(MDesyncEventSchedulerTest, EnablingTwiceIsRefused) {
  scheduler_.Enable();
  EXPECT_EQ(ErrorOf([&] { scheduler_.Enable(); }), "MEngineThread.Start:AlreadyRunning");
  RunAll();
}

TEST_F(MDesyncEventSchedulerTest, EventsMayScheduleMoreAndRunOnOneThreadOnly) {
  std::vector<int> order;
  std::vector<std::thread::id> threads;
  Latch done(1);
  const auto note = [&](int number) {
    order.push_back(number);
    threads.push_back(std::this_thread::get_id());
  };
  Schedule([&] {
    note(1);
    Schedule([&] {
      note(3);
      done.CountDown();
    });
  });
  Schedule([&] { note(2); });
  scheduler_.Enable();
  done.Wait();
  scheduler_.Disable();
  EXPECT_THAT(order, ElementsAre(1, 2, 3));
  EXPECT_THAT(threads, testing::Each(threads.front()));
  EXPECT_NE(threads.front(), std::this_thread::get_id());
}

TEST_F(MDesyncEventSchedulerTest, ErrorsOfEventsAreRecordedAndTheRestRuns) {
  std::array<Tally, 3> tallies;
  const auto fail = [] { throw MException(MError(L"MEventTest.Execute:Failed")); };
  static_cast<void>(TakeFlowLog());
  scheduler_.ScheduleDesyncEvent(std::make_unique<TalliedEvent>(tallies[0], fail));
  scheduler_.ScheduleDesyncEvent(std::make_unique<TalliedEvent>(tallies[1], fail));
  scheduler_.ScheduleDesyncEvent(std::make_unique<TalliedEvent>(tallies[2]));
  scheduler_.Enable();
  RunAll();
  for (const Tally& tally : tallies) EXPECT_TRUE(tally.RanOnce());
  EXPECT_EQ(ErrorOf([&] { scheduler_.Disable(); }), "") << "the worker is alive";
  EXPECT_THAT(FlowEventsWith(TakeFlowLog(), {"Dismissed_error", "at OnSchedulerEvent"}),
              ElementsAre("Dismissed_error MEventTest.Execute:Failed",
                          "Dismissed_error MEventTest.Execute:Failed"));
}

TEST_F(MDesyncEventSchedulerTest, AnEventThatSchedulesItselfDoesNotKeepDisableWaiting) {
  std::atomic<int> runs = 0;
  std::atomic<bool> ends = false;
  std::function<void()> again = [&] {
    ++runs;
    if (!ends) Schedule(again);
  };
  Schedule(again);
  for (int life = 0; life < 3; ++life) {
    const int before = runs;
    scheduler_.Enable();
    while (runs < before + 3) std::this_thread::yield();
    scheduler_.Disable();
    const int after = runs;
    std::this_thread::sleep_for(Orvel::Testing::kMustNotHappenFor);
    EXPECT_EQ(runs, after) << "what is left waits for the next Enable";
  }
  ends = true;
  scheduler_.Enable();
  RunAll();
}

TEST_F(MDesyncEventSchedulerTest, DisableInsideAnEventIsRefusedAndChangesNothing) {
  std::string error;
  Schedule([&] { error = ErrorOf([&] { scheduler_.Disable(); }); });
  scheduler_.Enable();
  RunAll();
  EXPECT_EQ(error, "MEngineThread.Flush:CannotFlushSelf");
  EXPECT_EQ(ErrorOf([&] { scheduler_.Enable(); }), "MEngineThread.Start:AlreadyRunning");
  scheduler_.Disable();
  scheduler_.Enable();
  RunAll();
}

TEST_F(MDesyncEventSchedulerTest, DisableStopsAlsoWhenItsFlushFailed) {
  scheduler_.Enable();
  RunAll();
  {
    const SystemCallHook hook(SystemCall::kWaitForMultipleObjects, 0, {0xFFFFFFFF, 6});
    EXPECT_EQ(ErrorOf([&] { scheduler_.Disable(); }),
              "MEngineThread.Flush:WaitFailed [winErrorCode=6]");
  }
  EXPECT_EQ(ErrorOf([&] { scheduler_.Enable(); }), "");
  RunAll();
}

TEST_F(MDesyncEventSchedulerTest, AnEventThatIsRefusedIsDeletedUnexecuted) {
  EXPECT_EQ(ErrorOf([&] { scheduler_.ScheduleDesyncEvent(nullptr); }),
            "MDesyncEventScheduler.ScheduleDesyncEvent:NoEvent");
  Tally tally;
  {
    const SystemCallHook hook(SystemCall::kSetEvent, 0, {0, 6});
    EXPECT_EQ(
        ErrorOf([&] { scheduler_.ScheduleDesyncEvent(std::make_unique<TalliedEvent>(tally)); }),
        "MThreadSafeFifo.Push:ErrorAccessingEvent [winErrorCode=6]");
  }
  EXPECT_TRUE(tally.DeletedUnexecuted());
  scheduler_.Enable();
  RunAll();
  EXPECT_EQ(tally.deleted, 1);
}

TEST_F(MDesyncEventSchedulerTest, AQueueEventThatCouldNotBeResetIsResetAtTheNextWakeUp) {
  Tally tally;
  scheduler_.ScheduleDesyncEvent(std::make_unique<TalliedEvent>(tally));
  {
    const SystemCallHook refusal(SystemCall::kResetEvent, 0, {0, 6});
    scheduler_.OnSchedulerEvent();
    EXPECT_TRUE(refusal.WasReached());
  }
  EXPECT_TRUE(tally.RanOnce());
  // Else the thread would wake for ever, for an empty queue.
  const SystemCallHook reset(SystemCall::kResetEvent, [] {});
  scheduler_.OnSchedulerEvent();
  EXPECT_TRUE(reset.WasReached());
}

/// Schedules a successor while it runs, so that there is always one in the queue.
struct Successive final : MDesyncEvent {
  Successive(MDesyncEventScheduler& scheduler, std::vector<MDesyncEvent*>& alive)
      : scheduler_(scheduler), alive_(alive) {
    alive_.push_back(this);
  }
  ~Successive() override { std::erase(alive_, this); }
  void Execute() override {
    scheduler_.ScheduleDesyncEvent(std::make_unique<Successive>(scheduler_, alive_));
  }
  MDesyncEventScheduler& scheduler_;
  std::vector<MDesyncEvent*>& alive_;  // touched by one thread at a time
};

TEST(MDesyncEventSchedulerLifeTest, DestructionDisablesAndDropsWhatIsQueued) {
  const HangWatchdog watchdog;
  std::vector<MDesyncEvent*> alive;
  Tally tally;
  {
    MDesyncEventScheduler scheduler;
    Latch running(1);
    scheduler.ScheduleDesyncEvent(std::make_unique<Successive>(scheduler, alive));
    scheduler.ScheduleDesyncEvent(std::make_unique<TalliedEvent>(tally, [&] {
      running.CountDown();
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }));
    scheduler.Enable();
    running.Wait();
  }
  EXPECT_TRUE(tally.RanOnce()) << "the destructor waits for the event that runs";
  ASSERT_EQ(alive.size(), 1u) << "what is queued is neither run nor deleted";
  delete alive.front();
}

TEST(MDesyncEventSchedulerLifeTest, DestructionRecordsWhatDisablingRaised) {
  const HangWatchdog watchdog;
  static_cast<void>(TakeFlowLog());
  {
    auto scheduler = std::make_unique<MDesyncEventScheduler>();
    scheduler->Enable();
    const SystemCallHook hook(SystemCall::kWaitForMultipleObjects, 0, {0xFFFFFFFF, 6});
    scheduler.reset();
  }
  EXPECT_EQ(FlowEventsWith(TakeFlowLog(), {"Dismissed_error MEngineThread.Flush:WaitFailed",
                                           "at ~MDesyncEventScheduler"})
                .size(),
            1u);
}

TEST(MDesyncEventSchedulerLifeTest, LivesLeaveNoHandlesBehind) {
  const HangWatchdog watchdog;
  const auto live = [] {
    MDesyncEventScheduler scheduler;
    Latch ran(1);
    scheduler.Enable();
    scheduler.ScheduleDesyncEvent(MakeDesyncEvent([&ran] { ran.CountDown(); }));
    ran.Wait();
    scheduler.Disable();
    scheduler.Enable();
  };
  live();
  const std::size_t handles = Orvel::Testing::CountOpenHandles();
  for (int round = 0; round < 5; ++round) live();
  EXPECT_EQ(Orvel::Testing::CountOpenHandles(), handles);
}

TEST_F(MDesyncEventSchedulerTest, ManyProducersEachKeepTheirOrderAndEveryEventRunsOnce) {
  constexpr std::size_t kProducers = 4;
  constexpr std::size_t kEach = 25'000;
  struct Stamp final : MDesyncEvent {
    Stamp(std::array<std::size_t, kProducers>& next, std::atomic<std::size_t>& deleted,
          std::size_t producer, std::size_t number)
        : next_(next), deleted_(deleted), producer_(producer), number_(number) {}
    ~Stamp() override { ++deleted_; }
    void Execute() override {
      if (next_[producer_] == number_) ++next_[producer_];
    }
    std::array<std::size_t, kProducers>& next_;
    std::atomic<std::size_t>& deleted_;
    const std::size_t producer_;
    const std::size_t number_;
  };
  std::array<std::size_t, kProducers> next{};  // the scheduler's thread only
  std::atomic<std::size_t> deleted = 0;
  const unsigned seed = std::random_device()();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  StartLine start(kProducers);
  scheduler_.Enable();
  {
    std::vector<std::jthread> producers;
    for (std::size_t producer = 0; producer < kProducers; ++producer) {
      producers.emplace_back([&, producer] {
        start.Await();
        for (std::size_t number = 0; number < kEach; ++number) {
          scheduler_.ScheduleDesyncEvent(std::make_unique<Stamp>(next, deleted, producer, number));
        }
      });
    }
    // Lives change meanwhile: nothing may be lost or doubled by that.
    std::minstd_rand random(seed);
    const auto pause = [&] {
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 5000));
    };
    for (int life = 0; life < 20; ++life) {
      pause();
      scheduler_.Disable();
      pause();
      scheduler_.Enable();
    }
  }
  RunAll();
  EXPECT_EQ(deleted, kProducers * kEach);
  EXPECT_THAT(next, testing::Each(kEach));
}

}  // namespace
