// SPDX-License-Identifier: MIT
#include "tests/support/flow_dump_reader.h"

#include <algorithm>
#include <initializer_list>
#include <map>
#include <regex>
#include <sstream>

#include "orvel/logging/event_codes.h"
#include "tests/support/flow_log.h"

namespace Orvel::Testing {
namespace {

/// Takes what stands before `delimiter`, and the delimiter; false when there is none.
bool Cut(std::string_view& rest, std::string_view delimiter, std::string& text) {
  const std::size_t length = rest.find(delimiter);
  if (length == std::string_view::npos) return false;
  text = rest.substr(0, length);
  rest.remove_prefix(length + delimiter.size());
  return true;
}

bool ReadRawValues(std::string line, DumpedRecord& record) {
  const std::size_t point = line.find('.');
  if (point == std::string::npos || line.find(',') != point + 7) return false;
  line.erase(point, 1);  // whole microseconds
  std::int64_t object = 0;
  std::int32_t thread = 0;
  char comma = 0;
  std::istringstream(line) >> record.microseconds >> comma >> record.kind >> comma >> record.arg1 >>
      comma >> record.arg2 >> comma >> record.classId >> comma >> record.pointId >> comma >>
      object >> comma >> thread;
  record.object = static_cast<std::uint64_t>(object);
  record.threadId = static_cast<std::uint32_t>(thread);
  std::string values;
  for (const std::int64_t value : std::initializer_list<std::int64_t>{
           record.kind, record.arg1, record.arg2, record.classId, record.pointId, object, thread}) {
    values += ", " + std::to_string(value);
  }
  const std::size_t timeEnd = line.find_first_not_of("-0123456789", 4);
  return line.starts_with("    ") && line.substr(std::min(timeEnd, line.size())) == values;
}

/// Takes the names out of the line, whose rest must say the same as the raw values.
bool ReadReadableLine(std::string_view rest, DumpedRecord& record) {
  record.event = "unknown event";
  for (const auto& [code, name] : Orvel::Detail::kEventNames) {
    if (code == record.kind) record.event = name;
  }
  std::string start;
  std::string kindOfPoint;
  const std::string object = ForObject(reinterpret_cast<const void*>(record.object));
  const bool isRead = Cut(rest, "% " + record.event, start) && start.empty() &&
                      Cut(rest, " in_class ", record.detail) &&
                      Cut(rest, " at", record.className) && Cut(rest, " ", kindOfPoint) &&
                      Cut(rest, ' ' + object + " (", record.point) &&
                      (kindOfPoint.empty() ||
                       (kindOfPoint == "_point" && record.point == std::to_string(record.pointId)));
  if (record.detail.starts_with(' ')) record.detail.erase(0, 1);
  const std::string thread = ") in_thread " + std::to_string(record.threadId) + " (";
  if (!isRead || (record.threadId != 0 && !Cut(rest, thread, record.objectName))) return false;
  (record.threadId != 0 ? record.threadName : record.objectName) = rest.substr(0, rest.size() - 1);
  return rest.ends_with(')');
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
    std::string line;
    ++lineNumber;
    check(Cut(text, "\n", line), "no line feed at its end");
    return line;
  };
  dump.reference = nextLine();
  check(std::regex_match(dump.reference, referenceForm), dump.reference);
  check(nextLine() == "%%", "expected %%");
  while (!text.empty() && dump.formErrors.empty()) {
    const std::string readable = nextLine();
    const std::string raw = nextLine();
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
