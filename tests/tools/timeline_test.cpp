// SPDX-License-Identifier: MIT
#include "flow_timeline/timeline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "orvel/logging/event_codes.h"

namespace {

using FlowTimeline::Dump;
using FlowTimeline::Slice;
using FlowTimeline::Timeline;
using testing::ElementsAre;
namespace EventCode = Orvel::Detail::EventCode;

/// A dump of one microsecond per record. A letter stands for a record of thread 1: a capital
/// enters its scope, the small one leaves it, a blank is no record but a microsecond.
Dump DumpOf(std::string_view letters) {
  Dump dump;
  std::int64_t time = 0;
  for (const char letter : letters) {
    const bool isPush = letter >= 'A' && letter <= 'Z';
    if (letter != ' ') {
      dump.records.push_back({.time = time,
                              .kind = isPush ? EventCode::kScopePush : EventCode::kScopePop,
                              .pointId = letter | 0x20,
                              .threadId = 1});
    }
    ++time;
  }
  return dump;
}

/// The slices of the first thread: "A0-3" and its depth behind a dot; "?" for one whose end is
/// another's, "!" for one that is still open, "^" for one that has only an end.
std::vector<std::string> SlicesOf(std::string_view letters) {
  const Dump dump = DumpOf(letters);
  const Timeline timeline(dump);
  std::vector<std::string> texts;
  for (const Slice& slice : timeline.GetThreads().front().slices) {
    static constexpr std::string_view kMarks = " !?^";
    std::string text(1, static_cast<char>(dump.records[slice.record].pointId & ~0x20));
    text += std::to_string(slice.start) + '-' + std::to_string(slice.finish) + '.' +
            std::to_string(slice.depth) + kMarks[static_cast<std::size_t>(slice.kind)];
    texts.push_back(text);
  }
  return texts;
}

TEST(TimelineTest, ScopesNestWhateverIsMissing) {
  EXPECT_THAT(SlicesOf("ABb Cca"), ElementsAre("A0-6.0 ", "B1-2.1 ", "C4-5.1 "));
  EXPECT_THAT(SlicesOf("AAaa"), ElementsAre("A0-3.0 ", "A1-2.1 "));
  EXPECT_THAT(SlicesOf("AB c"), ElementsAre("C0-0.0^", "A0-3.0!", "B1-3.1!"));
  EXPECT_THAT(SlicesOf(" xAyBb"), ElementsAre("X1-1.0^", "Y1-1.0^", "A2-5.0!", "B4-5.1 "));
  EXPECT_THAT(SlicesOf("ABCa"), ElementsAre("A0-3.0 ", "B1-3.1?", "C2-3.2?"));
}

TEST(TimelineTest, ManyEndsWithoutBeginUnderDeepScopesCostLinearTime) {
  const std::string deep(200'000, 'A');
  EXPECT_EQ(SlicesOf(deep + std::string(200'000, 'b')).size(), 400'000u);
}

TEST(TimelineTest, TimesOfAThreadDoNotRunBackwards) {
  Dump dump = DumpOf("AaBb");
  dump.records[1].time = 5;
  dump.records[2].threadId = 2;
  const Timeline timeline(dump);
  EXPECT_EQ(timeline.GetTime(3), 5) << "moved";
  EXPECT_EQ(timeline.GetTime(2), 2) << "another thread";
  EXPECT_EQ(timeline.GetMovedRecords(), 1u);
  EXPECT_EQ(timeline.GetLastTime(), 5);
}

TEST(TimelineTest, StatesLastUntilTheNextOrTheObjectsEnd) {
  Dump dump;
  const auto add = [&dump](std::int32_t kind, std::uint64_t object, std::int32_t classId) {
    dump.records.push_back({.time = static_cast<std::int64_t>(dump.records.size()),
                            .kind = kind,
                            .classId = classId,
                            .object = object,
                            .threadId = 1});
  };
  add(EventCode::kStateChange, 1, 7);
  add(EventCode::kStateChange, 2, 7);
  add(EventCode::kDestruction, 1, 8);  // of a class of the same object that has no states
  add(EventCode::kStateChange, 1, 7);
  add(EventCode::kDestruction, 1, 7);
  add(EventCode::kUpdate, 1, 7);
  add(EventCode::kStateChange, 1, 7);  // the address is used again
  add(EventCode::kUpdate, 1, 7);
  const Timeline timeline(dump);
  std::vector<std::string> spans;
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
  const auto add = [&dump](std::int32_t kind, std::int32_t message, std::uint64_t object) {
    dump.records.push_back({.kind = kind, .arg1 = message, .object = object, .threadId = 1});
  };
  add(EventCode::kMessageReceive, 1, 10);  // 0: sent before the first record
  add(EventCode::kMessageSend, 1, 10);     // 1
  add(EventCode::kMessageSend, 1, 10);     // 2
  add(EventCode::kMessageSend, 2, 10);     // 3: its receipt names the receiver
  add(EventCode::kMessageReceive, 1, 10);  // 4
  add(EventCode::kMessageReceive, 2, 20);  // 5
  add(EventCode::kMessageReceive, 1, 10);  // 6
  add(EventCode::kMessageSend, 1, 20);     // 7: not received
  const Timeline timeline(dump);
  std::vector<std::string> messages;
  for (const FlowTimeline::Message& message : timeline.GetMessages()) {
    messages.push_back(std::to_string(message.send) + "->" + std::to_string(message.receive));
  }
  EXPECT_THAT(messages, ElementsAre("1->4", "2->6", "3->5"));
}

}  // namespace
