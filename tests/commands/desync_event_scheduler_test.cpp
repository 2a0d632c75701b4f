// SPDX-License-Identifier: MIT
#include "orvel/commands/desync_event_scheduler.h"

#include <array>

#include "tests/commands/tallied_work.h"

namespace Orvel::Testing {
namespace {

using testing::Each;
using testing::Le;
using testing::SizeIs;

class MDesyncEventSchedulerTest : public testing::Test {
 protected:
  void Schedule(std::function<void()> work) {
    scheduler_->ScheduleDesyncEvent(MakeDesyncEvent(std::move(work)));
  }

  const HangWatchdog watchdog_;
  std::unique_ptr<MDesyncEventScheduler> scheduler_ = std::make_unique<MDesyncEventScheduler>();
};

TEST_F(MDesyncEventSchedulerTest, FlushWaitsForWhatWasScheduledBeforeItAndForNothingElse) {
  const auto flush = [&] { scheduler_->Flush(); };
  Tally ran;
  Gate gate;
  EXPECT_EQ(ErrorOf(flush), "");
  Schedule(Tallied(ran));
  EXPECT_EQ(ErrorOf(flush), "MDesyncEventScheduler.Flush:SchedulerDisabled");
  Schedule([&] {
    EXPECT_EQ(ErrorOf(flush), "MEngineThread.Flush:CannotFlushSelf");
    EXPECT_EQ(ErrorOf([&] { scheduler_->Disable(); }), "MEngineThread.Flush:CannotFlushSelf");
    gate.Hold();
    throw MException(MError(L"MEventTest.Execute:Failed"));
  });
  scheduler_->Enable();
  gate.AwaitWorker();
  EXPECT_EQ(ErrorOf([&] { scheduler_->Enable(); }), "MEngineThread.Start:AlreadyRunning");
  static_cast<void>(TakeFlowLog());
  bool isOver = false;
  std::function<void()> succession = [&] {
    if (!isOver) Schedule(succession);
  };
  Schedule(succession);
  Schedule(Tallied(ran));
  {
    const std::jthread flusher = WaitElsewhere(flush);
    gate.Release();
  }
  EXPECT_EQ(ran.deleted, 2);
  EXPECT_THAT(FlowEventsWith(TakeFlowLog(), {"Dismissed_error", "at OnSchedulerEvent"}),
              testing::ElementsAre("Dismissed_error MEventTest.Execute:Failed"));
  Schedule([&] { isOver = true; });
  scheduler_->Flush();
  scheduler_->Flush();  // the last of the succession, which nobody else would delete
  static_cast<void>(TakeFlowLog());
  std::this_thread::sleep_for(kMustNotHappenFor);
  EXPECT_THAT(FlowEventsWith(TakeFlowLog(), {"at WaitForEvents"}), SizeIs(Le(2U))) << "it sleeps";
  EXPECT_EQ(ErrorUnder({SystemCall::kWaitForMultipleObjects, 0, {0xFFFFFFFF, 6}},
                       [&] { scheduler_.reset(); }),
            "");
}

TEST_F(MDesyncEventSchedulerTest, AnOverrideMayLeaveEventsOrFail) {
  struct Override final : MDesyncEventScheduler {
    explicit Override(const bool& shallFail) : fails(shallFail) {}
    ~Override() override { StopBeforeDestruction(); }
    void OnSchedulerEvent() override {
      if (fails) throw MException(MError(L"Override:Failed"));
    }
    const bool& fails;
  };
  Tally tally;
  bool fails = false;
  scheduler_ = std::make_unique<Override>(fails);
  auto event = MakeDesyncEvent(Tallied(tally));
  const std::unique_ptr<MDesyncEvent> deleter(event.get());
  scheduler_->ScheduleDesyncEvent(std::move(event));
  scheduler_->Enable();
  scheduler_->Flush();
  scheduler_->Disable();
  fails = true;
  scheduler_->Enable();
  EXPECT_EQ(ErrorOf([&] { scheduler_->Flush(); }), "MEngineThread.Flush:ThreadExitedUnexpectedly");
  EXPECT_NE(ErrorOf([&] { scheduler_->Disable(); }), "");
  scheduler_->Enable();
  scheduler_.reset();
  EXPECT_EQ(tally.executed, 0);
  EXPECT_EQ(tally.deleted, 0) << "what is queued is not deleted";
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
  const auto schedule = [&] { Schedule(Tallied(tally)); };
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

TEST_F(MDesyncEventSchedulerTest, DisableWaitsForTheEventThatRunsAndForNoOther) {
  constexpr int kEvents = 200;
  Tally running;
  Gate gate;
  std::atomic<int> ran{0};
  std::atomic<bool> areSlow{true};
  Schedule(Tallied(running, [&] { gate.Hold(); }));
  for (int i = 0; i < kEvents; ++i) {
    Schedule([&] {
      if (areSlow) std::this_thread::sleep_for(std::chrono::milliseconds(5));
      ++ran;
    });
  }
  EXPECT_NE(ErrorOf([&] { scheduler_->Flush(); }), "");  // it must not have a later one run any
  scheduler_->Enable();
  gate.AwaitWorker();
  {
    const std::jthread ending = WaitElsewhere([&] { scheduler_->Disable(); });
    gate.Release();
  }
  EXPECT_TRUE(running.RanOnce());
  EXPECT_LT(ran, kEvents);
  areSlow = false;
  scheduler_->Enable();
  scheduler_->Flush();
  EXPECT_EQ(ran, kEvents);
}

TEST_F(MDesyncEventSchedulerTest, ManyProducersEachKeepTheirOrderAndEveryEventRunsOnce) {
  constexpr int kProducers = 4;
  constexpr int kEach = 25'000;
  Tally tally;
  std::array<int, kProducers> next{};  // the scheduler's thread only
  const auto produce = [&](std::size_t producer) {
    for (int number = 0; number < kEach; ++number) {
      const auto take = [&expected = next[producer], number] {
        if (expected == number) ++expected;
      };
      Schedule(Tallied(tally, take));
    }
  };
  scheduler_->SetQueueGrowthStep(4096);  // they get far ahead of the thread
  scheduler_->Enable();
  // Lives change meanwhile: nothing may be lost or doubled by that.
  RunTogether(kProducers, produce, [&] {
    for (int life = 0; life < 20; ++life) {
      scheduler_->Disable();
      scheduler_->Enable();
    }
  });
  scheduler_->Flush();
  EXPECT_EQ(tally.deleted, kProducers * kEach);
  EXPECT_THAT(next, Each(kEach));
}

}  // namespace
}  // namespace Orvel::Testing
