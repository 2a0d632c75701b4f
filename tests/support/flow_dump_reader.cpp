// SPDX-License-Identifier: MIT
#include "tests/support/flow_dump_reader.h"

#include <charconv>
#include <cstdio>
#include <map>
#include <regex>

#include "orvel/logging/event_codes.h"

namespace Orvel::Testing {
namespace {

namespace EventCode = Orvel::Detail::EventCode;

/// Takes what stands before `delimiter`, and the delimiter; nothing when there is none.
std::string_view Cut(std::string_view& rest, std::string_view delimiter) {
  const std::size_t length = rest.find(delimiter);
  if (length == std::string_view::npos) return {};
  const std::string_view text = rest.substr(0, length);
  rest.remove_prefix(length + delimiter.size());
  return text;
}

template <class Number>
bool TakeNumber(std::string_view& rest, std::string_view before, Number& number) {
  if (!rest.starts_with(before)) return false;
  const char* const end = rest.data() + rest.size();
  const auto result = std::from_chars(rest.data() + before.size(), end, number);
  rest.remove_prefix(static_cast<std::size_t>(result.ptr - rest.data()));
  return result.ec == std::errc();
}

bool TakeTime(std::string_view& rest, std::int64_t& microseconds) {
  const bool isNegative = rest.starts_with('-');
  if (isNegative) rest.remove_prefix(1);
  std::uint32_t seconds = 0;
  std::uint32_t fraction = 0;
  const bool isRead = TakeNumber(rest, "", seconds) && rest.find_first_of(",i ", 1) == 7 &&
                      TakeNumber(rest, ".", fraction);
  microseconds = std::int64_t{seconds} * 1'000'000 + fraction;
  if (isNegative) microseconds = -microseconds;
  return isRead;
}

bool ReadRawValues(std::string_view line, DumpedRecord& record) {
  std::int64_t object = 0;
  std::int32_t thread = 0;
  if (!line.starts_with("    ")) return false;
  line.remove_prefix(4);
  const bool isRead = TakeTime(line, record.microseconds) && TakeNumber(line, ", ", record.kind) &&
                      TakeNumber(line, ", ", record.arg1) && TakeNumber(line, ", ", record.arg2) &&
                      TakeNumber(line, ", ", record.classId) &&
                      TakeNumber(line, ", ", record.pointId) && TakeNumber(line, ", ", object) &&
                      TakeNumber(line, ", ", thread);
  record.object = static_cast<std::uint64_t>(object);
  record.threadId = static_cast<std::uint32_t>(thread);
  return isRead && line.empty();
}

/// Takes the names out of the line and checks that they and the raw values make up all of it.
bool ReadReadableLine(std::string_view line, DumpedRecord& record) {
  record.event = "unknown event";
  for (const auto& [code, name] : Orvel::Detail::kEventNames) {
    if (code == record.kind) record.event = name;
  }
  const std::string start = "% " + record.event;
  std::string_view rest = line;
  const std::string head(Cut(rest, " in_class "));
  if (!head.starts_with(start)) return false;
  const std::string detail = head.substr(start.size());
  record.detail = detail.substr(detail.empty() ? 0 : 1);
  record.className = Cut(rest, " at");
  const bool isNumbered = rest.starts_with("_point ");
  rest.remove_prefix(std::min<std::size_t>(rest.size(), isNumbered ? 7 : 1));
  record.point = Cut(rest, " for_object ");
  Cut(rest, " (");
  if (record.threadId != 0) {
    record.objectName = Cut(rest, ") in_thread ");
    Cut(rest, " (");
  }
  std::string& lastName = record.threadId != 0 ? record.threadName : record.objectName;
  lastName = rest.substr(0, rest.empty() ? 0 : rest.size() - 1);

  const bool isLabelled =
      (record.kind >= EventCode::kRootError && record.kind <= EventCode::kWarning) ||
      record.kind == EventCode::kMessageSend || record.kind == EventCode::kMessageReceive;
  const std::string number = std::to_string(record.arg1);
  const bool detailFits = record.kind == EventCode::kTimingPoint
                              ? detail == " (" + number + ", " + std::to_string(record.arg2) + ')'
                          : record.kind == EventCode::kStateChange
                              ? detail.starts_with(" to ") && (!detail.starts_with(" to state_") ||
                                                               detail == " to state_" + number)
                              : detail.starts_with(' ') == isLabelled;
  const bool pointFits = !isNumbered || (record.kind == EventCode::kTimingPoint &&
                                         record.point == std::to_string(record.pointId));
  char pointer[17];
  std::snprintf(pointer, sizeof pointer, "%08X%08X", static_cast<unsigned>(record.object >> 32),
                static_cast<unsigned>(record.object));
  std::string whole = head + " in_class " + record.className;
  whole += (isNumbered ? " at_point " : " at ") + record.point + " for_object " + pointer;
  whole += " (" + record.objectName + ')';
  if (record.threadId != 0) {
    whole += " in_thread " + std::to_string(record.threadId) + " (" + record.threadName + ')';
  }
  return detailFits && pointFits && line == whole;
}

}  // namespace

FlowDump ReadFlowDump(std::string_view text) {
  static const std::regex referenceForm(
      R"(%% Reference time: -?\d+\.\d{6} (is wrong\.|is approximately \d{1,3}ms past .{24}))");
  FlowDump dump;
  std::size_t lineNumber = 0;
  const auto check = [&](bool isRight, std::string_view line) {
    if (isRight) return;
    dump.formErrors.push_back("line " + std::to_string(lineNumber) + ": " + std::string(line));
  };
  const auto nextLine = [&] {
    ++lineNumber;
    check(text.find('\n') != std::string_view::npos, "no line feed at its end");
    return Cut(text, "\n");
  };
  dump.reference = nextLine();
  check(std::regex_match(dump.reference, referenceForm), dump.reference);
  check(nextLine() == "%%", "expected %%");
  while (!text.empty() && dump.formErrors.empty()) {
    const std::string_view readable = nextLine();
    const std::string_view raw = nextLine();
    DumpedRecord& record = dump.records.emplace_back();
    check(ReadRawValues(raw, record), raw);
    check(ReadReadableLine(readable, record), readable);
  }
  return dump;
}

std::size_t CountTimeReversals(const FlowDump& dump) {
  std::map<std::uint32_t, std::int64_t> latest;
  std::size_t reversals = 0;
  for (const DumpedRecord& record : dump.records) {
    const auto [entry, isFirst] = latest.try_emplace(record.threadId, record.microseconds);
    if (!isFirst && record.microseconds < entry->second) ++reversals;
    entry->second = record.microseconds;
  }
  return reversals;
}

}  // namespace Orvel::Testing
