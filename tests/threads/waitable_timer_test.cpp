// SPDX-License-Identifier: MIT
#include "orvel/threads/waitable_timer.h"

#include <cmath>
#include <limits>

#include "tests/threads/staging.h"

namespace Orvel::Testing {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using std::chrono::system_clock;

/// By so much the system's timers may be early.
constexpr auto kClockTick = 16ms;

/// Whether it fires within so many milliseconds; the wait takes its signal.
bool Fires(const MWaitableTimer& timer, std::uint32_t limitMs = Detail::kWaitForever) {
  return Detail::WaitForOne(timer.GetHandle(), limitMs).status == Detail::WaitStatus::kObject0;
}

class MWaitableTimerTest : public testing::Test {
 protected:
  const HangWatchdog watchdog_;
  std::unique_ptr<MWaitableTimer> timer_ = std::make_unique<MWaitableTimer>();
};

TEST_F(MWaitableTimerTest, FiresOnceWhenItIsTime) {
  EXPECT_FALSE(Fires(*timer_, 0));
  const std::function<void()> set[] = {[&] { timer_->SetOnce(100ms); },
                                       [&] { timer_->SetOnce(0.1s); },
                                       [&] { timer_->SetAt(system_clock::now() + 100ms); }};
  for (const auto& setTimer : set) {
    const auto begin = steady_clock::now();
    setTimer();
    EXPECT_TRUE(Fires(*timer_));
    EXPECT_GE(steady_clock::now() - begin, 100ms - kClockTick);
    EXPECT_FALSE(Fires(*timer_, 0)) << "the wait takes the signal";
  }
  const std::pair<std::function<void()>, bool> firesAtOnce[] = {
      {[&] { timer_->SetOnce(0s); }, true},
      {[&] { timer_->SetOnce(-1h); }, true},
      {[&] { timer_->SetOnce(std::chrono::duration<double>(std::nan(""))); }, true},
      {[&] { timer_->SetAt(system_clock::now() - 1h); }, true},
      {[&] { timer_->SetAt((system_clock::time_point::min)()); }, true},
      {[&] { timer_->SetOnce((std::chrono::hours::max)()); }, false},
      {[&] { timer_->SetOnce(std::chrono::duration<double>(1e300)); }, false},
      {[&] { timer_->SetAt((system_clock::time_point::max)()); }, false}};
  for (const auto& [setTimer, fires] : firesAtOnce) {
    setTimer();
    EXPECT_EQ(Fires(*timer_, fires ? Detail::kWaitForever : 10), fires);
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
  EXPECT_TRUE(Fires(*timer_));
  EXPECT_TRUE(Fires(*timer_, 0));
  timer_->SetOnce(1h);
  EXPECT_FALSE(Fires(*timer_, 0));
  for (const MTimerReset reset : {MTimerReset::kManual, MTimerReset::kAutomatic}) {
    timer_ = std::make_unique<MWaitableTimer>(reset);
    timer_->SetPeriodic(1ms);
    EXPECT_TRUE(Fires(*timer_));
    MWaitableTimer later;
    later.SetOnce(10ms);
    EXPECT_TRUE(Fires(later));
    timer_->Cancel();  // it is signalled once more by then
    EXPECT_FALSE(Fires(*timer_, 30));
  }
}

TEST_F(MWaitableTimerTest, RefusesPeriodsThatTheSystemHasNotAndSaysWhatTheSystemRefuses) {
  const std::string badPeriod = "MWaitableTimer.SetPeriodic:BadPeriod [periodMs=";
  EXPECT_EQ(ErrorOf([&] { timer_->SetPeriodic(0ms); }), badPeriod + "0]");
  EXPECT_EQ(ErrorOf([&] { timer_->SetPeriodic(0ms, -1s); }), badPeriod + "0]");
  EXPECT_EQ(ErrorOf([&] { timer_->SetPeriodic(2'147'483'648ms); }), badPeriod + "2147483648]");
  EXPECT_EQ(ErrorOf([&] { timer_->SetPeriodic(2'147'483'647ms); }), "");
  EXPECT_EQ(ErrorOf([&] { timer_->SetPeriodic(1h, 1us); }), "") << "rounded up";
  timer_->SetOnce(1h);

  const SystemAnswer refusal = {0, 1450};
  const std::string error = ":ErrorAccessingTimer [winErrorCode=1450]";
  EXPECT_EQ(ErrorUnder({SystemCall::kCreateTimer, 0, refusal}, [] { MWaitableTimer refused; }),
            "MWaitableTimer.MWaitableTimer" + error);
  EXPECT_EQ(ErrorUnder({SystemCall::kSetTimer, 0, refusal}, [&] { timer_->SetOnce(0s); }),
            "MWaitableTimer.SetOnce" + error);
  EXPECT_FALSE(Fires(*timer_, 0)) << "what it was set to stays";
}

}  // namespace
}  // namespace Orvel::Testing
