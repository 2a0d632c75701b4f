// SPDX-License-Identifier: MIT
// The parts of flow_timeline, in this process.
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

#include "flow_timeline/dump_reader.h"
#include "flow_timeline/timeline.h"
#include "orvel/foundation/utf8.h"
#include "orvel/logging/event_codes.h"
#include "orvel/logging/flow_logger_implementation.h"
#include "orvel/logging/label_id.h"

namespace {

using FlowTimeline::Dump;
using FlowTimeline::ReadDump;
using FlowTimeline::Record;
using FlowTimeline::Timeline;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
namespace EventCode = Orvel::Detail::EventCode;

/// What tells one record from another, as one text each.
std::vector<std::string> Describe(const Dump& dump) {
  std::vector<std::string> texts;
  for (const Record& record : dump.records) {
    texts.push_back(std::to_string(record.kind) + '|' + std::to_string(record.arg1));
    for (const FlowTimeline::TextId id :
         {record.detail, record.className, record.point, record.objectName, record.threadName}) {
      texts.back() += '|' + dump.texts[id];
    }
  }
  return texts;
}

/// The dump of a logger in which `name` is the name of everything, for one record of each kind.
std::string DumpOf(const std::wstring& name) {
  constexpr std::uint64_t kObject = 0x12F3A0;
  MFlowLoggerImplementation logger;
  const std::int32_t label = FlowLabelId(name.c_str());
  logger.NameLabel(label, name.c_str());
  logger.NameObject(kObject, name.c_str());
  logger.NameState(label, 3, name.c_str());
  logger.NameMessage(3, name.c_str());
  const bool isSplit = name.find(L" in_class ") != std::wstring::npos;
  for (const auto& [code, eventName] : Orvel::Detail::kEventNames) {
    const bool hasNoHash = code == EventCode::kStateChange || code == EventCode::kMessageSend ||
                           code == EventCode::kMessageReceive;
    // Is never recorded; or nobody can say where it ends.
    if (code == EventCode::kTimingPointAlias || (hasNoHash && isSplit)) continue;
    logger.Record(code, hasNoHash ? 3 : label, -2, label, label, kObject);
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
    const std::string utf8 = Orvel::Detail::EncodeUtf8Replacing(name);
    const Dump dump = ReadDump(text);
    SCOPED_TRACE(text);
    if (text.find('\r') == std::string::npos) {
      const Dump same =
          ReadDump("\xEF\xBB\xBF" + std::regex_replace(text, std::regex("\n"), "\r\n"));
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
      const bool hasDetail = record.detail != FlowTimeline::kNoText;
      EXPECT_EQ(dump.texts[record.detail], hasDetail ? utf8 : "");
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
  const std::chrono::microseconds wallClock =
      day.time_since_epoch() + std::chrono::hours(13) + std::chrono::milliseconds(7412);
  EXPECT_EQ(dump.loggerWallClock, wallClock.count());
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
    std::array<std::string, 4> damaged;
    damaged.fill(text);
    damaged[0].erase(first, second - first);   // the readable line is gone
    damaged[1].erase(second, next - second);   // the numbers are gone
    damaged[2].replace(first, 40, "garbage");  // the beginning is overwritten
    damaged[3][second + 5] = '?';              // no number
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

/// Adds a record of thread 1, whose time is its place in the dump. `number` is that of its class
/// and of its message.
void Add(Dump& dump, std::int32_t kind, std::uint64_t object, std::int32_t number) {
  dump.records.push_back({.time = std::ssize(dump.records),
                          .kind = kind,
                          .arg1 = number,
                          .classId = number,
                          .object = object,
                          .threadId = 1});
}

/// The slices of a thread's records. A letter stands for one: a capital enters its scope, the small
/// one leaves it, a blank is no scope's. "A0-3" and its depth behind a dot; "?" for one whose end
/// is another's, "!" for one that is still open, "^" for one that has only an end.
std::vector<std::string> SlicesOf(std::string_view letters) {
  Dump dump;
  for (const char letter : letters) {
    const std::int32_t scope = letter < 'a' ? EventCode::kScopePush : EventCode::kScopePop;
    Add(dump, letter == ' ' ? EventCode::kUpdate : scope,
        static_cast<unsigned char>(letter & ~0x20), 0);
  }
  const Timeline timeline(dump);
  std::vector<std::string> texts;
  for (const FlowTimeline::Slice& slice : timeline.GetThreads().front().slices) {
    texts.push_back(static_cast<char>(dump.records[slice.record].object) +
                    std::to_string(slice.start) + '-' + std::to_string(slice.finish) + '.' +
                    std::to_string(slice.depth) + " !?^"[static_cast<std::size_t>(slice.kind)]);
  }
  return texts;
}

TEST(TimelineTest, ScopesNestWhateverIsMissing) {
  EXPECT_THAT(SlicesOf("ABb Cca"), ElementsAre("A0-6.0 ", "B1-2.1 ", "C4-5.1 "));
  EXPECT_THAT(SlicesOf("AAaa"), ElementsAre("A0-3.0 ", "A1-2.1 "));
  EXPECT_THAT(SlicesOf("AB c"), ElementsAre("C0-0.0^", "A0-3.0!", "B1-3.1!"));
  EXPECT_THAT(SlicesOf("xAyBb"), ElementsAre("X0-0.0^", "Y0-0.0^", "A1-4.0!", "B3-4.1 "));
  EXPECT_THAT(SlicesOf("ABCa"), ElementsAre("A0-3.0 ", "B1-3.1?", "C2-3.2?"));
}

TEST(TimelineTest, HostileDumpsCostLinearTime) {
  std::string text;
  while (text.size() < 2'000'000)
    text += "% Update in_class a at a at \n    0.000001, -22, 0, 0, 1, 2, 3, 4\n";
  std::string unended = "% Update in_class ";
  while (unended.size() < 2'000'000) unended += " at    0.000001, -22, 0, 0, 1, 2, 3, 4\n";
  EXPECT_THAT(ReadDump(text).records, IsEmpty());
  EXPECT_THAT(ReadDump(unended).records, IsEmpty());
  // Ends without begin under deep scopes.
  EXPECT_THAT(SlicesOf(std::string(200'000, 'A') + std::string(200'000, 'b')), SizeIs(400'000u));
}

TEST(TimelineTest, StatesLastUntilTheNextOrTheObjectsEnd) {
  Dump dump;
  Add(dump, EventCode::kStateChange, 1, 7);
  Add(dump, EventCode::kStateChange, 2, 7);
  Add(dump, EventCode::kDestruction, 1, 8);  // of a class of the same object that has no states
  Add(dump, EventCode::kStateChange, 1, 7);
  Add(dump, EventCode::kDestruction, 1, 7);
  Add(dump, EventCode::kUpdate, 1, 7);
  Add(dump, EventCode::kStateChange, 1, 7);  // the address is used again
  Add(dump, EventCode::kUpdate, 1, 7);
  std::vector<std::string> spans;
  const Timeline timeline(dump);
  for (const FlowTimeline::Lane& lane : timeline.GetLanes()) {
    for (const FlowTimeline::StateSpan& state : lane.states) {
      spans.push_back(std::to_string(lane.object) + ": " + std::to_string(state.start) + '-' +
                      std::to_string(state.finish));
    }
  }
  EXPECT_THAT(spans, ElementsAre("1: 0-3", "1: 3-4", "1: 6-7", "2: 1-7"));
}

TEST(TimelineTest, MessagesGoFromTheOldestSendToTheReceipt) {
  Dump dump;
  Add(dump, EventCode::kMessageReceive, 10, 1);  // 0: sent before the first record
  Add(dump, EventCode::kMessageSend, 10, 1);     // 1
  Add(dump, EventCode::kMessageSend, 10, 1);     // 2
  Add(dump, EventCode::kMessageSend, 10, 2);     // 3: its receipt names the receiver
  Add(dump, EventCode::kMessageReceive, 10, 1);  // 4
  Add(dump, EventCode::kMessageReceive, 20, 2);  // 5
  Add(dump, EventCode::kMessageReceive, 10, 1);  // 6
  Add(dump, EventCode::kMessageSend, 20, 1);     // 7: not received
  std::vector<std::string> messages;
  const Timeline timeline(dump);
  for (const FlowTimeline::Message& message : timeline.GetMessages()) {
    messages.push_back(std::to_string(message.send) + "->" + std::to_string(message.receive));
  }
  EXPECT_THAT(messages, ElementsAre("1->4", "2->6", "3->5"));
}

}  // namespace
