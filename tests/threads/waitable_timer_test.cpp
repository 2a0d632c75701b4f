// SPDX-License-Identifier: MIT
#include "orvel/threads/waitable_timer.h"

#include <chrono>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>

#include "tests/support/time_limits.h"
#include "tests/threads/staging.h"

namespace Orvel::Testing {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using std::chrono::system_clock;

/// By so much the system's timers may be early.
constexpr auto kClockTick = 16ms;

class MWaitableTimerTest : public testing::Test {
 protected:
  [[nodiscard]] bool FiresWithin(std::chrono::milliseconds limit) {
    return Detail::WaitForOne(timer_->GetHandle(), static_cast<std::uint32_t>(limit.count()))
               .status == Detail::WaitStatus::kObject0;
  }
  [[nodiscard]] bool Fires() { return FiresWithin(kHangLimit); }

  const HangWatchdog watchdog_;
  std::unique_ptr<MWaitableTimer> timer_ = std::make_unique<MWaitableTimer>();
};

TEST_F(MWaitableTimerTest, FiresOnceWhenItIsTime) {
  EXPECT_FALSE(FiresWithin(0ms));
  const std::function<void()> set[] = {[&] { timer_->SetOnce(100ms); },
                                       [&] { timer_->SetOnce(0.1s); },
                                       [&] { timer_->SetAt(system_clock::now() + 100ms); }};
  for (const auto& setTimer : set) {
    const auto begin = steady_clock::now();
    setTimer();
    EXPECT_TRUE(Fires());
    EXPECT_GE(steady_clock::now() - begin, 100ms - kClockTick);
    EXPECT_FALSE(FiresWithin(0ms)) << "the wait takes the signal";
  }
  const std::function<void()> past[] = {
      [&] { timer_->SetOnce(0s); }, [&] { timer_->SetOnce(-1h); },
      [&] { timer_->SetOnce(std::chrono::duration<double>(std::nan(""))); },
      [&] { timer_->SetAt(system_clock::now() - 1h); },
      [&] { timer_->SetAt((system_clock::time_point::min)()); }};
  for (const auto& setTimer : past) {
    setTimer();
    EXPECT_TRUE(Fires());
  }
  const std::function<void()> farOff[] = {
      [&] { timer_->SetOnce((std::chrono::hours::max)()); },
      [&] { timer_->SetOnce(std::chrono::duration<double>(1e300)); },
      [&] { timer_->SetAt((system_clock::time_point::max)()); }};
  for (const auto& setTimer : farOff) {
    setTimer();
    EXPECT_FALSE(FiresWithin(10ms));
  }
}

TEST_F(MWaitableTimerTest, RoundsUpAlsoWhereTheUnitIsSmallerThanTheSystems) {
  using Detail::ToTimerTicks;
  EXPECT_EQ(ToTimerTicks(1ns).count(), 1);
  EXPECT_EQ(ToTimerTicks(100ns).count(), 1);
  EXPECT_EQ(ToTimerTicks(101ns).count(), 2);
  EXPECT_EQ(ToTimerTicks((std::chrono::nanoseconds::max)()).count(), 92'233'720'368'547'759);
}

TEST_F(MWaitableTimerTest, KeepsItsSignalAsItsKindSaysAndLosesItWhenItIsSetOrCancelled) {
  timer_ = std::make_unique<MWaitableTimer>(MTimerReset::kManual);
  timer_->SetOnce(0s);
  EXPECT_TRUE(Fires());
  EXPECT_TRUE(FiresWithin(0ms));
  timer_->SetOnce(1h);
  EXPECT_FALSE(FiresWithin(0ms));
  for (const MTimerReset reset : {MTimerReset::kManual, MTimerReset::kAutomatic}) {
    timer_ = std::make_unique<MWaitableTimer>(reset);
    timer_->SetPeriodic(0s, 1ms);
    EXPECT_TRUE(Fires());
    std::this_thread::sleep_for(20ms);  // signalled again
    timer_->Cancel();
    EXPECT_FALSE(FiresWithin(kMustNotHappenFor));
  }
}

TEST_F(MWaitableTimerTest, RunsAHandlerUntilThatCancelsIt) {
  int calls = 0;
  Latch fifth(5);
  ScriptedEngine engine;
  engine.AddEvent(timer_->GetHandle(), MakeCallback([&] {
                    if (++calls == 5) timer_->Cancel();
                    fifth.CountDown();
                  }));
  engine.Start();
  timer_->SetPeriodic(1ms);
  fifth.Wait();
  std::this_thread::sleep_for(kMustNotHappenFor);
  engine.Stop();
  EXPECT_EQ(calls, 5);
}

TEST_F(MWaitableTimerTest, RefusesPeriodsThatTheSystemHasNotAndSaysWhatTheSystemRefuses) {
  const std::string badPeriod = "MWaitableTimer.SetPeriodic:BadPeriod [periodMs=";
  EXPECT_EQ(ErrorOf([&] { timer_->SetPeriodic(0ms); }), badPeriod + "0]");
  EXPECT_EQ(ErrorOf([&] { timer_->SetPeriodic(0ms, -1s); }), badPeriod + "0]");
  EXPECT_EQ(ErrorOf([&] { timer_->SetPeriodic(2'147'483'648ms); }), badPeriod + "2147483648]");
  EXPECT_EQ(ErrorOf([&] { timer_->SetPeriodic(2'147'483'647ms); }), "");
  EXPECT_EQ(ErrorOf([&] { timer_->SetPeriodic(1us); }), "") << "rounded up";
  timer_->SetOnce(1h);

  const SystemAnswer refusal = {0, 1450};
  const std::string error = ":ErrorAccessingTimer [winErrorCode=1450]";
  EXPECT_EQ(ErrorUnder({SystemCall::kCreateTimer, 0, refusal}, [] { MWaitableTimer refused; }),
            "MWaitableTimer.MWaitableTimer" + error);
  EXPECT_EQ(ErrorUnder({SystemCall::kSetTimer, 0, refusal}, [&] { timer_->SetOnce(0s); }),
            "MWaitableTimer.SetOnce" + error);
  EXPECT_FALSE(FiresWithin(0ms)) << "what it was set to stays";
}

}  // namespace
}  // namespace Orvel::Testing
