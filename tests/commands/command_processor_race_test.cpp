// SPDX-License-Identifier: MIT
// Races that a processor must survive: every command is run once or deleted unexecuted, and is
// deleted exactly once, whoever got in first.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "tests/commands/tallied_work.h"

namespace Orvel::Testing {
namespace {

constexpr std::size_t kProducers = 4;
constexpr std::size_t kEach = 12;

class MCommandProcessorRaceTest : public testing::Test {
 protected:
  using Tallies = std::array<std::array<Tally, kEach>, kProducers>;

  static void Queue(MCommandProcessor& processor, Tally& tally) {
    processor.QueueCommand(MakeCommand(Tallied(tally)));
  }
  /// Several threads queue a command for each tally while `meanwhile` runs. The processor is
  /// stopped at the end.
  static void QueueWhile(MCommandProcessor& processor, Tallies& tallies,
                         const std::function<void()>& meanwhile) {
    const auto produce = [&](std::size_t producer) {
      for (Tally& tally : tallies[producer]) Queue(processor, tally);
    };
    RunTogether(kProducers, produce, meanwhile);
    processor.Stop();
    for (const auto& own : tallies) {
      for (const Tally& tally : own) ASSERT_TRUE(tally.RanOnce() || tally.DeletedUnexecuted());
    }
  }

  /// Holds one side back for a time that differs from round to round, as a machine may else let the
  /// same side win every time. Not a number of yields, each of which takes long on a busy machine.
  static void HoldBack(bool isHeldBack, int round) {
    const auto goAt = std::chrono::steady_clock::now() + std::chrono::microseconds(round % 100);
    while (isHeldBack && std::chrono::steady_clock::now() < goAt) std::this_thread::yield();
  }

  const HangWatchdog watchdog_;
};

TEST_F(MCommandProcessorRaceTest, ProducersAgainstStop) {
  std::ptrdiff_t deletedUnexecuted = 0;
  for (int round = 0; round < 100; ++round) {
    SCOPED_TRACE(round);
    Tallies tallies;
    std::array<Tally, 5> before;
    MCommandProcessor processor;
    processor.Start();
    for (Tally& tally : before) Queue(processor, tally);
    ASSERT_NO_FATAL_FAILURE(QueueWhile(processor, tallies, [&] { processor.Stop(); }));
    for (const Tally& tally : before) ASSERT_TRUE(tally.RanOnce());
    for (const auto& own : tallies) {
      // What a producer queued after a command that was deleted came after the stop as well.
      const auto ran = [](const Tally& tally) { return tally.RanOnce(); };
      ASSERT_TRUE(std::is_partitioned(own.begin(), own.end(), ran));
      deletedUnexecuted += own.end() - std::partition_point(own.begin(), own.end(), ran);
    }
  }
  EXPECT_GT(deletedUnexecuted, 0) << "no stop ever came in between";
}

TEST_F(MCommandProcessorRaceTest, ProducersAgainstRestarts) {
  for (int round = 0; round < 60; ++round) {
    SCOPED_TRACE(round);
    Tallies tallies;
    MCommandProcessor processor;
    processor.Start();
    std::array<Tally, 3> afterStarts;
    const auto restart = [&] {
      for (Tally& tally : afterStarts) {
        processor.Stop();
        processor.Start();
        // No producer that is still deleting for the aborted queue may take it.
        Queue(processor, tally);
      }
    };
    ASSERT_NO_FATAL_FAILURE(QueueWhile(processor, tallies, restart));
    for (const Tally& tally : afterStarts) ASSERT_TRUE(tally.RanOnce());
  }
}

TEST_F(MCommandProcessorRaceTest, ManyCommandsOfSeveralProducersKeepEachOnesOrder) {
  constexpr int kCommands = 25'000;
  std::array<int, kProducers> next{};  // the worker's
  std::atomic<int> left{kProducers * kCommands};
  MCommandProcessor processor;
  processor.SetQueueGrowthStep(4096);  // they get far ahead of the worker
  processor.Start();
  const auto produce = [&](std::size_t producer) {
    for (int number = 0; number < kCommands; ++number) {
      processor.QueueCommand(MakeCommand([&, producer, number] {
        if (next[producer] == number) ++next[producer];
        --left;
      }));
    }
  };
  RunTogether(kProducers, produce, [&] {
    for (; left > 0; processor.Flush()) {
      processor.ExecuteSynchronously(MakeCommandSynchronous(nullptr, [] {}));
    }
  });
  processor.Stop();
  EXPECT_EQ(left, 0);
  EXPECT_THAT(next, testing::Each(kCommands));
}

TEST_F(MCommandProcessorRaceTest, WaitingCallersAgainstStop) {
  constexpr int kRounds = 1000;
  int aborted = 0;
  std::unique_ptr<MCommandProcessor> processor;
  StartLine start(2);
  StartLine end(2);
  std::jthread stopper([&] {
    for (int round = 0; round < kRounds; ++round) {
      start.Await();
      HoldBack(round % 2 == 1, round);
      processor->Stop();
      end.Await();
    }
  });
  for (int round = 0; round < kRounds; ++round) {
    Tally tally;
    processor = std::make_unique<MCommandProcessor>();
    processor->Start();
    auto command = MakeCommandSynchronous(nullptr, Tallied(tally));
    start.Await();
    HoldBack(round % 2 == 0, round);
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
}  // namespace Orvel::Testing
