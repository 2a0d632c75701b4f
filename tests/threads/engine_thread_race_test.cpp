// SPDX-License-Identifier: MIT
// What an engine must survive when everybody calls it at once. Short by themselves; scripts/stress
// repeats them.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/function_functor.h"
#include "tests/support/handle_count.h"
#include "tests/support/hang_watchdog.h"
#include "tests/support/meeting.h"
#include "tests/support/raised_error.h"
#include "tests/threads/scripted_engine.h"

namespace {

using Orvel::Detail::CreateKernelEvent;
using Orvel::Detail::EventReset;
using Orvel::Detail::KernelHandle;
using Orvel::Detail::SetKernelEvent;
using Orvel::Testing::CountOpenHandles;
using Orvel::Testing::ErrorOf;
using Orvel::Testing::ScriptedEngine;
using Orvel::Testing::StartLine;

constexpr std::size_t kThreads = 4;

TEST(MEngineThreadRaceTest, CallsOfFourThreadsGiveEachLifeItsOneStop) {
  const Orvel::Testing::HangWatchdog watchdog;
  const unsigned seed = std::random_device()();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::atomic<int> starts{0};
  std::atomic<int> asked{0};
  int seen = 0;  // the worker's, and of whoever has stopped it
  std::size_t handles = 0;
  for (int life = 0; life < 2; ++life) {
    ScriptedEngine engine;
    engine.onFlush = [&] { seen = asked; };
    starts = 0;
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
    StartLine start(kThreads);
    std::vector<std::jthread> callers;
    for (unsigned thread = 0; thread < kThreads; ++thread) {
      callers.emplace_back([&, thread] {
        std::minstd_rand random(seed + thread);
        start.Await();
        for (int round = 0; round < 100; ++round) {
          const std::string error = ErrorOf([&] { call(static_cast<unsigned>(random()) % 4); });
          EXPECT_TRUE(error.empty() || error == "MEngineThread.Start:AlreadyRunning" ||
                      error == "MEngineThread.Flush:ThreadExitedUnexpectedly")
              << error;
        }
      });
    }
    callers.clear();
    engine.Stop();
    EXPECT_EQ(engine.stops, starts);
    EXPECT_GT(starts, 0);
    EXPECT_LE(engine.flushes, asked);
    engine.Start();
    ++asked;
    engine.Flush();
    EXPECT_EQ(seen, asked) << "a flush is not through before it has run";
    engine.Stop();
    if (life == 0) {
      handles = CountOpenHandles();
    } else {
      EXPECT_EQ(CountOpenHandles(), handles);
    }
  }
}

TEST(MEngineThreadRaceTest, EverySignalOfAsManyEventsAsThereMayBeIsServed) {
  const Orvel::Testing::HangWatchdog watchdog;
  const unsigned seed = std::random_device()();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  constexpr std::size_t kEvents = 61;
  constexpr int kSignals = 5000;
  struct Added {
    KernelHandle event = CreateKernelEvent(EventReset::kAutomatic);
    std::atomic<int> sent{0};
    std::atomic<int> served{0};
  };
  std::array<Added, kEvents> added;
  ScriptedEngine engine;
  for (Added& one : added) {
    engine.AddEvent(one.event.Get(),
                    Orvel::Testing::Functor([&one] { one.served = one.sent.load(); }));
  }
  engine.Start();
  {
    StartLine start(kThreads);
    std::vector<std::jthread> senders;
    for (unsigned thread = 0; thread < kThreads; ++thread) {
      senders.emplace_back([&, thread] {
        std::minstd_rand random(seed + thread);
        start.Await();
        for (int signal = 0; signal < kSignals; ++signal) {
          Added& one = added[static_cast<std::size_t>(random()) % kEvents];
          ++one.sent;
          EXPECT_TRUE(SetKernelEvent(one.event.Get()));
        }
      });
    }
  }
  int sent = 0;
  for (const Added& one : added) {
    while (one.served != one.sent) std::this_thread::yield();  // the watchdog ends it
    sent += one.served;
  }
  EXPECT_EQ(sent, kSignals * static_cast<int>(kThreads));
  engine.Stop();
}

}  // namespace
