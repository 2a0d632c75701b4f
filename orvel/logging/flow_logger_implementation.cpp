// SPDX-License-Identifier: MIT
#include "orvel/logging/flow_logger_implementation.h"

#include <charconv>
#include <cstddef>
#include <iterator>
#include <mutex>
#include <ostream>
#include <string_view>

#include "orvel/logging/event_codes.h"
#include "orvel/platform/windows_api.h"

namespace {

using Orvel::Detail::EventRecord;
using Orvel::Detail::EventRing;
namespace EventCode = Orvel::Detail::EventCode;

constexpr std::uint32_t kRecordsPerPause = 0x4000;
constexpr std::uint32_t kPauseMs = 10;
// Grace that one dump gives, in all, to recorders that have their slot and are still storing.
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

void Write(std::ostream& stream, std::string_view text) {
  // Unformatted, so that the width or base that a caller left in the stream changes nothing.
  stream.write(text.data(), static_cast<std::streamsize>(text.size()));
}

}  // namespace

MFlowLoggerImplementation::MFlowLoggerImplementation()
    : frequency_(Orvel::Detail::ReadPerformanceFrequency()),
      constructionCounter_(Orvel::Detail::ReadPerformanceCounter()),
      constructionTime_(Orvel::Detail::ReadWallClock()) {
  for (const Orvel::Detail::EventName& entry : Orvel::Detail::kEventNames) {
    eventNames_.emplace(entry.code, entry.name);
  }
}

void MFlowLoggerImplementation::Dump(std::ostream& stream) noexcept {
  // The stream is foreign code and runs under this lock: it keeps dumps apart and nothing else.
  // The lock is recursive, so a stream that dumps in its turn does no harm.
  const std::scoped_lock lock(dumpSection_);
  if (!stream.good()) return;
  try {
    if (!WriteRecords(stream, {})) return;
  } catch (...) {
    // Whatever the stream threw, the records stay and recording stays off: the next dump that
    // runs to its end shows them.
    return;
  }
  ring_.RestartRecording();
}

MFlowLoggerImplementation::CrashDumpGaps MFlowLoggerImplementation::DumpForCrash(
    std::ostream& stream, std::uint32_t timeoutMs) noexcept {
  CrashDumpGaps gaps;
  // The tables' locks stay held, so that no look-up waits for one.
  const std::unique_lock threads = threadNames_.TryLockFor(timeoutMs);
  const std::unique_lock labels = labels_.TryLockFor(timeoutMs);
  const std::unique_lock states = stateAndMessageNames_.TryLockFor(timeoutMs);
  const std::unique_lock objects = objectNames_.TryLockFor(timeoutMs);
  const ReadableNames readable{threads.owns_lock(), labels.owns_lock(), states.owns_lock(),
                               objects.owns_lock()};
  gaps.names =
      !(readable.threads && readable.labels && readable.statesAndMessages && readable.objects);
  const bool isOnlyDump = dumpSection_.TryLockFor(timeoutMs);
  gaps.order = !isOnlyDump;
  try {
    gaps.rest = !WriteRecords(stream, readable);
  } catch (...) {
    gaps.rest = true;
  }
  if (isOnlyDump) {
    // Also when the stream failed: a process that goes on after all is not to lose its recorder.
    ring_.RestartRecording();
    dumpSection_.unlock();
  }
  return gaps;
}

bool MFlowLoggerImplementation::AppendThreadName(std::uint32_t threadId, std::string& text,
                                                 std::uint32_t timeoutMs) const {
  const std::unique_lock lock = threadNames_.TryLockFor(timeoutMs);
  return lock.owns_lock() && threadNames_.AppendName(threadId, text);
}

bool MFlowLoggerImplementation::WriteRecords(std::ostream& stream, const ReadableNames& readable) {
  const EventRing::Span span = ring_.StopRecording();
  std::uint32_t pausesLeft = kSettlePauses;
  const std::int64_t reference = span.count != 0 ? ReadSettled(span.first, pausesLeft).counter : 0;
  WriteHeader(stream, reference);
  for (std::uint32_t walked = 0; walked < span.count && stream.good(); ++walked) {
    if (walked % kRecordsPerPause == 0) ::Sleep(kPauseMs);
    const EventRecord record =
        ReadSettled((span.first + walked) & EventRing::kPositionMask, pausesLeft);
    if (record.IsEmpty()) break;
    std::string text = FormatRecord(record, reference, readable);
    text += '\n';
    Write(stream, text);
  }
  stream.flush();
  // Not the stream's own test: one that reached its end takes no text and passes that.
  return stream.good();
}

EventRecord MFlowLoggerImplementation::ReadSettled(std::uint32_t index,
                                                   std::uint32_t& pausesLeft) const noexcept {
  EventRecord record = ring_.Read(index);
  for (; !record.IsComplete() && pausesLeft > 0; --pausesLeft) {
    ::Sleep(kSettlePauseMs);
    record = ring_.Read(index);
  }
  return record;
}

void MFlowLoggerImplementation::WriteHeader(std::ostream& stream, std::int64_t reference) const {
  std::string text = "%% Reference time: " + FormatTime(constructionCounter_ - reference);
  std::string wallClock;
  if (Orvel::Detail::FormatWallClock(constructionTime_.seconds, wallClock)) {
    text += " is approximately ";
    AppendDecimal(text, constructionTime_.milliseconds);
    text += "ms past ";
    text += wallClock;
  } else {
    text += " is wrong.\n";
  }
  text += "%%\n";
  Write(stream, text);
}

std::string MFlowLoggerImplementation::FormatTime(std::int64_t ticks) const {
  constexpr std::int64_t kMicrosecondsPerSecond = 1'000'000;
  const std::int64_t seconds = ticks / frequency_;
  const std::int64_t microseconds = ticks % frequency_ * kMicrosecondsPerSecond / frequency_;
  std::string text;
  if (ticks < 0) text += '-';
  AppendDecimal(text, seconds < 0 ? -seconds : seconds);
  text += '.';
  // One million more than the value gives the six digits with their leading zeros.
  std::string digits;
  AppendDecimal(digits, kMicrosecondsPerSecond + (microseconds < 0 ? -microseconds : microseconds));
  text.append(digits, 1);
  return text;
}

std::string MFlowLoggerImplementation::FormatRecord(std::uint32_t index,
                                                    std::int64_t reference) const {
  if (index >= EventRing::kCapacity) return "*OUT OF BOUNDS*";
  return FormatRecord(ring_.Read(index), reference, {});
}

std::string MFlowLoggerImplementation::FormatRecord(const EventRecord& record,
                                                    std::int64_t reference,
                                                    const ReadableNames& readable) const {
  std::string text;
  if (record.IsEmpty()) return text;
  text.reserve(256);
  const auto look = [](bool isReadable, const auto& table, auto key, std::string& target) {
    return isReadable && table.AppendName(key, target);
  };

  text += "% ";
  const auto eventName = eventNames_.find(record.kind);
  text += eventName != eventNames_.end() ? std::string_view(eventName->second) : "unknown event";

  if (record.kind >= EventCode::kRootError && record.kind <= EventCode::kWarning) {
    text += ' ';
    if (!look(readable.labels, labels_, record.arg1, text)) text += "(unknown)";
  }
  if (record.kind == EventCode::kStateChange) {
    text += " to ";
    if (!look(readable.statesAndMessages, stateAndMessageNames_,
              StateKey(record.classId, record.arg1), text)) {
      text += "state_";
      AppendDecimal(text, record.arg1);
    }
  }
  if (record.kind == EventCode::kMessageSend || record.kind == EventCode::kMessageReceive) {
    text += ' ';
    if (!look(readable.statesAndMessages, stateAndMessageNames_, record.arg1, text))
      AppendDecimal(text, record.arg1);
  }
  if (record.kind == EventCode::kTimingPoint) {
    text += " (";
    AppendDecimal(text, record.arg1);
    text += ", ";
    AppendDecimal(text, record.arg2);
    text += ')';
  }

  text += " in_class ";
  if (!look(readable.labels, labels_, record.classId, text)) text += "(unknown)";

  std::string point;
  const bool pointIsNamed = look(readable.labels, labels_, record.pointId, point);
  if (pointIsNamed || record.kind != EventCode::kTimingPoint) {
    text += " at ";
    text += pointIsNamed ? std::string_view(point) : "(unknown)";
  } else {
    text += " at_point ";
    AppendDecimal(text, record.pointId);
  }

  text += " for_object ";
  AppendPointer(text, record.object);
  text += " (";
  if (!look(readable.objects, objectNames_, record.object, text)) text += "unknown";
  text += ')';

  if (record.threadId != 0) {
    text += " in_thread ";
    AppendDecimal(text, record.threadId);
    text += " (";
    if (!look(readable.threads, threadNames_, record.threadId, text)) text += "unknown";
    text += ')';
  }

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

void MFlowLoggerImplementation::CopyNamesInto(MFlowLoggerImplementation& other) const noexcept {
  threadNames_.CopyInto(other.threadNames_);
  labels_.CopyInto(other.labels_);
  stateAndMessageNames_.CopyInto(other.stateAndMessageNames_);
  objectNames_.CopyInto(other.objectNames_);
}
