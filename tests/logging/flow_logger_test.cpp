// SPDX-License-Identifier: MIT
// The process's logger and what it consists of, from the ring of records to the points that record.
#include "orvel/logging/klogger_adapter.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <type_traits>

#include "orvel/foundation/source_context.h"
#include "orvel/logging/label_id.h"
#include "orvel/platform/debugger_thread_name.h"
#include "orvel/platform/windows_api.h"
#include "orvel/threads/generic_guard.h"
#include "tests/support/flow_dump_reader.h"
#include "tests/support/time_limits.h"
#include "tests/threads/staging.h"

namespace Orvel::Testing {
namespace {

using Detail::EventRing;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::Field;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
namespace EventCode = Detail::EventCode;

TEST(MKLoggerAdapterTest, FirstUseByManyThreadsBuildsOneLoggerThatKnowsThemByName) {
  ASSERT_EQ(Detail::processAdapter.load(), nullptr) << "this is to be the first test";
  constexpr std::size_t kThreads = 16;
  std::array<MKLoggerAdapter*, kThreads> seen{};
  StartLine end(kThreads);
  RunTogether(kThreads, [&](std::size_t thread) {
    MKLoggerAdapter& logger = flowLogger();
    seen.at(thread) = &logger;
    logger.nameCurrentThread((L"worker " + std::to_wstring(thread)).c_str());
    logger.nameCurrentThread(L"too late");
    logger.logEvent(0, static_cast<std::int32_t>(thread), 2, 3, 4, 0);
    end.Await();  // the id of a thread that has gone may be used again
  });
  EXPECT_THAT(seen, Each(&flowLogger()));
  const auto records = TakeFlowRecords();
  ASSERT_THAT(records, SizeIs(kThreads));
  for (const DumpedRecord& record : records) {
    EXPECT_EQ(record.threadName, "worker " + std::to_string(record.arg1));
    EXPECT_EQ(record.objectName, "unknown") << "no object has no name, either";
  }
}

std::vector<DumpedRecord> Dump(MFlowLoggerImplementation& logger) {
  std::ostringstream stream;
  logger.Dump(stream);
  return ReadFlowDump(stream.str());
}

/// Numbered records, of which the first is all zero but for its time and thread. `Recorder` is a
/// ring or a logger.
template <class Recorder>
void Record(Recorder& recorder, std::uint32_t count) {
  for (std::uint32_t i = 0; i < count; ++i) {
    recorder.Record(EventCode::kTimingPoint, static_cast<std::int32_t>(i), 0, 0,
                    static_cast<std::int32_t>(i), std::uint64_t{i} << 32);
  }
}

/// Records one event and calls `meanwhile` between taking its slot and storing into it, which is
/// where the clock is read.
template <class Recorder>
void RecordInterrupted(Recorder& recorder, std::function<void()> meanwhile) {
  const SystemCallHook hook(SystemCall::kQueryCounter, std::move(meanwhile));
  Record(recorder, 1);
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

TEST(EventRingTest, ARecordThatIsCompleteHoldsAllThatWasRecorded) {
  for (int round = 0; round < 30; ++round) {  // most see nothing
    EventRing ring;
    const std::jthread recorder([&] { Record(ring, EventRing::kCapacity); });
    for (std::uint32_t i = 0; i < EventRing::kCapacity; ++i) {
      Detail::EventRecord record;
      while (!record.IsComplete()) record = ring.Read(i);
      ASSERT_EQ(static_cast<std::uint32_t>(record.pointId), i);
    }
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
      EXPECT_THAT(Dump(logger), SizeIs(before));
      Record(logger, 3);
      EXPECT_THAT(Dump(logger), SizeIs(3u));
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
    EXPECT_THAT(Dump(logger), SizeIs(3u));
  }
  mayStore.CountDown();  // when the dump did not wait
}

TEST(MFlowLoggerImplementationTest, RecordReadsAsDocumentedWhateverItsCallerLeftInTheStream) {
  const std::string thread = std::to_string(::GetCurrentThreadId());
  MFlowLoggerImplementation logger;
  logger.NameLabel(-12, L"Engine");
  logger.NameLabel(40, L"Start");
  logger.NameState(-12, 3, L"Running");
  logger.NameThread(::GetCurrentThreadId(), L"Worker");
  logger.NameObject(0xFFFFFFFFFFFFFFFE, L"handle");
  logger.Record(EventCode::kStateChange, 3, INT32_MIN, -12, 40, 0xFFFFFFFFFFFFFFFE);
  EXPECT_EQ(logger.FormatRecord(131071, 0), "");
  EXPECT_EQ(logger.FormatRecord(131072, 0), "*OUT OF BOUNDS*");
  const std::int64_t second = Detail::ReadPerformanceFrequency();
  EXPECT_EQ(logger.FormatTime(-second / 4), "-0.250000");
  EXPECT_EQ(logger.FormatTime(1 - second), "-0.999999") << "cut off";
  EXPECT_EQ(logger.FormatTime(second * 400'000'000'000 + second / 1000), "400000000000.001000");
  std::ostringstream stream;
  stream << std::hex << std::showbase << std::showpos << std::setfill('*') << std::setw(1000);
  logger.Dump(stream);
  EXPECT_THAT(stream.str(), StartsWith("%% Reference time: -")) << "built before";
  EXPECT_THAT(stream.str(),
              EndsWith("\n%%\n% State_change to Running in_class Engine at Start for_object "
                       "FFFFFFFFFFFFFFFE (handle) in_thread " +
                       thread + " (Worker)\n    0.000000, -25, 3, -2147483648, -12, 40, -2, " +
                       thread + '\n'));
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
      {EventCode::kRootError, 5, 9, 5, 7,
       "% Root_error Alpha in_class Alpha at Ab for_object 0000000000000001 (unknown) in_"},
      {EventCode::kRootError, 6, 9, 6, 6,
       "% Root_error (unknown) in_class (unknown) at (unknown) "},
      {EventCode::kWarning, 5, 0, 5, 5, "% Warning Alpha in_class Alpha"},
      {EventCode::kStateChange, 5, 0, 6, 5, "% State_change to Open in_class (unknown) at Alpha"},
      {EventCode::kStateChange, -4, 0, 6, 5, "% State_change to state_-4 in_class "},
      {EventCode::kStateChange, 5, 0, 0, 5, "% State_change to Ping in_class "},
      {EventCode::kStateChange, INT32_MAX, 0, INT32_MAX, 5, "% State_change to Far in_class "},
      {EventCode::kMessageSend, 605, 0, 5, 5, "% Message_send Open in_class "},
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
      Record(logger, 20);
      for (int attempt = 0; attempt < 2; ++attempt) {
        Disk disk(room);
        std::ostream stream(&disk);
        stream.exceptions(thrown);
        logger.Dump(stream);
        EXPECT_FALSE(stream.good());
        logger.Record(EventCode::kNotify, 0, 0, 0, 0, 0);
      }
      const auto isOurs = Field(&DumpedRecord::kind, EventCode::kTimingPoint);
      EXPECT_THAT(Dump(logger), AllOf(SizeIs(20), Each(isOurs)));
      Record(logger, 1);
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
  Record(logger, 3);
  std::ostringstream duringDump;
  MFlowLoggerImplementation::CrashDumpGaps gaps;
  Disk buffer(0, [&] { std::thread([&] { gaps = logger.DumpForCrash(duringDump, 1); }).join(); });
  std::ostream stream(&buffer);
  logger.Dump(stream);
  EXPECT_TRUE(gaps.order);
  EXPECT_FALSE(gaps.names);
  EXPECT_FALSE(gaps.rest);
  EXPECT_THAT(ReadFlowDump(duringDump.str()), SizeIs(3));

  Record(logger, 2);
  std::ostringstream alone;
  EXPECT_FALSE(logger.DumpForCrash(alone, 1).order);
  EXPECT_THAT(ReadFlowDump(alone.str()), SizeIs(2));
  Record(logger, 1);
  EXPECT_THAT(Dump(logger), SizeIs(1)) << "recording goes on";
}

TEST(MFlowLoggerImplementationTest, FullRingIsDumpedFromItsOldestRecord) {
  MFlowLoggerImplementation logger;
  Record(logger, 131073);
  const std::vector<DumpedRecord> records = Dump(logger);
  ASSERT_THAT(records, SizeIs(131072));
  EXPECT_EQ(records.front().arg1, 1);
  EXPECT_EQ(records.front().microseconds, 0) << "times count from the oldest record";
}

// Else two loggers that attach to each other at once could wait for each other for ever.
TEST(NameTableTest, ACopyWaitsForTheOtherTableWithoutHoldingItsOwn) {
  Detail::NameTable<int> own;
  Detail::NameTable<int> other;
  own.Add(1, L"name");
  std::unique_lock theirs = other.TryLockFor(0);
  std::jthread copier([&] { own.CopyInto(other); });
  const auto end = std::chrono::steady_clock::now() + kMustNotHappenFor;
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
  constexpr std::int32_t kBetweenDumps = 500;
  MFlowLoggerImplementation logger;
  std::array<std::atomic<std::int32_t>, 4> recorded{};
  std::atomic<std::int32_t> limit{0};
  std::vector<std::jthread> recorders;
  for (std::int32_t id = 0; auto& count : recorded) {
    recorders.emplace_back([&logger, &limit, &count, id = id++](std::stop_token stop) {
      while (!stop.stop_requested()) {
        // Without a limit the ring is full at every dump, and the test takes minutes.
        for (; count < limit; ++count) {
          logger.Record(EventCode::kUpdate, count, ~count, id, 0,
                        static_cast<std::uint32_t>(count));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
    });
  }
  std::size_t shown = 0;
  for (int round = 0; round < 20; ++round) {
    limit += 2 * kBetweenDumps;
    for (auto& count : recorded) {
      while (count < limit - kBetweenDumps) std::this_thread::yield();
    }
    std::array<std::int32_t, recorded.size()> next{};
    std::size_t breaks = 0;
    for (const DumpedRecord& record : Dump(logger)) {
      std::int32_t& expected = next.at(static_cast<std::size_t>(record.classId));
      const bool isNext = expected == 0 || record.arg1 == expected;
      const bool isWhole =
          record.arg2 == ~record.arg1 && record.object == static_cast<std::uint32_t>(record.arg1);
      if (!isNext || !isWhole) ++breaks;
      expected = record.arg1 + 1;
      ++shown;
    }
    // Each stray breaks the order where it stands, behind it and where it took another's slot.
    EXPECT_LE(breaks, 3 * recorded.size());
  }
  EXPECT_GT(shown, std::size_t{kBetweenDumps});
}

static_assert(std::is_trivially_destructible_v<MFlowPoint>, "points record to the very end");

static_assert(FlowLabelId("foobar") == static_cast<std::int32_t>(0xBF9CF968u));
static_assert(FlowLabelId("\xE9") == FlowLabelId(L"\xE9"), "char may be signed");
static_assert(FlowLabelId(L"\x0141") == FlowLabelId("A"), "only low bytes are kept");
static_assert(FlowLabelId("") != 0);

template <class Point>
constexpr bool kTakesScope = std::is_constructible_v<MFlowScope, Point, const void*>;
static_assert(kTakesScope<const MFlowPoint&> && kTakesScope<MSourceContext&>);
static_assert(!kTakesScope<MFlowPoint> && !kTakesScope<MSourceContext>, "gone before the scope");

TEST(MFlowPointTest, RecordsUnderItsNames) {
  static const MFlowPoint point(L"Importer", L"Open");
  point.NameState(2, L"Opened");
  const int object = 0;
  NameFlowObject(&object, L"importer 1");
  (void)TakeFlowLog();

  point.Trace(&object);
  try {
    const MFlowScope scope(point, &object);
    throw std::runtime_error("leaves the scope");
  } catch (const std::runtime_error&) {
  }
  point.Record(MFlowEvent::kStateChange, &object, 2);
  point.RecordNamed(MFlowEvent::kWarning, &object, L"DiskNearlyFull", 17);

  EXPECT_THAT(FlowEventsWith(TakeFlowLog(), {" in_class Importer at Open for_", "(importer 1)"}),
              ElementsAre("Timing_point (0, 0)", "Scope_push", "Scope_pop",
                          "State_change to Opened", "Warning DiskNearlyFull"));
}

constexpr std::int32_t kConstructionIndex = static_cast<std::int32_t>(MFlowEvent::kConstruction);

/// A logger of the test's own.
struct Logger {
  MFlowLoggerImplementation implementation;
  MKLoggerAdapter adapter{&implementation};

  void Log(std::int32_t arg1) { adapter.logEvent(kConstructionIndex, arg1, 0, 5, 6, 7); }
};

TEST(MKLoggerAdapterTest, EachIndexRecordsItsCode) {
  Logger logger;
  for (std::int32_t index = -2; index < 17; ++index) {
    logger.adapter.logEvent(index, 1, 2, 3, 4, 0xFEDCBA9876543210);
  }
  std::string recorded;
  for (const DumpedRecord& record : Dump(logger.implementation)) {
    recorded += std::to_string(record.kind) + ' ' + record.event + ' ';
  }
  EXPECT_EQ(recorded,
            "0 Timing_point -105 Root_error -104 Cascade_error -103 Dismissed_error "
            "-14 Construction -13 Destruction -25 State_change -7 Scope_push -8 Scope_pop "
            "0 Timing_point -102 Return_error -101 Warning -21 Message_send -20 Message_receive ");
}

#if defined(_WIN32)

class ForeignLogger : public MFlowLogger {
 public:
  void logEvent(std::int32_t, std::int32_t, std::int32_t, std::int32_t, std::int32_t,
                std::uint64_t) noexcept override {}
  void dump(std::ostream&) override {}
  bool dumpToFile(const wchar_t*) override { return false; }
  void attachModule(MFlowLogger*) override {}
};

auto Module(std::int32_t kind, const Logger& other) {
  return AllOf(Field(&DumpedRecord::kind, kind),
               Field(&DumpedRecord::object, FlowObject(&other.implementation)),
               Field(&DumpedRecord::arg1, 0), Field(&DumpedRecord::classId, 0));
}
auto Logged(std::int32_t arg1) {
  return AllOf(Field(&DumpedRecord::kind, EventCode::kConstruction),
               Field(&DumpedRecord::arg1, arg1));
}

TEST(MKLoggerAdapterTest, AnotherModulesLoggerGetsRecordsAndNamesAndAttachesBack) {
  // Stays loaded: its logger is never destroyed.
  const HMODULE module = ::LoadLibraryW(L"second_module.dll");
  ASSERT_NE(module, nullptr) << ::GetLastError();
  const auto getLogger = reinterpret_cast<MFlowLogger* (*)()>(
      reinterpret_cast<void (*)()>(::GetProcAddress(module, "GetSecondModulesLogger")));
  ASSERT_NE(getLogger, nullptr);
  MFlowLogger& theirs = *getLogger();
  MDiagnosticsRegistry& theirNames = static_cast<MKLoggerAdapter&>(theirs);
  Logger own;
  own.adapter.nameLabel(5, L"Old");
  own.adapter.nameObject(7, L"Thing");
  own.adapter.nameCurrentThread(L"Tester");
  own.adapter.nameMessage(9, L"Ping");
  theirNames.nameObject(7, L"Theirs");

  own.adapter.attachModule(&own.adapter);  // does nothing
  own.Log(1);
  own.adapter.attachModule(&theirs);
  own.adapter.nameLabelFor(99, 6, L"New");
  own.adapter.nameLabelAlias(8, L"Alias");
  own.adapter.nameState(8, 9, L"Ready");
  own.Log(2);
  theirs.logEvent(kConstructionIndex, 3, 0, 5, 6, 7);
  own.adapter.logEvent(6, 9, 0, 8, 8, 0);
  own.adapter.logEvent(12, 9, 0, 8, 8, 0);
  theirs.attachModule(&own.adapter);
  theirs.logEvent(kConstructionIndex, 4, 0, 5, 6, 7);
  ForeignLogger foreign;
  theirs.attachModule(&foreign);  // detaches
  own.adapter.attachModule(nullptr);
  own.Log(5);

  // The class was named before, the point since, and the object keeps the name that it had there.
  const auto isNamed =
      AllOf(Field(&DumpedRecord::className, "Old"), Field(&DumpedRecord::point, "New"),
            Field(&DumpedRecord::objectName, "Theirs"), Field(&DumpedRecord::threadName, "Tester"));
  std::ostringstream dump;
  theirs.dump(dump);
  EXPECT_THAT(
      ReadFlowDump(dump.str()),
      ElementsAre(
          Module(EventCode::kLogModuleAdded, own), AllOf(Logged(2), isNamed), Logged(3),
          AllOf(Field(&DumpedRecord::className, "Alias"), Field(&DumpedRecord::detail, "to Ready")),
          Field(&DumpedRecord::detail, "Ping"), Module(EventCode::kLogModuleAdded, own), Logged(4),
          Module(EventCode::kLogModuleRemoved, own), Module(EventCode::kLogModuleRemoved, own)));
  EXPECT_THAT(Dump(own.implementation),
              AllOf(SizeIs(10), Contains(Logged(1)), Contains(Logged(4)), Not(Contains(Logged(3)))))
      << "one direction only at first";
}

TEST(MKLoggerAdapterTest, NamesTheThreadToTheSystem) {
  Logger logger;
  std::array<wchar_t, 8> name{};
  std::thread([&] {
    logger.adapter.nameCurrentThread(nullptr);
    logger.adapter.nameCurrentThread(L"Z\u00e4hler \u03b1");
    EXPECT_TRUE(Detail::ReadThreadDescription(::GetCurrentThreadId(), name));
  }).join();
  EXPECT_STREQ(name.data(), L"Z\u00e4hler ") << "all characters that there is room for";
}

TEST(MKLoggerAdapterTest, DumpToFileNeedsTheFolderAndTruncates) {
  const std::filesystem::path folder = "C:\\Temp";
  if (std::filesystem::exists(folder)) GTEST_SKIP() << folder << " is somebody's own";
  Logger logger;
  logger.Log(1);
  EXPECT_FALSE(logger.adapter.dumpToFile(L"ignored"));
  EXPECT_FALSE(std::filesystem::exists(folder)) << "nor is it created";
  std::filesystem::create_directory(folder);
  const Libraries::GenericGuard guard({}, [&] {
    std::filesystem::remove(folder / "DebugDump.log");
    std::filesystem::remove(folder);
  });
  EXPECT_TRUE(logger.adapter.dumpToFile(nullptr));
  logger.Log(2);
  std::ifstream reader(folder / "DebugDump.log");
  EXPECT_TRUE(logger.adapter.dumpToFile(nullptr)) << "while another has it open";
  std::ostringstream text;
  text << reader.rdbuf();
  EXPECT_THAT(ReadFlowDump(text.str()), ElementsAre(Logged(2))) << "truncated first";
}

#endif

}  // namespace
}  // namespace Orvel::Testing
