// SPDX-License-Identifier: MIT
#include "orvel/logging/klogger_adapter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

#include "orvel/logging/event_codes.h"
#include "orvel/logging/flow_logger_implementation.h"
#include "orvel/platform/debugger_thread_name.h"
#include "orvel/platform/windows_api.h"
#include "orvel/threads/generic_guard.h"
#include "tests/support/flow_dump_reader.h"
#include "tests/support/meeting.h"

namespace {

using Orvel::Testing::ReadFlowDump;
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::SizeIs;
namespace EventCode = Orvel::Detail::EventCode;
using Record = Orvel::Testing::DumpedRecord;

constexpr std::int32_t kConstructionIndex = static_cast<std::int32_t>(MFlowEvent::kConstruction);

/// A logger of the test's own.
struct Logger {
  MFlowLoggerImplementation implementation;
  MKLoggerAdapter adapter{&implementation};

  std::vector<Record> Dump() {
    std::ostringstream stream;
    adapter.dump(stream);
    return ReadFlowDump(stream.str());
  }
  void Log(std::int32_t arg1) { adapter.logEvent(kConstructionIndex, arg1, 0, 5, 6, 7); }
};

class ForeignLogger : public MFlowLogger {
 public:
  void logEvent(std::int32_t, std::int32_t, std::int32_t, std::int32_t, std::int32_t,
                std::uint64_t) noexcept override {}
  void dump(std::ostream&) override {}
  bool dumpToFile(const wchar_t*) override { return false; }
  void attachModule(MFlowLogger*) override {}
};

auto Module(std::int32_t kind, const Logger& other) {
  return AllOf(Field(&Record::kind, kind),
               Field(&Record::object, FlowObject(&other.implementation)), Field(&Record::arg1, 0),
               Field(&Record::classId, 0));
}
auto Logged(std::int32_t arg1) {
  return AllOf(Field(&Record::kind, EventCode::kConstruction), Field(&Record::arg1, arg1));
}

TEST(MKLoggerAdapterTest, EachIndexRecordsItsCode) {
  Logger logger;
  for (std::int32_t index = -2; index < 17; ++index) {
    logger.adapter.logEvent(index, 1, 2, 3, 4, 0xFEDCBA9876543210);
  }
  std::vector<std::string> recorded;
  for (const Record& record : logger.Dump()) {
    recorded.push_back(std::to_string(record.kind) + ' ' + record.event);
  }
  EXPECT_THAT(recorded, ElementsAre("0 Timing_point", "-105 Root_error", "-104 Cascade_error",
                                    "-103 Dismissed_error", "-14 Construction", "-13 Destruction",
                                    "-25 State_change", "-7 Scope_push", "-8 Scope_pop",
                                    "0 Timing_point", "-102 Return_error", "-101 Warning",
                                    "-21 Message_send", "-20 Message_receive"))
      << "an index out of range records nothing";
}

TEST(MKLoggerAdapterTest, AttachedLoggerGetsRecordsAndNames) {
  Logger own;
  Logger other;
  own.adapter.nameLabel(5, L"Old");
  own.adapter.nameObject(7, L"Thing");
  own.adapter.nameCurrentThread(L"Tester");
  own.adapter.nameMessage(9, L"Ping");
  other.adapter.nameObject(7, L"Theirs");

  own.Log(1);
  own.adapter.attachModule(&other.adapter);
  own.adapter.nameLabelFor(99, 6, L"New");
  own.adapter.nameLabelAlias(8, L"Alias");
  own.adapter.nameState(8, 9, L"Ready");
  own.Log(2);
  other.Log(3);
  own.adapter.logEvent(6, 9, 0, 8, 8, 0);
  own.adapter.logEvent(12, 9, 0, 8, 8, 0);

  // The class was named before, the point since, and the object keeps the name that it had there.
  const auto isNamed =
      AllOf(Field(&Record::className, "Old"), Field(&Record::point, "New"),
            Field(&Record::objectName, "Theirs"), Field(&Record::threadName, "Tester"));
  EXPECT_THAT(
      other.Dump(),
      ElementsAre(Module(EventCode::kLogModuleAdded, own), AllOf(Logged(2), isNamed), Logged(3),
                  AllOf(Field(&Record::className, "Alias"), Field(&Record::detail, "to Ready")),
                  Field(&Record::detail, "Ping")));
  EXPECT_THAT(own.Dump(), ElementsAre(Logged(1), Module(EventCode::kLogModuleAdded, other),
                                      Logged(2), testing::_, testing::_))
      << "one direction only";
}

TEST(MKLoggerAdapterTest, AnythingButAnAdapterDetaches) {
  Logger own;
  Logger other;
  ForeignLogger foreign;
  MKLoggerAdapter second(&own.implementation);
  own.adapter.attachModule(nullptr);
  own.adapter.attachModule(&own.adapter);
  own.adapter.attachModule(&second);
  own.Log(0);
  EXPECT_THAT(own.Dump(), ElementsAre(Logged(0))) << "nothing was attached, nor to itself";
  own.adapter.attachModule(&other.adapter);
  own.Log(1);
  own.adapter.attachModule(&foreign);
  own.Log(2);
  own.adapter.attachModule(&foreign);
  EXPECT_THAT(own.Dump(), ElementsAre(Module(EventCode::kLogModuleAdded, other), Logged(1),
                                      Module(EventCode::kLogModuleRemoved, other), Logged(2)));
  EXPECT_THAT(other.Dump(), ElementsAre(Module(EventCode::kLogModuleAdded, own), Logged(1),
                                        Module(EventCode::kLogModuleRemoved, own)));
}

TEST(MKLoggerAdapterTest, AnotherModulesLoggerAttachesBothWays) {
  // Stays loaded: its logger is never destroyed.
  const HMODULE module = ::LoadLibraryW(L"second_module.dll");
  ASSERT_NE(module, nullptr) << ::GetLastError();
  const auto getLogger = reinterpret_cast<MFlowLogger* (*)()>(
      reinterpret_cast<void (*)()>(::GetProcAddress(module, "GetSecondModulesLogger")));
  ASSERT_NE(getLogger, nullptr);
  MFlowLogger& theirs = *getLogger();
  Logger own;
  own.adapter.nameLabel(5, L"Old");
  own.adapter.attachModule(&theirs);
  theirs.attachModule(&own.adapter);
  theirs.logEvent(kConstructionIndex, 1, 0, 5, 6, 7);
  own.Log(2);
  own.adapter.attachModule(nullptr);
  theirs.attachModule(nullptr);

  const auto ofKind = [](std::int32_t kind) { return Field(&Record::kind, kind); };
  const auto named = [](std::int32_t arg1) {
    return AllOf(Logged(arg1), Field(&Record::className, "Old"));
  };
  const auto isWhole = ElementsAre(
      ofKind(EventCode::kLogModuleAdded), ofKind(EventCode::kLogModuleAdded), named(1), named(2),
      ofKind(EventCode::kLogModuleRemoved), ofKind(EventCode::kLogModuleRemoved));
  std::ostringstream dump;
  theirs.dump(dump);
  EXPECT_THAT(ReadFlowDump(dump.str()), isWhole);
  EXPECT_THAT(own.Dump(), isWhole);
}

// Nothing in this program has used the process's logger before.
TEST(MKLoggerAdapterTest, FirstUseByManyThreadsBuildsOneLoggerThatKnowsThemByName) {
  constexpr int kThreads = 16;
  std::array<MKLoggerAdapter*, kThreads> seen{};
  {
    Orvel::Testing::StartLine start(kThreads);
    std::vector<std::jthread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        start.Await();
        MKLoggerAdapter& logger = flowLogger();
        seen[static_cast<std::size_t>(t)] = &logger;
        logger.nameCurrentThread((L"worker " + std::to_wstring(t)).c_str());
        for (int i = 0; i < 50; ++i) logger.nameCurrentThread(L"too late");
        logger.logEvent(0, t, 2, 3, 4, 0);
        start.Await();  // the id of a thread that has gone may be used again
      });
    }
  }
  EXPECT_THAT(seen, testing::Each(&flowLogger()));
  const auto records = Orvel::Testing::TakeFlowRecords();
  ASSERT_THAT(records, SizeIs(kThreads));
  for (const Record& record : records) {
    EXPECT_EQ(record.threadName, "worker " + std::to_string(record.arg1));
    EXPECT_EQ(record.objectName, "unknown") << "no object has no name, either";
  }
}

TEST(MKLoggerAdapterTest, NamesTheThreadToTheSystem) {
  Logger logger;
  std::array<wchar_t, 8> name{};
  std::thread([&] {
    logger.adapter.nameCurrentThread(nullptr);
    logger.adapter.nameCurrentThread(L"Z\u00e4hler \u03b1");
    EXPECT_TRUE(Orvel::Detail::ReadThreadDescription(::GetCurrentThreadId(), name));
  }).join();
  EXPECT_STREQ(name.data(), L"Z\u00e4hler ") << "all characters that there is room for";
}

TEST(MKLoggerAdapterTest, DumpToFileNeedsTheFolderAndTruncates) {
  const std::filesystem::path path = "C:\\Temp\\DebugDump.log";
  if (std::filesystem::exists(path.parent_path())) {
    GTEST_SKIP() << path.parent_path() << " is somebody's own";
  }
  const Orvel::Libraries::GenericGuard cleaningUp(nullptr, [&] {
    std::error_code error;  // nothing to be done about one here
    std::filesystem::remove(path, error);
    std::filesystem::remove(path.parent_path(), error);
  });
  Logger logger;
  logger.Log(1);
  EXPECT_FALSE(logger.adapter.dumpToFile(L"ignored"));
  EXPECT_FALSE(std::filesystem::exists(path.parent_path())) << "nor is it created";

  std::filesystem::create_directory(path.parent_path());
  EXPECT_TRUE(logger.adapter.dumpToFile(nullptr));
  logger.Log(2);
  const std::ifstream reader(path);
  EXPECT_TRUE(logger.adapter.dumpToFile(nullptr)) << "while another has it open";
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  EXPECT_THAT(ReadFlowDump(text.str()), ElementsAre(Logged(2))) << "truncated first";
}

}  // namespace
