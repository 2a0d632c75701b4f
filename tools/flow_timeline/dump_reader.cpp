// SPDX-License-Identifier: MIT
#include "flow_timeline/dump_reader.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <system_error>
#include <utility>

#include "orvel/logging/event_codes.h"
#include "orvel/logging/label_id.h"

namespace FlowTimeline {
namespace {

namespace EventCode = Orvel::Detail::EventCode;

constexpr std::int64_t kMicrosecondsPerSecond = 1'000'000;
constexpr std::int64_t kMaxSeconds = 4'000'000'000;
/// Longer than any record of honest names. Bounds how often a text is looked at again.
constexpr std::size_t kMaxRecordLength = 0x10000;
/// How many lines of numbers may stand in the names of one record.
constexpr int kMaxFalseEnds = 8;
constexpr std::string_view kInClass = " in_class ";
constexpr std::string_view kHeadStart = "%% Reference time: ";

bool Take(std::string_view& text, std::string_view start) {
  if (!text.starts_with(start)) return false;
  text.remove_prefix(start.size());
  return true;
}

template <class Integer>
bool TakeInteger(std::string_view& text, Integer& value) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc()) return false;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return true;
}

/// Takes a time as the dump writes it, "-0.000217", in microseconds.
bool TakeTime(std::string_view& text, std::int64_t& time) {
  const bool isNegative = Take(text, "-");
  std::uint64_t seconds = 0;
  std::uint32_t fraction = 0;
  if (!TakeInteger(text, seconds) || seconds > kMaxSeconds || !Take(text, ".")) return false;
  std::string_view digits = text.substr(0, 6);
  if (digits.size() != 6 || !TakeInteger(digits, fraction) || !digits.empty()) return false;
  text.remove_prefix(6);
  time = static_cast<std::int64_t>(seconds) * kMicrosecondsPerSecond + fraction;
  if (isNegative) time = -time;
  return true;
}

/// Reads the second line of a record.
bool ReadNumbers(std::string_view line, Record& record) {
  std::int64_t object = 0;
  std::int32_t thread = 0;
  if (!Take(line, "    ") || !TakeTime(line, record.time)) return false;
  for (std::int32_t* const value :
       {&record.kind, &record.arg1, &record.arg2, &record.classId, &record.pointId}) {
    if (!Take(line, ", ") || !TakeInteger(line, *value)) return false;
  }
  if (!Take(line, ", ") || !TakeInteger(line, object) || !Take(line, ", ") ||
      !TakeInteger(line, thread) || !line.empty()) {
    return false;
  }
  record.object = static_cast<std::uint64_t>(object);
  record.threadId = static_cast<std::uint32_t>(thread);
  return true;
}

/// Takes a name, and the delimiter behind it. Of several delimiters it is the one up to which the
/// text has the hash `id`; the first, when none has.
bool TakeName(std::string_view& text, std::string_view delimiter, std::int32_t id,
              std::string_view& name) {
  const std::size_t first = text.find(delimiter);
  if (first == std::string_view::npos) return false;
  std::size_t length = first;
  std::uint32_t hash = Orvel::Detail::kFnvOffsetBasis;
  std::size_t hashed = 0;
  for (std::size_t end = first; end != std::string_view::npos;
       end = text.find(delimiter, end + 1)) {
    for (; hashed < end; ++hashed) {
      hash = (hash ^ static_cast<unsigned char>(text[hashed])) * Orvel::Detail::kFnvPrime;
    }
    if (static_cast<std::int32_t>(hash) == id) {
      length = end;
      break;
    }
  }
  name = text.substr(0, length);
  text.remove_prefix(length + delimiter.size());
  return true;
}

/// A name's bytes as UTF-8.
std::string Utf8(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    if (value < 0x80) {
      text += byte;
    } else {
      text += static_cast<char>(0xC0 | (value >> 6));
      text += static_cast<char>(0x80 | (value & 0x3F));
    }
  }
  return text;
}

class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    Take(text_, kByteOrderMark);
    const std::size_t end = text_.find('\n');
    endsInCrLf_ = end != std::string_view::npos && end > 0 && text_[end - 1] == '\r';
  }

  Dump Read() {
    while (at_ < text_.size() && !dump_.holdsAnother) {
      const std::size_t start = at_;
      const std::size_t end = (std::min)(text_.find('\n', start), text_.size());
      isLastLineWhole_ = end < text_.size();
      at_ = end + 1;
      std::string_view line = text_.substr(start, end - start);
      if (endsInCrLf_ && line.ends_with('\r')) line.remove_suffix(1);
      ReadLine(line, start);
    }
    dump_.isCut = starts_ != 0 && !dump_.holdsAnother;
    GiveUpRecord();
    return std::move(dump_);
  }

 private:
  static constexpr std::size_t kNone = std::string_view::npos;

  void ReadLine(std::string_view line, std::size_t start) {
    Record record;
    if (line.starts_with(kHeadStart) || line == "%%") {
      ReadHead(line);
    } else if (line.starts_with("% ")) {
      // The line before may have lost its numbers, or a name of it may hold this one.
      if (starts_++ == 0) firstStart_ = start;
      lastStart_ = start;
    } else if (ReadNumbers(line, record)) {
      // Without its end the last number may lack digits.
      if (isLastLineWhole_) EndRecord(record, start);
    } else if (starts_ == 0 && !line.empty()) {
      ++dump_.strayLines;
    }
    if (starts_ != 0 && at_ - firstStart_ > kMaxRecordLength) GiveUpRecord();
  }

  void ReadHead(std::string_view line) {
    if (!Take(line, kHeadStart)) return;
    if (dump_.hasHead || !dump_.records.empty()) {
      dump_.holdsAnother = starts_ == 0;
      return;
    }
    dump_.hasHead = true;
    std::int64_t time = 0;
    std::int64_t milliseconds = 0;
    if (!TakeTime(line, time)) return;
    dump_.loggerTime = time;
    std::int64_t seconds = 0;
    if (Take(line, " is approximately ") && TakeInteger(line, milliseconds) && milliseconds >= 0 &&
        milliseconds < 1000 && Take(line, "ms past ") && ReadCalendarTime(line, seconds)) {
      dump_.loggerWallClock = seconds * kMicrosecondsPerSecond + milliseconds * 1000;
    }
  }

  /// Reads "Tue Nov 24 13:00:00 2026" as seconds since 1970.
  static bool ReadCalendarTime(std::string_view text, std::int64_t& seconds) {
    static constexpr std::string_view kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";
    if (text.size() != 24 || text[3] != ' ' || text[7] != ' ') return false;
    const std::size_t month = kMonths.find(text.substr(4, 3));
    if (month == std::string_view::npos || month % 3 != 0) return false;
    std::string_view rest = text.substr(text[8] == ' ' ? 9 : 8);
    unsigned day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    int year = 0;
    if (!TakeInteger(rest, day) || !Take(rest, " ") || !TakeInteger(rest, hour) ||
        !Take(rest, ":") || !TakeInteger(rest, minute) || !Take(rest, ":") ||
        !TakeInteger(rest, second) || !Take(rest, " ") || !TakeInteger(rest, year)) {
      return false;
    }
    const std::chrono::year_month_day date(std::chrono::year(year),
                                           std::chrono::month(static_cast<unsigned>(month / 3 + 1)),
                                           std::chrono::day(day));
    if (!date.ok() || hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 ||
        second > 60) {
      return false;
    }
    const std::int64_t days = std::chrono::sys_days(date).time_since_epoch().count();
    seconds = ((days * 24 + hour) * 60 + minute) * 60 + second;
    return true;
  }

  /// Takes the record whose numbers were just read, and whose names stand before `end`.
  void EndRecord(Record& record, std::size_t end) {
    if (starts_ == 0) {
      ++dump_.skippedRecords;
      return;
    }
    if (ReadNames(lastStart_, end, record)) {
      --starts_;  // those before it lost their numbers
    } else if (starts_ == 1 || !ReadNames(firstStart_, end, record)) {
      if (++falseEnds_ > kMaxFalseEnds) GiveUpRecord();
      return;
    } else {
      starts_ = 0;  // the others stand in names of the first
    }
    GiveUpRecord();
    dump_.records.push_back(record);
  }

  /// Waits for no numbers any longer; what began is skipped.
  void GiveUpRecord() {
    dump_.skippedRecords += starts_;
    starts_ = 0;
    falseEnds_ = 0;
    firstStart_ = lastStart_ = kNone;
  }

  /// Reads the names from the record's first line. Returns false when that contradicts the numbers
  /// in `record`.
  bool ReadNames(std::size_t start, std::size_t end, Record& record) {
    std::string plain;
    std::string_view text = text_.substr(start, end - 1 - start);
    if (endsInCrLf_) {
      plain = WithoutCarriageReturns(text);
      text = plain;
    }
    if (!Take(text, "% ") || !Take(text, Orvel::Detail::EventText(record.kind))) return false;
    std::string_view detail;
    if (record.kind == EventCode::kTimingPoint) {
      const std::string values =
          " (" + std::to_string(record.arg1) + ", " + std::to_string(record.arg2) + ")";
      if (!Take(text, values)) return false;
    }
    const bool isState = record.kind == EventCode::kStateChange;
    if (isState || Orvel::Detail::HoldsLabel(record.kind) ||
        record.kind == EventCode::kMessageSend || record.kind == EventCode::kMessageReceive) {
      if (!Take(text, isState ? " to " : " ") || !TakeName(text, kInClass, record.arg1, detail)) {
        return false;
      }
    } else if (!Take(text, kInClass)) {
      return false;
    }

    std::string_view className;
    std::string_view point;
    std::string_view objectName;
    const std::string numberedPoint = std::to_string(record.pointId);
    const std::string object = " for_object " + ObjectText(record.object) + " (";
    const std::size_t numbered = record.kind == EventCode::kTimingPoint
                                     ? text.find(" at_point " + numberedPoint + object)
                                     : std::string_view::npos;
    if (numbered != std::string_view::npos) {
      className = text.substr(0, numbered);
      point = numberedPoint;
      text.remove_prefix(text.find(object, numbered) + object.size());
    } else if (!TakeName(text, " at ", record.classId, className) ||
               !TakeName(text, object, record.pointId, point)) {
      return false;
    }
    if (!text.ends_with(')')) return false;
    text.remove_suffix(1);
    if (record.threadId != 0) {
      const std::string thread = ") in_thread " + std::to_string(record.threadId) + " (";
      if (!TakeName(text, thread, 0, objectName)) return false;
      record.threadName = AddText(text);
    } else {
      objectName = text;
    }
    record.detail = AddText(detail);
    record.className = AddText(className);
    record.point = AddText(point);
    record.objectName = AddText(objectName);
    return true;
  }

  TextId AddText(std::string_view bytes) { return dump_.texts.Add(Utf8(bytes)); }

  static std::string WithoutCarriageReturns(std::string_view text) {
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
      const bool endsLine = i + 1 == text.size() || text[i + 1] == '\n';
      if (text[i] != '\r' || !endsLine) plain += text[i];
    }
    return plain;
  }

  std::string_view text_;
  std::size_t at_ = 0;
  bool endsInCrLf_ = false;
  bool isLastLineWhole_ = true;
  // Lines that look like the beginning of a record whose numbers have not come yet: how many, the
  // first and the last.
  std::size_t starts_ = 0;
  std::size_t firstStart_ = kNone;
  std::size_t lastStart_ = kNone;
  int falseEnds_ = 0;
  Dump dump_;
};

}  // namespace

Dump ReadDump(std::string_view text) { return Reader(text).Read(); }

std::string ObjectText(std::uint64_t object) {
  std::string text(16, '0');
  for (auto digit = text.rbegin(); digit != text.rend(); ++digit, object >>= 4) {
    *digit = "0123456789ABCDEF"[object & 0xF];
  }
  return text;
}

}  // namespace FlowTimeline
