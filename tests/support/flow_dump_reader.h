// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Orvel::Testing {

/// One record of a flow log dump, as its two lines tell it.
struct DumpedRecord {
  std::string event;
  std::string detail;  ///< between event and class: "to Running", "(1, 2)", an error's label
  std::string className;
  std::string point;  ///< its label, or its number in text
  std::string objectName;
  std::string threadName;
  std::int64_t microseconds = 0;  ///< since the first record
  std::int32_t kind = 0, arg1 = 0, arg2 = 0, classId = 0, pointId = 0;
  std::uint64_t object = 0;
  std::uint32_t threadId = 0;
};

struct FlowDump {
  std::string reference;  ///< the first line
  std::vector<DumpedRecord> records;
  std::vector<std::string> formErrors;  ///< with the line's number; empty for a flawless dump
};

/// Reads the text of a dump and checks each line's form, and that the readable first line of a
/// record says the same as the raw values of its second. Names must not contain the words that
/// separate the parts of a line (" in_class " and the like).
[[nodiscard]] FlowDump ReadFlowDump(std::string_view text);

/// How often a record is older than the one before it of the same thread.
[[nodiscard]] std::size_t CountTimeReversals(const FlowDump& dump);

}  // namespace Orvel::Testing
