// SPDX-License-Identifier: MIT
// Races that a processor must survive: every command is run once or deleted unexecuted, and is
// deleted exactly once, whoever got in first.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/commands/tallied_command.h"
#include "tests/support/hang_watchdog.h"
#include "tests/support/meeting.h"
#include "tests/support/raised_error.h"

namespace {

using Orvel::Testing::ErrorOf;
using Orvel::Testing::HangWatchdog;
using Orvel::Testing::StartLine;
using Orvel::Testing::TalliedCommand;
using Orvel::Testing::TalliedSynchronous;
using Orvel::Testing::Tally;

constexpr std::size_t kProducers = 4;
constexpr std::size_t kEach = 12;
using Tallies = std::array<std::array<Tally, kEach>, kProducers>;

/// From a barrier start, `kProducers` threads queue a command for each tally while `meanwhile`
/// runs. The processor is stopped at the end.
template <class Meanwhile>
void QueueWhile(MCommandProcessor& processor, Tallies& tallies, Meanwhile meanwhile) {
  StartLine start(kProducers + 1);
  std::vector<std::jthread> producers;
  for (auto& own : tallies) {
    producers.emplace_back([&] {
      start.Await();
      for (Tally& tally : own) processor.QueueCommand(std::make_unique<TalliedCommand>(tally));
    });
  }
  start.Await();
  meanwhile();
  producers.clear();
  processor.Stop();
}

template <class Predicate>
std::size_t CountOf(const Tallies& tallies, Predicate predicate) {
  std::size_t count = 0;
  for (const auto& own : tallies) {
    count += static_cast<std::size_t>(std::count_if(own.begin(), own.end(), predicate));
  }
  return count;
}

std::size_t CountWellDone(const Tallies& tallies) {
  return CountOf(tallies,
                 [](const Tally& tally) { return tally.RanOnce() || tally.DeletedUnexecuted(); });
}

TEST(MCommandProcessorRaceTest, ProducersAgainstStop) {
  const HangWatchdog watchdog;
  std::size_t deletedUnexecuted = 0;
  for (int round = 0; round < 100; ++round) {
    Tallies tallies;
    std::array<Tally, 5> before;
    MCommandProcessor processor;
    processor.Start();
    for (Tally& tally : before) {
      processor.QueueCommand(std::make_unique<TalliedCommand>(tally));
    }
    QueueWhile(processor, tallies, [&] { processor.Stop(); });
    ASSERT_EQ(CountWellDone(tallies), kProducers * kEach) << "round " << round;
    for (const Tally& tally : before) ASSERT_TRUE(tally.RanOnce());
    for (const auto& own : tallies) {
      // What a producer queued after a command that was deleted came after the stop as well.
      ASSERT_TRUE(std::is_partitioned(own.begin(), own.end(),
                                      [](const Tally& tally) { return tally.RanOnce(); }));
    }
    deletedUnexecuted += CountOf(tallies, [](const Tally& tally) { return tally.executed == 0; });
  }
  EXPECT_GT(deletedUnexecuted, 0u) << "no stop ever came in between";
}

TEST(MCommandProcessorRaceTest, ProducersAgainstRestarts) {
  const HangWatchdog watchdog;
  for (int round = 0; round < 60; ++round) {
    Tallies tallies;
    MCommandProcessor processor;
    processor.Start();
    std::array<Tally, 3> afterStarts;
    QueueWhile(processor, tallies, [&] {
      for (Tally& tally : afterStarts) {
        processor.Stop();
        processor.Start();
        // No producer that is still deleting for the aborted queue may take it.
        processor.QueueCommand(std::make_unique<TalliedCommand>(tally));
      }
    });
    ASSERT_EQ(CountWellDone(tallies), kProducers * kEach) << "round " << round;
    for (const Tally& tally : afterStarts) ASSERT_TRUE(tally.RanOnce()) << "round " << round;
  }
}

TEST(MCommandProcessorRaceTest, CommandsOfManyThreadsRunOneAtATimeAndInOrder) {
  const HangWatchdog watchdog;
  MCommandProcessor processor;
  processor.Start();
  std::atomic<int> running{0};
  int overlaps = 0;
  std::array<std::vector<std::size_t>, kProducers> ran;
  StartLine start(kProducers);
  std::vector<std::jthread> producers;
  for (std::vector<std::size_t>& own : ran) {
    producers.emplace_back([&] {
      start.Await();
      for (std::size_t i = 0; i < kEach; ++i) {
        processor.QueueCommand(MakeCommand([&, i] {
          if (++running != 1) ++overlaps;
          own.push_back(i);
          --running;
        }));
      }
    });
  }
  producers.clear();
  processor.Stop();
  EXPECT_EQ(overlaps, 0);
  for (const std::vector<std::size_t>& own : ran) {
    EXPECT_EQ(own.size(), kEach);
    EXPECT_TRUE(std::is_sorted(own.begin(), own.end()));
  }
}

TEST(MCommandProcessorRaceTest, WaitingCallersAgainstStop) {
  const HangWatchdog watchdog;
  constexpr int kRounds = 1000;
  int aborted = 0;
  std::unique_ptr<MCommandProcessor> processor;
  StartLine start(2);
  StartLine end(2);
  std::jthread stopper([&] {
    for (int round = 0; round < kRounds; ++round) {
      start.Await();
      processor->Stop();
      end.Await();
    }
  });
  for (int round = 0; round < kRounds; ++round) {
    Tally tally;
    processor = std::make_unique<MCommandProcessor>();
    processor->Start();
    auto command = std::make_unique<TalliedSynchronous>(tally);
    start.Await();
    // Else a machine may let the same side win every time.
    for (int delay = round % 100; delay > 0; --delay) std::this_thread::yield();
    const std::string error = ErrorOf([&] { processor->ExecuteSynchronously(std::move(command)); });
    end.Await();
    // No ASSERT: it would leave the stopper behind.
    if (error.ends_with(":ProcessorStopped")) {
      EXPECT_NE(command, nullptr);
      command.reset();
      EXPECT_TRUE(tally.DeletedUnexecuted());
    } else if (error.empty()) {
      EXPECT_TRUE(tally.RanOnce());
    } else {
      EXPECT_EQ(error, "MCommandProcessor.ExecuteSynchronously:CommandProcessingAborted");
      EXPECT_TRUE(tally.RanOnce() || tally.DeletedUnexecuted());
    }
    if (!error.empty()) ++aborted;
  }
  EXPECT_GT(aborted, 0) << "no stop ever came in between";
}

}  // namespace
