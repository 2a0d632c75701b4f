// SPDX-License-Identifier: MIT
#include "orvel/commands/desync_event_scheduler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "orvel/foundation/exception.h"
#include "tests/commands/tallied_work.h"
#include "tests/support/time_limits.h"

namespace Orvel::Testing {
namespace {

using testing::Each;
using testing::ElementsAre;

class MDesyncEventSchedulerTest : public testing::Test {
 protected:
  void Schedule(std::function<void()> work) {
    scheduler_->ScheduleDesyncEvent(MakeDesyncEvent(std::move(work)));
  }

  const HangWatchdog watchdog_;
  std::unique_ptr<MDesyncEventScheduler> scheduler_ = std::make_unique<MDesyncEventScheduler>();
};

TEST_F(MDesyncEventSchedulerTest, EventsRunInOrderOnOneOtherThreadWhileItIsEnabled) {
  for (int life = 0; life < 2; ++life) {
    Tally tally;
    std::vector<int> order;
    std::set<std::thread::id> threads;
    const auto note = [&](int number) {
      order.push_back(number);
      threads.insert(std::this_thread::get_id());
    };
    Schedule([&] {
      note(1);
      Schedule([&] { note(3); });
    });
    scheduler_->ScheduleDesyncEvent(MakeDesyncEvent(Tallied(tally, [&] { note(2); })));
    EXPECT_THAT(order, testing::IsEmpty());
    scheduler_->Enable();
    while (tally.deleted == 0) std::this_thread::yield();
    scheduler_->Flush();
    scheduler_->Disable();
    scheduler_->Disable();
    EXPECT_THAT(order, ElementsAre(1, 2, 3));
    EXPECT_THAT(threads, ElementsAre(testing::Ne(std::this_thread::get_id())));
    EXPECT_TRUE(tally.RanOnce());
  }
}

TEST_F(MDesyncEventSchedulerTest, ErrorsAndDisableInsideAnEventLeaveItEnabled) {
  const auto fail = [] { throw MException(MError(L"MEventTest.Execute:Failed")); };
  static_cast<void>(TakeFlowLog());
  Schedule(fail);
  Schedule(fail);
  std::string error;
  Schedule([&] { error = ErrorOf([&] { scheduler_->Disable(); }); });
  scheduler_->Enable();
  scheduler_->Flush();
  EXPECT_EQ(error, "MEngineThread.Flush:CannotFlushSelf");
  EXPECT_EQ(ErrorOf([&] { scheduler_->Enable(); }), "MEngineThread.Start:AlreadyRunning");
  scheduler_->Flush();
  EXPECT_THAT(FlowEventsWith(TakeFlowLog(), {"Dismissed_error", "at OnSchedulerEvent"}),
              ElementsAre("Dismissed_error MEventTest.Execute:Failed",
                          "Dismissed_error MEventTest.Execute:Failed"));
}

TEST_F(MDesyncEventSchedulerTest, FlushWaitsForWhatWasScheduledBeforeItAndForNothingElse) {
  const auto flush = [&] { scheduler_->Flush(); };
  Tally ran;
  Gate gate;
  EXPECT_EQ(ErrorOf(flush), "");
  scheduler_->ScheduleDesyncEvent(MakeDesyncEvent(Tallied(ran)));
  EXPECT_EQ(ErrorOf(flush), "MDesyncEventScheduler.Flush:SchedulerDisabled");
  Schedule([&] {
    EXPECT_EQ(ErrorOf(flush), "MEngineThread.Flush:CannotFlushSelf");
    gate.Hold();
  });
  scheduler_->Enable();
  gate.AwaitWorker();
  bool isOver = false;
  std::function<void()> succession = [&] {
    if (!isOver) Schedule(succession);
  };
  Schedule(succession);
  scheduler_->ScheduleDesyncEvent(MakeDesyncEvent(Tallied(ran)));
  {
    const std::jthread flusher = WaitElsewhere(flush);
    gate.Release();
  }
  EXPECT_EQ(ran.deleted, 2);
  Schedule([&] { isOver = true; });
  scheduler_->Flush();
  scheduler_->Flush();  // the last of the succession, which nobody else would delete
}

/// Does as it is told instead of just running the events.
class ScriptedScheduler final : public MDesyncEventScheduler {
 public:
  ~ScriptedScheduler() override { StopBeforeDestruction(); }
  void OnSchedulerEvent() override {
    ++wakeUps_;
    if (script != nullptr) return script();
    MDesyncEventScheduler::OnSchedulerEvent();
  }

  std::function<void()> script;

 private:
  int wakeUps_ = 0;
};

TEST_F(MDesyncEventSchedulerTest, AnOverrideMayLeaveEventsFailAndBeDestroyedAtWork) {
  auto scripted = std::make_unique<ScriptedScheduler>();
  ScriptedScheduler& scheduler = *scripted;
  scheduler_ = std::move(scripted);
  Tally tally;
  scheduler.ScheduleDesyncEvent(MakeDesyncEvent(Tallied(tally)));
  scheduler.script = [] {};
  scheduler.Enable();
  scheduler.Flush();
  scheduler.Disable();
  scheduler.script = [] { throw MException(MError(L"Override:Failed")); };
  scheduler.Enable();
  EXPECT_EQ(ErrorOf([&] { scheduler.Flush(); }), "MEngineThread.Flush:ThreadExitedUnexpectedly");
  EXPECT_NE(ErrorOf([&] { scheduler.Disable(); }), "");
  EXPECT_EQ(tally.executed, 0);

  scheduler.script = nullptr;
  Gate gate;
  Schedule([&] { gate.Hold(); });
  scheduler.Enable();
  gate.AwaitWorker();
  EXPECT_TRUE(tally.RanOnce());
  const std::jthread releaser([&] { gate.Release(); });
  scheduler_.reset();
}

TEST_F(MDesyncEventSchedulerTest, DisableAndDestructionStopAlsoWhenTheirFlushFailed) {
  const SystemAnswer failure = {0xFFFFFFFF, 6};
  const auto waitForAny = SystemCall::kWaitForMultipleObjects;
  scheduler_->Enable();
  EXPECT_EQ(ErrorUnder({waitForAny, 0, failure}, [&] { scheduler_->Disable(); }),
            "MEngineThread.Flush:WaitFailed [winErrorCode=6]");
  scheduler_->Enable();
  static_cast<void>(TakeFlowLog());
  EXPECT_EQ(ErrorUnder({waitForAny, 0, failure}, [&] { scheduler_.reset(); }), "");
  EXPECT_THAT(FlowEventsWith(TakeFlowLog(), {"Dismissed_error MEngineThread.Flush:WaitFailed",
                                             "at ~MDesyncEventScheduler"}),
              testing::SizeIs(1));
}

TEST_F(MDesyncEventSchedulerTest, KeepsItsPromisesWhenTheSystemRefusesAndRefusesNoEvent) {
  EXPECT_EQ(ErrorOf([&] { scheduler_->ScheduleDesyncEvent(nullptr); }),
            "MDesyncEventScheduler.ScheduleDesyncEvent:NoEvent");
  const std::string setStep = "MDesyncEventScheduler.SetQueueGrowthStep:";
  EXPECT_EQ(ErrorOf([&] { scheduler_->SetQueueGrowthStep(0); }), setStep + "BadGrowthStep");
  scheduler_->Enable();
  EXPECT_EQ(ErrorOf([&] { scheduler_->SetQueueGrowthStep(2); }), setStep + "ThreadRunning");
  scheduler_->Disable();

  Tally tally;
  const auto schedule = [&] { scheduler_->ScheduleDesyncEvent(MakeDesyncEvent(Tallied(tally))); };
  EXPECT_EQ(ErrorUnder({SystemCall::kSetEvent, 0, {0, 6}}, schedule),
            "MThreadSafeFifo.Push:ErrorAccessingEvent [winErrorCode=6]");
  EXPECT_TRUE(tally.DeletedUnexecuted());

  schedule();
  const auto wakeUp = [&] { scheduler_->OnSchedulerEvent(); };
  EXPECT_EQ(ErrorUnder({SystemCall::kResetEvent, 0, {0, 6}}, wakeUp), "");
  EXPECT_EQ(tally.executed, 1);
  // Else the thread would wake for ever, for an empty queue.
  EXPECT_EQ(ErrorUnder({SystemCall::kResetEvent, [] {}}, wakeUp), "");
  EXPECT_EQ(tally.deleted, 2);
}

// Each event of a succession schedules the next, so that there is always one in the queue.
TEST_F(MDesyncEventSchedulerTest, DestructionDisablesAndNeitherOfThemWaitsForWhatEventsSchedule) {
  ExpectNoHandleIsLeft(2, [&] {
    scheduler_ = std::make_unique<MDesyncEventScheduler>();
    Tally succession;
    MDesyncEvent* last = nullptr;  // the scheduler's thread, while there is one
    std::function<void()> scheduleNext = [&, &scheduler = *scheduler_] {
      auto next = MakeDesyncEvent(Tallied(succession, scheduleNext));
      last = next.get();
      scheduler.ScheduleDesyncEvent(std::move(next));
    };
    scheduleNext();
    scheduler_->Enable();
    while (succession.executed < 3) std::this_thread::yield();
    scheduler_->Disable();
    const int executed = succession.executed;
    std::this_thread::sleep_for(kMustNotHappenFor);
    EXPECT_EQ(succession.executed, executed) << "what is left waits for the next Enable";

    Tally running;
    Latch runs(1);
    scheduler_->ScheduleDesyncEvent(MakeDesyncEvent(Tallied(running, [&] {
      runs.CountDown();
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    })));
    scheduler_->Enable();
    runs.Wait();
    scheduler_.reset();
    EXPECT_TRUE(running.RanOnce()) << "the destructor waits for the event that runs";
    EXPECT_GT(succession.executed, executed);
    ASSERT_EQ(succession.deleted, succession.executed) << "what is queued is not deleted";
    delete last;
    EXPECT_EQ(succession.deleted, succession.executed + 1);
  });
}

TEST_F(MDesyncEventSchedulerTest, ManyProducersEachKeepTheirOrderAndEveryEventRunsOnce) {
  constexpr int kProducers = 4;
  constexpr int kEach = 25'000;
  Tally tally;
  std::array<int, kProducers> next{};  // the scheduler's thread only
  const unsigned seed = std::random_device()();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  const auto produce = [&](std::size_t producer) {
    for (int number = 0; number < kEach; ++number) {
      const auto take = [&expected = next[producer], number] {
        if (expected == number) ++expected;
      };
      scheduler_->ScheduleDesyncEvent(MakeDesyncEvent(Tallied(tally, take)));
    }
  };
  scheduler_->SetQueueGrowthStep(4096);  // they get far ahead of the thread
  scheduler_->Enable();
  // Lives change meanwhile: nothing may be lost or doubled by that.
  RunTogether(kProducers, produce, [&] {
    std::minstd_rand random(seed);
    const auto pause = [&] {
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 5000));
    };
    for (int life = 0; life < 20; ++life) {
      pause();
      scheduler_->Disable();
      pause();
      scheduler_->Enable();
    }
  });
  scheduler_->Flush();
  EXPECT_EQ(tally.executed, kProducers * kEach);
  EXPECT_EQ(tally.deleted, kProducers * kEach);
  EXPECT_THAT(next, Each(kEach));
}

}  // namespace
}  // namespace Orvel::Testing
