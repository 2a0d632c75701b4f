// SPDX-License-Identifier: MIT
#include "orvel/logging/flow_logger_implementation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <functional>
#include <iomanip>
#include <mutex>
#include <sstream>
#include <thread>
#include <utility>
#include <vector>

#include "orvel/logging/event_codes.h"
#include "orvel/platform/windows_api.h"
#include "tests/support/flow_dump_reader.h"
#include "tests/support/time_limits.h"

namespace {

using Orvel::Testing::DumpedRecord;
using Orvel::Testing::ReadFlowDump;
using testing::AllOf;
using testing::Each;
using testing::Field;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
namespace EventCode = Orvel::Detail::EventCode;

std::string DumpText(MFlowLoggerImplementation& logger) {
  std::ostringstream stream;
  logger.Dump(stream);
  return stream.str();
}

std::vector<DumpedRecord> Dump(MFlowLoggerImplementation& logger) {
  return ReadFlowDump(DumpText(logger));
}

void RecordUpdates(MFlowLoggerImplementation& logger, std::int32_t count) {
  for (std::int32_t i = 0; i < count; ++i) logger.Record(EventCode::kUpdate, i, 0, 0, 0, 0);
}

/// What a dump shows behind its header, whatever its caller left in the stream.
std::string DumpedLines(MFlowLoggerImplementation& logger) {
  struct Grouping : std::numpunct<char> {
    std::string do_grouping() const override { return "\3"; }
  };
  std::ostringstream stream;
  stream.imbue(std::locale(std::locale::classic(), new Grouping));
  stream << std::hex << std::showbase << std::showpos << std::setfill('*') << std::setw(1000);
  logger.Dump(stream);
  const std::string text = stream.str();
  EXPECT_THAT(text, StartsWith("%% Reference time: -")) << "built before";
  static_cast<void>(ReadFlowDump(text));
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
  EXPECT_EQ(DumpedLines(logger),
            "% State_change to Running in_class Engine at Start for_object 000000000012F3A0 "
            "(unknown) in_thread " +
                thread + " (Worker)\n    0.000000, -25, 3, 0, 12, 40, 1242016, " + thread + '\n');
  logger.Record(EventCode::kUpdate, INT32_MIN, INT32_MAX, -1, 40, 0xFFFFFFFFFFFFFFFE);
  EXPECT_EQ(DumpedLines(logger),
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

/// Has room for so many characters and then calls what it was given. Without that it fails, as a
/// full disk does, and at the latest when it is flushed.
class Disk : public std::streambuf {
 public:
  explicit Disk(std::size_t room, std::function<void()> whenFull = nullptr)
      : text_(room, ' '), whenFull_(std::move(whenFull)) {
    setp(text_.data(), text_.data() + room);
  }

 protected:
  int overflow(int character) override {
    if (!whenFull_) return traits_type::eof();
    std::exchange(whenFull_, [] {})();
    return character;
  }
  int sync() override { return whenFull_ ? 0 : -1; }

 private:
  std::string text_;
  std::function<void()> whenFull_;
};

TEST(MFlowLoggerImplementationTest, FailedDumpKeepsTheRecordsAndLeavesRecordingOff) {
  MFlowLoggerImplementation logger;
  for (const std::ios::iostate thrown : {std::ios::goodbit, std::ios::badbit}) {
    // Within the header, within the records, and only when flushed.
    for (const std::size_t room : {30u, 1000u, 100'000u}) {
      SCOPED_TRACE(testing::Message() << "room " << room << (thrown ? ", throwing" : ""));
      RecordUpdates(logger, 20);
      for (int attempt = 0; attempt < 2; ++attempt) {
        Disk disk(room);
        std::ostream stream(&disk);
        stream.exceptions(thrown);
        logger.Dump(stream);
        EXPECT_FALSE(stream.good());
        logger.Record(EventCode::kNotify, 0, 0, 0, 0, 0);
      }
      const auto isUpdate = Field(&DumpedRecord::kind, EventCode::kUpdate);
      EXPECT_THAT(Dump(logger), AllOf(SizeIs(20), Each(isUpdate)));
      RecordUpdates(logger, 1);
      // A stream at its end takes no text and yet does not call itself failed.
      std::stringstream ended;
      ended.setstate(std::ios::eofbit);
      logger.Dump(ended);
      EXPECT_THAT(Dump(logger), SizeIs(1)) << "recording is on again";
    }
  }
}

TEST(MFlowLoggerImplementationTest, DumpForCrashWaitsForNoDumpAndTakesNothingFromOne) {
  MFlowLoggerImplementation logger;
  RecordUpdates(logger, 3);
  std::ostringstream duringDump;
  MFlowLoggerImplementation::CrashDumpGaps gaps;
  Disk buffer(0, [&] {
    std::thread([&] { gaps = logger.DumpForCrash(duringDump, 1); }).join();
    EXPECT_TRUE(gaps.order);
    EXPECT_FALSE(gaps.names);
    EXPECT_FALSE(gaps.rest);
  });
  std::ostream stream(&buffer);
  logger.Dump(stream);
  EXPECT_THAT(ReadFlowDump(duringDump.str()), SizeIs(3));

  RecordUpdates(logger, 2);
  std::ostringstream alone;
  EXPECT_FALSE(logger.DumpForCrash(alone, 1).order);
  EXPECT_THAT(ReadFlowDump(alone.str()), SizeIs(2));
  RecordUpdates(logger, 1);
  EXPECT_THAT(Dump(logger), SizeIs(1)) << "recording goes on";
}

TEST(MFlowLoggerImplementationTest, FullRingIsDumpedFromItsOldestRecord) {
  MFlowLoggerImplementation logger;
  RecordUpdates(logger, 131073);
  const std::vector<DumpedRecord> records = Dump(logger);
  ASSERT_THAT(records, SizeIs(131072));
  EXPECT_EQ(records.front().arg1, 1);
  EXPECT_EQ(records.front().microseconds, 0) << "times count from the oldest record";
  EXPECT_TRUE(std::ranges::is_sorted(records, {}, &DumpedRecord::arg1));
}

// Else two loggers that attach to each other at once could wait for each other for ever.
TEST(NameTableTest, ACopyWaitsForTheOtherTableWithoutHoldingItsOwn) {
  Orvel::Detail::NameTable<int> own;
  Orvel::Detail::NameTable<int> other;
  own.Add(1, L"name");
  std::unique_lock theirs = other.TryLockFor(0);
  std::jthread copier([&] { own.CopyInto(other); });
  const auto end = std::chrono::steady_clock::now() + Orvel::Testing::kMustNotHappenFor;
  while (own.TryLockFor(0).owns_lock() && std::chrono::steady_clock::now() < end) {
    std::this_thread::yield();
  }
  EXPECT_TRUE(own.TryLockFor(5000).owns_lock());
  theirs.unlock();
  copier.join();
  std::string name;
  EXPECT_TRUE(other.AppendName(1, name));
  EXPECT_EQ(name, "name");
}

// Each recorder may have one record under way when a dump stops the recording. It may turn up in
// the next dump, or mixed with the record that took its slot; everything else must be whole.
TEST(MFlowLoggerImplementationTest, DumpsDuringRecordingLoseNothingBetween) {
  constexpr std::int32_t kRecorders = 4;
  constexpr std::int32_t kBetweenDumps = 500;
  MFlowLoggerImplementation logger;
  std::array<std::atomic<std::int32_t>, kRecorders> recorded{};
  std::atomic<std::int32_t> limit{0};
  std::vector<std::jthread> recorders;
  for (std::int32_t r = 0; r < kRecorders; ++r) {
    recorders.emplace_back([&, r](std::stop_token stop) {
      std::atomic<std::int32_t>& count = recorded.at(static_cast<std::size_t>(r));
      while (!stop.stop_requested()) {
        // Without a limit the ring is full at every dump, and the test takes minutes.
        if (count >= limit) {
          std::this_thread::sleep_for(std::chrono::milliseconds(1));
          continue;
        }
        logger.Record(EventCode::kUpdate, count, ~count, r, 0, static_cast<std::uint32_t>(count));
        ++count;
      }
    });
  }
  std::size_t shown = 0;
  for (int round = 0; round < 20; ++round) {
    limit += 2 * kBetweenDumps;
    for (auto& count : recorded) {
      while (count < limit - kBetweenDumps) std::this_thread::yield();
    }
    const std::vector<DumpedRecord> records = Dump(logger);
    std::array<std::int32_t, kRecorders> next{};
    std::size_t breaks = 0;
    for (const DumpedRecord& record : records) {
      std::int32_t& expected = next.at(static_cast<std::size_t>(record.classId));
      const bool isNext = expected == 0 || record.arg1 == expected;
      const bool isWhole =
          record.arg2 == ~record.arg1 && record.object == static_cast<std::uint32_t>(record.arg1);
      if (!isNext || !isWhole) ++breaks;
      expected = record.arg1 + 1;
    }
    // Each stray breaks the order where it stands, behind it and where it took another's slot.
    EXPECT_LE(breaks, 3U * kRecorders);
    shown += records.size();
  }
  EXPECT_GT(shown, std::size_t{kBetweenDumps});
  recorders.clear();
  (void)Dump(logger);
  RecordUpdates(logger, 100);
  EXPECT_THAT(Dump(logger), SizeIs(100)) << "a stray hides nothing";
}

}  // namespace
