// SPDX-License-Identifier: MIT
// What an engine must survive when everybody calls it at once. Short by themselves; scripts/stress
// repeats them.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <random>
#include <string>
#include <thread>

#include "tests/support/function_functor.h"
#include "tests/support/handle_count.h"
#include "tests/support/hang_watchdog.h"
#include "tests/threads/scripted_engine.h"
#include "tests/threads/staging.h"

namespace Orvel::Testing {
namespace {

constexpr std::size_t kThreads = 4;

class MEngineThreadRaceTest : public testing::Test {
 protected:
  /// Has threads make `count` calls each, with random numbers below `end`.
  template <class Call>
  void CallTogether(int count, unsigned end, Call call) {
    RunTogether(
        kThreads,
        [&](std::size_t thread) {
          std::minstd_rand random(seed_ + static_cast<unsigned>(thread));
          for (int i = 0; i < count; ++i) call(static_cast<unsigned>(random()) % end);
        },
        [] {});
  }

  const HangWatchdog watchdog_;
  const unsigned seed_ = std::random_device()();
  const testing::ScopedTrace trace_{__FILE__, __LINE__, "seed " + std::to_string(seed_)};
};

TEST_F(MEngineThreadRaceTest, CallsOfFourThreadsGiveEachLifeItsOneStop) {
  std::atomic<int> asked{0};
  int seen = 0;  // the worker's, and of whoever has stopped it
  std::size_t handles = 0;
  for (int life = 0; life < 2; ++life) {
    if (life == 1) handles = CountOpenHandles();
    std::atomic<int> starts{0};
    ScriptedEngine engine;
    engine.onFlush = [&] { seen = asked; };
    const auto call = [&](unsigned choice) {
      switch (choice) {
        case 0:
          engine.Start();
          ++starts;
          break;
        case 1:
          ++asked;
          engine.Flush();
          break;
        case 2:
          engine.Stop();
          break;
        default:
          engine.ForceStop();
      }
    };
    CallTogether(100, 4, [&](unsigned choice) {
      const std::string error = ErrorOf([&] { call(choice); });
      EXPECT_TRUE(error.empty() || error == "MEngineThread.Start:AlreadyRunning" ||
                  error == "MEngineThread.Flush:ThreadExitedUnexpectedly")
          << error;
    });
    engine.Stop();
    EXPECT_EQ(engine.stops, starts);
    EXPECT_GT(starts, 0);
    EXPECT_LE(engine.flushes, asked);
    engine.Start();
    ++asked;
    engine.Flush();
    EXPECT_EQ(seen, asked) << "a flush is not through before it has run";
    engine.Stop();
  }
  EXPECT_EQ(CountOpenHandles(), handles);
}

TEST_F(MEngineThreadRaceTest, EverySignalOfAsManyEventsAsThereMayBeIsServed) {
  constexpr unsigned kEvents = 61;
  constexpr int kSignals = 5000;
  struct Added {
    Detail::KernelHandle event = Detail::CreateKernelEvent(Detail::EventReset::kAutomatic);
    std::atomic<int> sent{0};
    std::atomic<int> served{0};
  };
  std::array<Added, kEvents> added;
  ScriptedEngine engine;
  for (Added& one : added) {
    engine.AddEvent(one.event.Get(), Functor([&one] { one.served = one.sent.load(); }));
  }
  engine.Start();
  CallTogether(kSignals, kEvents, [&](unsigned choice) {
    ++added[choice].sent;
    EXPECT_TRUE(Detail::SetKernelEvent(added[choice].event.Get()));
  });
  int sent = 0;
  for (const Added& one : added) {
    while (one.served != one.sent) std::this_thread::yield();  // the watchdog ends it
    sent += one.served;
  }
  EXPECT_EQ(sent, kSignals * static_cast<int>(kThreads));
  engine.Stop();
}

}  // namespace
}  // namespace Orvel::Testing
