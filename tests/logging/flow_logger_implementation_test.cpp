// SPDX-License-Identifier: MIT
#include "orvel/logging/flow_logger_implementation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "orvel/logging/event_codes.h"
#include "orvel/platform/windows_api.h"
#include "tests/support/flow_dump_reader.h"

namespace {

using Orvel::Testing::DumpedRecord;
using Orvel::Testing::FlowDump;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
namespace EventCode = Orvel::Detail::EventCode;

std::string DumpText(MFlowLoggerImplementation& logger) {
  std::ostringstream stream;
  logger.Dump(stream);
  return stream.str();
}

FlowDump Read(const std::string& text) {
  FlowDump dump = Orvel::Testing::ReadFlowDump(text);
  EXPECT_THAT(dump.formErrors, IsEmpty());
  return dump;
}

FlowDump Dump(MFlowLoggerImplementation& logger) { return Read(DumpText(logger)); }

void RecordUpdates(MFlowLoggerImplementation& logger, std::int32_t count) {
  for (std::int32_t i = 0; i < count; ++i) logger.Record(EventCode::kUpdate, i, 0, 0, 0, 0);
}

/// What a dump shows behind its header, whatever its caller left in the stream.
std::string DumpedText(MFlowLoggerImplementation& logger) {
  struct Grouping : std::numpunct<char> {
    std::string do_grouping() const override { return "\3"; }
  };
  std::ostringstream stream;
  stream.imbue(std::locale(std::locale::classic(), new Grouping));
  stream << std::hex << std::showbase << std::showpos << std::setfill('*') << std::setw(1000);
  logger.Dump(stream);
  const std::string text = stream.str();
  EXPECT_THAT(Read(text).reference, StartsWith("%% Reference time: -")) << "built before";
  return text.substr(text.find("\n%%\n") + 4);
}

TEST(MFlowLoggerImplementationTest, RecordReadsAsDocumented) {
  const std::string thread = std::to_string(::GetCurrentThreadId());
  MFlowLoggerImplementation logger;
  logger.NameLabel(12, L"Engine");
  logger.NameLabel(40, L"Start");
  logger.NameState(12, 3, L"Running");
  logger.NameThread(::GetCurrentThreadId(), L"Worker");
  logger.NameObject(0xFFFFFFFFFFFFFFFE, L"handle");
  logger.Record(EventCode::kStateChange, 3, 0, 12, 40, 0x12F3A0);
  EXPECT_EQ(DumpedText(logger),
            "% State_change to Running in_class Engine at Start for_object 000000000012F3A0 "
            "(unknown) in_thread " +
                thread + " (Worker)\n    0.000000, -25, 3, 0, 12, 40, 1242016, " + thread + '\n');
  logger.Record(EventCode::kUpdate, INT32_MIN, INT32_MAX, -1, 40, 0xFFFFFFFFFFFFFFFE);
  EXPECT_EQ(DumpedText(logger),
            "% Update in_class (unknown) at Start for_object FFFFFFFFFFFFFFFE (handle) "
            "in_thread " +
                thread + " (Worker)\n    0.000000, -22, -2147483648, 2147483647, -1, 40, -2, " +
                thread + '\n');
  EXPECT_EQ(logger.FormatRecord(131071, 0), "");
  EXPECT_EQ(logger.FormatRecord(131072, 0), "*OUT OF BOUNDS*");
  EXPECT_EQ(logger.FormatRecord(0xFFFFFFFF, 0), "*OUT OF BOUNDS*");
}

TEST(MFlowLoggerImplementationTest, EachKindShowsItsNamesOrWhatStandsForThem) {
  MFlowLoggerImplementation logger;
  logger.NameLabel(5, L"Alpha");
  logger.NameLabel(5, L"Beta");
  logger.NameLabel(7, L"\x0141\x0262");  // only low bytes are kept
  logger.NameState(6, 5, L"Open");
  logger.NameMessage(5, L"Ping");
  logger.NameState(0, 5, L"Hidden");               // state 5 of class 0 is message 5
  logger.NameState(INT32_MAX, INT32_MAX, L"Far");  // the key wraps, here and when looked up
  struct Case {
    std::int32_t kind, arg1, arg2, classId, pointId;
    const char* start;
  };
  const Case cases[] = {
      {EventCode::kRootError, 5, 9, 5, 7, "% Root_error Alpha in_class Alpha at Ab for_object 00"},
      {EventCode::kRootError, 6, 9, 6, 6,
       "% Root_error (unknown) in_class (unknown) at (unknown) "},
      {EventCode::kWarning, 5, 0, 5, 5, "% Warning Alpha in_class Alpha"},
      {EventCode::kStateChange, 5, 0, 6, 5, "% State_change to Open in_class (unknown) at Alpha"},
      {EventCode::kStateChange, -4, 0, 6, 5, "% State_change to state_-4 in_class "},
      {EventCode::kStateChange, 5, 0, 0, 5, "% State_change to Ping in_class "},
      {EventCode::kStateChange, INT32_MAX, 0, INT32_MAX, 5, "% State_change to Far in_class "},
      {EventCode::kMessageSend, 605, 0, 5, 5, "% Message_send Open in_class "},
      {EventCode::kMessageReceive, 7, 0, 5, 5, "% Message_receive 7 in_class "},
      {EventCode::kNotify, 5, 5, 5, 5, "% Notify in_class "},
      {EventCode::kTimingPoint, -7, 8, 5, 5, "% Timing_point (-7, 8) in_class Alpha at Alpha "},
      {EventCode::kTimingPoint, 0, 0, 6, -6,
       "% Timing_point (0, 0) in_class (unknown) at_point -6"},
      {EventCode::kTimingPointAlias, 1, 2, 5, 6, "% Timing_point in_class Alpha at (unknown) for_"},
      {-106, 5, 0, 5, 5, "% unknown event in_class Alpha"},
      {-100, 5, 0, 5, 5, "% unknown event in_class Alpha"},
  };
  std::uint32_t index = 0;
  for (const Case& c : cases) {
    logger.Record(c.kind, c.arg1, c.arg2, c.classId, c.pointId, 1);
    EXPECT_THAT(logger.FormatRecord(index++, 0), StartsWith(c.start));
  }
}

TEST(MFlowLoggerImplementationTest, TimesAreCutToSixDecimals) {
  const MFlowLoggerImplementation logger;
  const std::int64_t second = Orvel::Detail::ReadPerformanceFrequency();
  EXPECT_EQ(logger.FormatTime(0), "0.000000");
  EXPECT_EQ(logger.FormatTime(second * 5 / 2), "2.500000");
  EXPECT_EQ(logger.FormatTime(-second / 4), "-0.250000");
  EXPECT_EQ(logger.FormatTime(-second * 3), "-3.000000");
  EXPECT_EQ(logger.FormatTime(1 - second), "-0.999999");
  EXPECT_EQ(logger.FormatTime(second * 400'000'000'000 + second / 1000), "400000000000.001000");
}

/// Takes `limit` characters and then fails as a full disk does, or throws.
class FailingBuffer : public std::stringbuf {
 public:
  FailingBuffer(std::size_t limit, bool throws) : limit_(limit), throws_(throws) {}

 protected:
  std::streamsize xsputn(const char* text, std::streamsize count) override {
    const std::streamsize room = static_cast<std::streamsize>(limit_ - str().size());
    if (count > room && throws_) throw std::runtime_error("no room");
    return std::stringbuf::xsputn(text, std::min(count, room));
  }
  int sync() override { return -1; }

 private:
  std::size_t limit_;
  bool throws_;
};

TEST(MFlowLoggerImplementationTest, FailedDumpKeepsTheRecordsAndLeavesRecordingOff) {
  MFlowLoggerImplementation logger;
  for (const bool throws : {false, true}) {
    // Within the header, within the records, and only when flushed.
    for (const std::size_t limit : {30u, 1000u, 1'000'000u}) {
      SCOPED_TRACE(testing::Message() << "limit " << limit << (throws ? ", throwing" : ""));
      RecordUpdates(logger, 20);
      for (int attempt = 0; attempt < 2; ++attempt) {
        FailingBuffer buffer(limit, throws);
        std::ostream stream(&buffer);
        if (throws) stream.exceptions(std::ios::badbit | std::ios::failbit);
        logger.Dump(stream);
        EXPECT_FALSE(stream.good());
        logger.Record(EventCode::kNotify, 0, 0, 0, 0, 0);
      }
      const FlowDump dump = Dump(logger);
      ASSERT_THAT(dump.records, SizeIs(20));
      for (int i = 0; i < 20; ++i) EXPECT_EQ(dump.records[static_cast<std::size_t>(i)].arg1, i);
      RecordUpdates(logger, 1);
      EXPECT_THAT(Dump(logger).records, SizeIs(1)) << "recording is on again";
    }
  }
}

// A stream at its end takes no text and yet does not call itself failed.
TEST(MFlowLoggerImplementationTest, StreamThatTakesNothingForgetsNothing) {
  for (const auto state : {std::ios::eofbit, std::ios::failbit, std::ios::badbit}) {
    MFlowLoggerImplementation logger;
    RecordUpdates(logger, 1);
    std::stringstream stream;
    stream.setstate(state);
    logger.Dump(stream);
    EXPECT_EQ(stream.str(), "");
    EXPECT_THAT(Dump(logger).records, SizeIs(1));
  }
}

TEST(MFlowLoggerImplementationTest, FullRingIsDumpedFromItsOldestRecord) {
  MFlowLoggerImplementation logger;
  RecordUpdates(logger, 131073);
  const FlowDump dump = Dump(logger);
  ASSERT_THAT(dump.records, SizeIs(131072));
  std::int32_t expected = 1;
  for (const DumpedRecord& record : dump.records) ASSERT_EQ(record.arg1, expected++);
  EXPECT_EQ(dump.records.front().microseconds, 0) << "times count from the oldest record";
  EXPECT_EQ(CountTimeReversals(dump), 0u);
  EXPECT_THAT(Dump(logger).records, IsEmpty());
}

// Each recorder may have one record under way when a dump stops the recording. It may turn up in
// the next dump, or mixed with the record that took its slot; everything else must be whole.
TEST(MFlowLoggerImplementationTest, DumpsDuringRecordingLoseNothingBetween) {
  constexpr std::size_t kRecorders = 4;
  constexpr std::uint32_t kBetweenDumps = 500;
  constexpr std::uint32_t kScramble = 2654435761u;
  MFlowLoggerImplementation logger;
  std::array<std::atomic<std::uint32_t>, kRecorders> recorded{};
  std::atomic<std::uint32_t> limit{0};
  std::vector<std::string> texts;
  {
    std::vector<std::jthread> recorders;
    for (std::size_t r = 0; r < kRecorders; ++r) {
      recorders.emplace_back([&, r](std::stop_token stop) {
        for (std::uint32_t i = 0; !stop.stop_requested(); recorded[r] = ++i) {
          // Without a limit the ring is full at every dump, and the test takes minutes.
          while (i >= limit && !stop.stop_requested()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
          }
          logger.Record(EventCode::kTimingPoint, static_cast<std::int32_t>(i),
                        static_cast<std::int32_t>(i * kScramble), static_cast<std::int32_t>(r), 0,
                        ~i);
        }
      });
    }
    for (int round = 0; round < 20; ++round) {
      limit += 2 * kBetweenDumps;
      for (auto& count : recorded) {
        while (count < limit - kBetweenDumps) std::this_thread::yield();
      }
      texts.push_back(DumpText(logger));
    }
  }
  std::size_t shown = 0;
  for (const std::string& text : texts) {
    const FlowDump dump = Read(text);
    EXPECT_LE(CountTimeReversals(dump), kRecorders);
    std::array<const DumpedRecord*, kRecorders> latest{};
    std::size_t breaks = 0;
    for (const DumpedRecord& record : dump.records) {
      const auto value = static_cast<std::uint32_t>(record.arg1);
      const bool isWhole = record.arg2 == static_cast<std::int32_t>(value * kScramble) &&
                           record.object == static_cast<std::uint32_t>(~value);
      const DumpedRecord*& before = latest.at(static_cast<std::size_t>(record.classId));
      if (!isWhole || (before != nullptr && record.arg1 != before->arg1 + 1)) ++breaks;
      before = &record;
    }
    // Each stray breaks the order where it stands, behind it and where it took another's slot.
    EXPECT_LE(breaks, 3 * kRecorders);
    shown += dump.records.size();
  }
  EXPECT_GT(shown, kBetweenDumps);

  (void)Dump(logger);
  RecordUpdates(logger, 100);
  EXPECT_THAT(Dump(logger).records, SizeIs(100)) << "a stray hides nothing";
}

}  // namespace
