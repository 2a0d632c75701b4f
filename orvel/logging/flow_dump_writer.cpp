// SPDX-License-Identifier: MIT
#include "orvel/logging/flow_dump_writer.h"

#include <charconv>
#include <cstddef>
#include <iterator>
#include <ostream>
#include <string_view>

#include "orvel/logging/event_codes.h"
#include "orvel/platform/kernel_wait.h"

namespace Orvel::Detail {
namespace {

constexpr std::uint32_t kRecordsPerPause = 0x4000;
constexpr std::uint32_t kPauseMs = 10;
// How long one dump waits, altogether, for recorders that have a slot and are still storing.
constexpr std::uint32_t kSettlePauses = 10;
constexpr std::uint32_t kSettlePauseMs = 1;

template <class Integer>
void AppendDecimal(std::string& text, Integer value) {
  char digits[24];
  const auto end = std::to_chars(std::begin(digits), std::end(digits), value).ptr;
  text.append(digits, end);
}

void AppendPointer(std::string& text, std::uint64_t value) {
  constexpr char kHexDigits[] = "0123456789ABCDEF";
  for (int shift = 60; shift >= 0; shift -= 4) text += kHexDigits[(value >> shift) & 0xF];
}

void WriteText(std::ostream& stream, std::string_view text) {
  // Unformatted, so that the width or base that a caller left in the stream changes nothing.
  stream.write(text.data(), static_cast<std::streamsize>(text.size()));
}

/// Returns the record in a slot; waits a moment for one that is still being stored.
EventRecord ReadSettled(const EventRing& ring, std::uint32_t index,
                        std::uint32_t& pausesLeft) noexcept {
  EventRecord record = ring.Read(index);
  for (; !record.IsComplete() && pausesLeft > 0; --pausesLeft) {
    SleepFor(kSettlePauseMs);
    record = ring.Read(index);
  }
  return record;
}

}  // namespace

bool FlowDumpWriter::Write(EventRing& ring, std::ostream& stream) const {
  const EventRing::Span span = ring.StopRecording();
  std::uint32_t pausesLeft = kSettlePauses;
  const std::int64_t reference =
      span.count != 0 ? ReadSettled(ring, span.first, pausesLeft).counter : 0;
  WriteText(stream, FormatHeader(reference));
  for (std::uint32_t walked = 0; walked < span.count && stream.good(); ++walked) {
    if (walked % kRecordsPerPause == 0) SleepFor(kPauseMs);
    const EventRecord record =
        ReadSettled(ring, (span.first + walked) & EventRing::kPositionMask, pausesLeft);
    if (record.IsEmpty()) break;
    std::string text = FormatRecord(record, reference);
    text += '\n';
    WriteText(stream, text);
  }
  stream.flush();
  // Not `!stream.fail()`: a stream at its end takes no text either, and has not failed.
  return stream.good();
}

std::string FlowDumpWriter::FormatHeader(std::int64_t reference) const {
  std::string text = "%% Reference time: " + FormatTime(clock_.counter - reference);
  std::string wallClock;
  if (FormatWallClock(clock_.time.seconds, wallClock)) {
    text += " is approximately ";
    AppendDecimal(text, clock_.time.milliseconds);
    text += "ms past ";
    text += wallClock;
  } else {
    text += " is wrong.\n";
  }
  text += "%%\n";
  return text;
}

std::string FlowDumpWriter::FormatTime(std::int64_t ticks) const {
  constexpr std::int64_t kMicrosecondsPerSecond = 1'000'000;
  const std::int64_t seconds = ticks / clock_.frequency;
  const std::int64_t microseconds =
      ticks % clock_.frequency * kMicrosecondsPerSecond / clock_.frequency;
  std::string text;
  if (ticks < 0) text += '-';
  AppendDecimal(text, seconds < 0 ? -seconds : seconds);
  text += '.';
  // Adding one million keeps the leading zeros of the six digits.
  std::string digits;
  AppendDecimal(digits, kMicrosecondsPerSecond + (microseconds < 0 ? -microseconds : microseconds));
  text.append(digits, 1);
  return text;
}

std::string FlowDumpWriter::FormatRecord(const EventRecord& record, std::int64_t reference) const {
  std::string text;
  if (record.IsEmpty()) return text;
  text.reserve(256);
  text += "% ";
  text += EventText(record.kind);
  AppendArguments(record, text);
  AppendPlace(record, text);
  AppendObjectAndThread(record, text);

  text += "\n    ";
  text += FormatTime(record.counter - reference);
  for (const std::int32_t value :
       {record.kind, record.arg1, record.arg2, record.classId, record.pointId}) {
    text += ", ";
    AppendDecimal(text, value);
  }
  text += ", ";
  AppendDecimal(text, static_cast<std::int64_t>(record.object));
  text += ", ";
  AppendDecimal(text, static_cast<std::int32_t>(record.threadId));
  return text;
}

/// Appends the arguments of those kinds of event that show them in the first line.
void FlowDumpWriter::AppendArguments(const EventRecord& record, std::string& text) const {
  if (HoldsLabel(record.kind)) {
    text += ' ';
    if (!AppendLabel(record.arg1, text)) text += "(unknown)";
  }
  if (record.kind == EventCode::kStateChange) {
    text += " to ";
    if (!AppendStateOrMessage(FlowNames::StateKey(record.classId, record.arg1), text)) {
      text += "state_";
      AppendDecimal(text, record.arg1);
    }
  }
  if (record.kind == EventCode::kMessageSend || record.kind == EventCode::kMessageReceive) {
    text += ' ';
    if (!AppendStateOrMessage(record.arg1, text)) AppendDecimal(text, record.arg1);
  }
  if (record.kind == EventCode::kTimingPoint) {
    text += " (";
    AppendDecimal(text, record.arg1);
    text += ", ";
    AppendDecimal(text, record.arg2);
    text += ')';
  }
}

void FlowDumpWriter::AppendPlace(const EventRecord& record, std::string& text) const {
  text += " in_class ";
  if (!AppendLabel(record.classId, text)) text += "(unknown)";

  std::string point;
  const bool pointIsNamed = AppendLabel(record.pointId, point);
  if (pointIsNamed || record.kind != EventCode::kTimingPoint) {
    text += " at ";
    text += pointIsNamed ? std::string_view(point) : "(unknown)";
  } else {
    text += " at_point ";
    AppendDecimal(text, record.pointId);
  }
}

void FlowDumpWriter::AppendObjectAndThread(const EventRecord& record, std::string& text) const {
  text += " for_object ";
  AppendPointer(text, record.object);
  text += " (";
  if (!readable_.objects || !names_.objects.AppendName(record.object, text)) text += "unknown";
  text += ')';

  if (record.threadId != 0) {
    text += " in_thread ";
    AppendDecimal(text, record.threadId);
    text += " (";
    if (!readable_.threads || !names_.threads.AppendName(record.threadId, text)) text += "unknown";
    text += ')';
  }
}

bool FlowDumpWriter::AppendLabel(std::int32_t label, std::string& text) const {
  return readable_.labels && names_.labels.AppendName(label, text);
}

bool FlowDumpWriter::AppendStateOrMessage(std::int32_t key, std::string& text) const {
  return readable_.statesAndMessages && names_.statesAndMessages.AppendName(key, text);
}

}  // namespace Orvel::Detail
