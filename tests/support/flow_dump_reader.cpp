// SPDX-License-Identifier: MIT
#include "tests/support/flow_dump_reader.h"

#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <regex>
#include <system_error>

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

/// Takes a number, and what stands before it when that is a separator.
template <class T>
bool CutNumber(std::string_view& rest, T& number) {
  if (rest.starts_with(", ")) rest.remove_prefix(2);
  const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
  rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
  return error == std::errc{};
}

/// Takes the values out of the line; written again, they must give the same line.
bool ReadRawValues(const std::string& line, DumpedRecord& record) {
  double seconds = 0;
  long long object = 0;
  int thread = 0;
  std::string indent;
  std::string_view rest = line;
  if (!Cut(rest, "    ", indent) || !CutNumber(rest, seconds) || !CutNumber(rest, record.kind) ||
      !CutNumber(rest, record.arg1) || !CutNumber(rest, record.arg2) ||
      !CutNumber(rest, record.classId) || !CutNumber(rest, record.pointId) ||
      !CutNumber(rest, object) || !CutNumber(rest, thread)) {
    return false;
  }
  record.microseconds = std::llround(seconds * 1e6);
  record.object = static_cast<std::uint64_t>(object);
  record.threadId = static_cast<std::uint32_t>(thread);
  char again[160];
  std::snprintf(again, sizeof again, "    %.6f, %d, %d, %d, %d, %d, %lld, %d", seconds, record.kind,
                record.arg1, record.arg2, record.classId, record.pointId, object, thread);
  return line == again;
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

void PrintTo(const DumpedRecord& record, std::ostream* stream) {
  *stream << record.event << ' ' << record.detail << " at " << record.className
          << "::" << record.point << " of " << record.objectName << " with " << record.arg1 << ", "
          << record.arg2;
}

std::vector<DumpedRecord> ReadFlowDump(std::string_view text) {
  static const std::regex referenceForm(
      R"(%% Reference time: -?\d+\.\d{6} (is wrong\.|is approximately \d{1,3}ms past .{24}))");
  std::vector<DumpedRecord> records;
  std::string line;
  const auto takeLine = [&] { return Cut(text, "\n", line); };
  bool isRight = takeLine() && std::regex_match(line, referenceForm) && takeLine() && line == "%%";
  while (isRight && !text.empty()) {
    DumpedRecord& record = records.emplace_back();
    std::string readable;
    isRight = Cut(text, "\n", readable) && takeLine() && ReadRawValues(line, record) &&
              ReadReadableLine(readable, record);
  }
  EXPECT_TRUE(isRight) << "record " << records.size() << " of the dump: " << line;
  return records;
}

std::vector<DumpedRecord> TakeFlowRecords() { return ReadFlowDump(TakeFlowLog()); }

}  // namespace Orvel::Testing
