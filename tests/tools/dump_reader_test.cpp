// SPDX-License-Identifier: MIT
#include "flow_timeline/dump_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <regex>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "orvel/logging/event_codes.h"
#include "orvel/logging/flow_logger_implementation.h"
#include "orvel/logging/label_id.h"

namespace {

using FlowTimeline::Dump;
using FlowTimeline::ReadDump;
using FlowTimeline::Record;
using testing::IsEmpty;
namespace EventCode = Orvel::Detail::EventCode;

constexpr std::uint64_t kObject = 0x12F3A0;

/// What tells one record from another, as one text.
std::string Describe(const Dump& dump, const Record& record) {
  std::string text = std::to_string(record.kind) + '|' + std::to_string(record.arg1);
  for (const FlowTimeline::TextId id :
       {record.detail, record.className, record.point, record.objectName, record.threadName}) {
    text += '|' + dump.texts[id];
  }
  return text;
}

std::vector<std::string> Describe(const Dump& dump) {
  std::vector<std::string> texts;
  for (const Record& record : dump.records) texts.push_back(Describe(dump, record));
  return texts;
}

/// The dump of a logger in which `name` is the name of everything, for one record of each kind.
std::string DumpOf(const wchar_t* name) {
  MFlowLoggerImplementation logger;
  const std::int32_t label = FlowLabelId(name);
  logger.NameLabel(label, name);
  logger.NameObject(kObject, name);
  logger.NameState(label, 3, name);
  logger.NameMessage(7, name);
  for (const Orvel::Detail::EventName& event : Orvel::Detail::kEventNames) {
    const bool isError = event.code >= EventCode::kRootError && event.code <= EventCode::kWarning;
    const bool isState = event.code == EventCode::kStateChange;
    if (event.code == EventCode::kTimingPointAlias) continue;  // is never recorded
    const bool hasNoHash = isState || event.code == EventCode::kMessageSend ||
                           event.code == EventCode::kMessageReceive;
    if (hasNoHash && std::wstring_view(name).find(L" in_class ") != std::wstring_view::npos) {
      continue;  // nobody can say where it ends
    }
    logger.Record(event.code, isError ? label : isState ? 3 : 7, -2, label, label, kObject);
  }
  logger.Record(EventCode::kTimingPoint, 1, 2, label, 12345, 0);
  std::ostringstream stream;
  logger.Dump(stream);
  return stream.str();
}

TEST(DumpReaderTest, NamesComeBackWhateverTheyHold) {
  for (const wchar_t* const name :
       {L"Plain", L"", L"A at B", L"A in_class B at C", L"X for_object 000000000012F3A0 (Y)",
        L"two\nlines", L"two\r\nlines\r", L"A\n% Scope_push in_class B", L"A\n%% Reference time: 1",
        L"A\n    0.000001, -7, 0, 0, 1, 2, 3, 4", L"</script><!--\"'\x01\x7F", L"\xE9t\xE9"}) {
    const std::string text = DumpOf(name);
    std::string utf8;
    for (const wchar_t* at = name; *at != L'\0'; ++at) {
      utf8 += *at == L'\xE9' ? std::string("\xC3\xA9") : std::string(1, static_cast<char>(*at));
    }
    const Dump dump = ReadDump(text);
    SCOPED_TRACE(text);
    const std::string windows = std::regex_replace(text, std::regex("\n"), "\r\n");
    if (text.find('\r') == std::string::npos) {
      const Dump same = ReadDump("\xEF\xBB\xBF" + windows);
      EXPECT_EQ(Describe(same), Describe(dump));
      EXPECT_TRUE(same.loggerWallClock.has_value());
    }
    EXPECT_EQ(dump.skippedRecords + dump.strayLines, 0u);
    EXPECT_GE(dump.records.size(), Orvel::Detail::kEventNames.size() - 3);
    for (const Record& record : dump.records) {
      const bool isNumbered = record.pointId == 12345;
      EXPECT_EQ(dump.texts[record.className], utf8);
      EXPECT_EQ(dump.texts[record.point], isNumbered ? "12345" : utf8);
      EXPECT_EQ(dump.texts[record.objectName], isNumbered ? "unknown" : utf8);
      EXPECT_TRUE(record.detail == FlowTimeline::kNoText || dump.texts[record.detail] == utf8);
    }
  }
}

TEST(DumpReaderTest, HeadGivesTheWallClock) {
  const auto read = [](const std::string& head) { return ReadDump(head + "\n%%\n"); };
  const Dump dump = read(
      "%% Reference time: -0.000217 is approximately 412ms past Wed Nov  4 "
      "13:00:07 2026");
  EXPECT_TRUE(dump.hasHead);
  EXPECT_EQ(dump.loggerTime, -217);
  const std::chrono::sys_days day(std::chrono::year(2026) / 11 / 4);
  const auto wallClock = day + std::chrono::hours(13) + std::chrono::milliseconds(7412);
  EXPECT_EQ(
      dump.loggerWallClock,
      std::chrono::duration_cast<std::chrono::microseconds>(wallClock.time_since_epoch()).count());
  EXPECT_EQ(read("%% Reference time: 1.500000 is wrong.").loggerTime, 1'500'000);
  EXPECT_FALSE(read("%% Reference time: -0.1 is approximately 412ms past Tue Nov 32 13:00:07 2026")
                   .loggerWallClock.has_value());
  EXPECT_FALSE(ReadDump("no dump\nat all").hasHead);
}

TEST(DumpReaderTest, CutAnywhereKeepsTheRecordsBeforeTheCut) {
  const std::string text = DumpOf(L"Plain");
  const std::vector<std::string> all = Describe(ReadDump(text));
  for (std::size_t length = 0; length < text.size(); ++length) {
    SCOPED_TRACE(length);
    const Dump dump = ReadDump(text.substr(0, length));
    const std::vector<std::string> some = Describe(dump);
    ASSERT_LT(some.size(), all.size());
    ASSERT_TRUE(std::equal(some.begin(), some.end(), all.begin()));
    ASSERT_EQ(dump.skippedRecords, dump.isCut ? 1u : 0u);
  }
}

TEST(DumpReaderTest, DamageCostsTheRecordsThatItHit) {
  const std::string text = DumpOf(L"Plain");
  const std::vector<std::string> all = Describe(ReadDump(text));
  std::size_t first = text.find("\n% ") + 1;
  for (std::size_t record = 0; record < all.size(); ++record) {
    SCOPED_TRACE(record);
    const std::size_t second = text.find('\n', first) + 1;
    const std::size_t next = text.find('\n', second) + 1;
    std::vector<std::string> others = all;
    others.erase(others.begin() + static_cast<std::ptrdiff_t>(record));
    std::vector<std::string> damaged(5, text);
    damaged[0].erase(first, second - first);   // the readable line is gone
    damaged[1].erase(second, next - second);   // the numbers are gone
    damaged[2][first + 4] = '?';               // another event's name
    damaged[3][second + 5] = '?';              // no number
    damaged[4].replace(first, 40, "garbage");  // the beginning is overwritten
    for (const std::string& one : damaged) {
      const Dump dump = ReadDump(one);
      ASSERT_EQ(Describe(dump), others) << one;
      EXPECT_EQ(dump.skippedRecords, 1u);
    }
    first = next;
  }
  const Dump twice = ReadDump(text + text);
  EXPECT_EQ(Describe(twice), all);
  EXPECT_TRUE(twice.holdsAnother);
}

TEST(DumpReaderTest, HostileTextCostsLinearTime) {
  std::string text;
  while (text.size() < 2'000'000)
    text += "% Update in_class a at a at \n    0.000001, -22, 0, 0, 1, 2, 3, 4\n";
  std::string unended = "% Update in_class ";
  while (unended.size() < 2'000'000) unended += " at    0.000001, -22, 0, 0, 1, 2, 3, 4\n";
  EXPECT_THAT(ReadDump(text).records, IsEmpty());
  EXPECT_THAT(ReadDump(unended).records, IsEmpty());
}

}  // namespace
