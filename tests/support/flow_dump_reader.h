// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace Orvel::Testing {

/// One record of a flow log dump.
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

void PrintTo(const DumpedRecord& record, std::ostream* stream);

/// Reads the text of a dump as the timeline does. Fails the running test when not all of it can be
/// read, or when the readable line of a record does not agree with its numbers.
[[nodiscard]] std::vector<DumpedRecord> ReadFlowDump(std::string_view text);

/// Dumps the process's flow log and reads it.
[[nodiscard]] std::vector<DumpedRecord> TakeFlowRecords();

}  // namespace Orvel::Testing
