// SPDX-License-Identifier: MIT
#include "orvel/logging/event_ring.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <sstream>
#include <thread>
#include <utility>

#include "orvel/logging/event_codes.h"
#include "orvel/logging/flow_logger_implementation.h"
#include "tests/support/flow_dump_reader.h"
#include "tests/support/meeting.h"
#include "tests/support/system_call_hook.h"

namespace {

using Orvel::Detail::EventRing;
using Orvel::Testing::Latch;
using Orvel::Testing::SystemCall;
using Orvel::Testing::SystemCallHook;

/// Numbered records, of which the first is all zero but for its time and thread. `Recorder` is a
/// ring or a logger.
template <class Recorder>
void Record(Recorder& recorder, std::uint32_t count) {
  for (std::uint32_t i = 0; i < count; ++i) {
    recorder.Record(Orvel::Detail::EventCode::kTimingPoint, static_cast<std::int32_t>(i), 0, 0, 0,
                    0);
  }
}

/// Records one event and calls `meanwhile` between taking its slot and storing into it, which is
/// where the clock is read.
template <class Recorder>
void RecordInterrupted(Recorder& recorder, std::function<void()> meanwhile) {
  const SystemCallHook hook(SystemCall::kQueryCounter, std::move(meanwhile));
  Record(recorder, 1);
}

std::size_t CountDumped(MFlowLoggerImplementation& logger) {
  std::ostringstream stream;
  logger.Dump(stream);
  return Orvel::Testing::ReadFlowDump(stream.str()).size();
}

TEST(EventRingTest, SpanRunsFromTheOldestRecordToTheNewest) {
  constexpr std::uint32_t kCapacity = 131072;
  EventRing ring;
  for (const std::uint32_t count : {0u, 1u, kCapacity - 1, kCapacity, kCapacity + 1, 300'000u}) {
    SCOPED_TRACE(count);
    Record(ring, count);
    for (int stop = 0; stop < 2; ++stop) {
      const EventRing::Span span = ring.StopRecording();
      ASSERT_EQ(span.count, (std::min)(count, kCapacity));
      for (std::uint32_t i = 0; i < span.count; ++i) {
        const auto record = ring.Read((span.first + i) % kCapacity);
        ASSERT_EQ(static_cast<std::uint32_t>(record.arg1), count - span.count + i);
      }
      Record(ring, 3);  // dropped, also by a second look
    }
    ring.RestartRecording();
    EXPECT_TRUE(ring.Read(0).IsEmpty());
    EXPECT_TRUE(ring.Read(kCapacity - 1).IsEmpty());
  }
}

TEST(EventRingTest, IsFullAlsoWhileTheRecordInItsLastSlotIsUnderWay) {
  EventRing ring;
  Record(ring, EventRing::kCapacity - 1);
  RecordInterrupted(ring, [&] {
    Record(ring, 2);
    const EventRing::Span span = ring.StopRecording();
    EXPECT_EQ(span.first, 2u);
    EXPECT_EQ(span.count, EventRing::kCapacity);
  });
}

TEST(EventRingTest, StrayRecordsAfterARestartHideNothing) {
  // With two records the write position is 2. Two strays are what two slow recorders can leave.
  constexpr std::uint32_t kLast = EventRing::kCapacity - 1;
  for (const auto& [first, second] :
       {std::pair{2u, 3u}, std::pair{2u, kLast}, std::pair{3u, kLast}}) {
    SCOPED_TRACE(testing::Message() << "strays in " << first << " and " << second);
    EventRing ring;
    Record(ring, first);
    RecordInterrupted(ring, [&, skipped = second - first - 1] {
      Record(ring, skipped);
      RecordInterrupted(ring, [&] {
        static_cast<void>(ring.StopRecording());
        ring.RestartRecording();
      });
    });
    ASSERT_FALSE(ring.Read(first).IsEmpty());
    ASSERT_FALSE(ring.Read(second).IsEmpty());
    Record(ring, 2);
    const EventRing::Span span = ring.StopRecording();
    EXPECT_EQ(span.first, 0u);
    EXPECT_EQ(span.count, 2u);
    ring.RestartRecording();
    EXPECT_TRUE(ring.Read(first).IsEmpty()) << "a restart removes strays as well";
  }
}

TEST(EventRingTest, RecordThatNeverComesEndsTheWalkAndNotTheLogger) {
  MFlowLoggerImplementation logger;
  for (const std::uint32_t before : {0u, 1u}) {
    Record(logger, before);
    RecordInterrupted(logger, [&] {
      Record(logger, 3);
      EXPECT_EQ(CountDumped(logger), before);
      Record(logger, 3);
      EXPECT_EQ(CountDumped(logger), 3u);
    });
  }
}

TEST(EventRingTest, DumpWaitsAMomentForARecordUnderWay) {
  MFlowLoggerImplementation logger;
  Record(logger, 1);
  Latch isTaken(1);
  Latch mayStore(1);
  std::jthread recorder([&] {
    RecordInterrupted(logger, [&] {
      isTaken.CountDown();
      mayStore.Wait();
    });
  });
  isTaken.Wait();
  Record(logger, 1);
  {
    const auto store = [&] {
      mayStore.CountDown();
      recorder.join();
    };
    const SystemCallHook hook(SystemCall::kSleep, store, 1);  // the walk pauses once before
    EXPECT_EQ(CountDumped(logger), 3u);
  }
  mayStore.CountDown();  // when the dump did not wait
}

}  // namespace
