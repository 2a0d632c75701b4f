// SPDX-License-Identifier: MIT
#include "orvel/logging/event_ring.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <thread>

#include "orvel/logging/event_codes.h"
#include "orvel/logging/flow_logger_implementation.h"
#include "tests/support/flow_dump_reader.h"
#include "tests/support/meeting.h"

// A recorder that is interrupted between taking its slot and storing into it cannot be had at
// will, so these tests play one by hand. An explicit instantiation may name private members.
auto& RingOf(MFlowLoggerImplementation& logger);
auto& ControlOf(Orvel::Detail::EventRing& ring);
auto& SlotsOf(Orvel::Detail::EventRing& ring);

template <auto kRing, auto kControl, auto kSlots>
struct RingAccess {
  friend auto& RingOf(MFlowLoggerImplementation& logger) { return logger.*kRing; }
  friend auto& ControlOf(Orvel::Detail::EventRing& ring) { return ring.*kControl; }
  friend auto& SlotsOf(Orvel::Detail::EventRing& ring) { return ring.*kSlots; }
};
template struct RingAccess<&MFlowLoggerImplementation::ring_, &Orvel::Detail::EventRing::control_,
                           &Orvel::Detail::EventRing::slots_>;

namespace {

using Orvel::Detail::EventRing;

std::uint32_t TakeSlot(EventRing& ring) { return (ControlOf(ring).fetch_add(2) >> 1) & 0x1FFFF; }

void StoreInto(EventRing& ring, std::uint32_t index) {
  auto& slot = SlotsOf(ring)[index];
  slot.counter.store(Orvel::Detail::ReadPerformanceCounter());
  slot.kind.store(Orvel::Detail::EventCode::kNotify);
  slot.threadId.store(1);
}

void Record(EventRing& ring, std::int32_t count) {
  for (std::int32_t i = 0; i < count; ++i) {
    ring.Record(Orvel::Detail::EventCode::kUpdate, i, 0, 0, 0, 0);
  }
}

std::size_t CountDumped(MFlowLoggerImplementation& logger) {
  std::ostringstream stream;
  logger.Dump(stream);
  return Orvel::Testing::ReadFlowDump(stream.str()).records.size();
}

TEST(EventRingTest, SpanRunsFromTheOldestRecordToTheNewest) {
  constexpr std::int32_t kCapacity = 131072;
  EventRing ring;
  for (const std::int32_t count : {0, 1, kCapacity - 1, kCapacity, kCapacity + 1, 300'000}) {
    SCOPED_TRACE(count);
    Record(ring, count);
    for (int stop = 0; stop < 2; ++stop) {
      const EventRing::Span span = ring.StopRecording();
      ASSERT_EQ(span.count, static_cast<std::uint32_t>(std::min(count, kCapacity)));
      for (std::uint32_t i = 0; i < span.count; ++i) {
        const auto record = ring.Read((span.first + i) % kCapacity);
        ASSERT_EQ(record.arg1, std::max(0, count - kCapacity) + static_cast<std::int32_t>(i));
      }
      Record(ring, 3);  // dropped, also by a second look
    }
    ring.RestartRecording();
    EXPECT_TRUE(ring.Read(0).IsEmpty());
    EXPECT_TRUE(ring.Read(kCapacity - 1).IsEmpty());
  }
}

TEST(EventRingTest, StrayRecordAfterARestartHidesNothing) {
  MFlowLoggerImplementation logger;
  // With two records the write position is 2. Two strays are what two slow recorders can leave.
  for (const auto& [first, second] :
       {std::pair{2u, 2u}, {3u, 3u}, {131071u, 131071u}, {2u, 3u}, {2u, 131071u}, {3u, 131071u}}) {
    SCOPED_TRACE(testing::Message() << "strays in " << first << " and " << second);
    StoreInto(RingOf(logger), first);
    StoreInto(RingOf(logger), second);
    Record(RingOf(logger), 2);
    EXPECT_EQ(CountDumped(logger), 2u);
    EXPECT_TRUE(RingOf(logger).Read(first).IsEmpty()) << "a dump removes strays as well";
  }
}

TEST(EventRingTest, RecordThatNeverComesEndsTheWalkAndNotTheLogger) {
  MFlowLoggerImplementation logger;
  for (const int before : {0, 1}) {
    Record(RingOf(logger), before);
    TakeSlot(RingOf(logger));
    Record(RingOf(logger), 3);
    EXPECT_EQ(CountDumped(logger), static_cast<std::size_t>(before));
    Record(RingOf(logger), 3);
    EXPECT_EQ(CountDumped(logger), 3u);
  }
}

/// Tells when the text of the first record has been written.
class SignallingBuffer : public std::stringbuf {
 public:
  Orvel::Testing::Latch written{1};

 protected:
  std::streamsize xsputn(const char* text, std::streamsize count) override {
    if (std::string_view(text, static_cast<std::size_t>(count)).starts_with("% ")) {
      written.CountDown();
    }
    return std::stringbuf::xsputn(text, count);
  }
};

TEST(EventRingTest, DumpWaitsAMomentForARecordUnderWay) {
  // The wait is short, and the machine may be busy: one round of many has to get through.
  bool arrived = false;
  for (int round = 0; round < 50 && !arrived; ++round) {
    MFlowLoggerImplementation logger;
    Record(RingOf(logger), 1);
    const std::uint32_t slot = TakeSlot(RingOf(logger));
    Record(RingOf(logger), 1);
    SignallingBuffer buffer;
    std::jthread recorder([&] {
      buffer.written.Wait();
      std::this_thread::sleep_for(std::chrono::milliseconds(2));  // the walk has seen the hole
      StoreInto(RingOf(logger), slot);
    });
    std::ostream stream(&buffer);
    logger.Dump(stream);
    recorder.join();
    arrived = Orvel::Testing::ReadFlowDump(buffer.str()).records.size() == 3;
  }
  EXPECT_TRUE(arrived);
}

}  // namespace
