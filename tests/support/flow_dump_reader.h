// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <ostream>
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

/// Tells a failed test's reader which record it is.
void PrintTo(const DumpedRecord& record, std::ostream* stream);

/// Reads the text of a dump. Fails the running test at the first line of a wrong form, or when the
/// readable first line of a record says something else than the raw values of its second. Names
/// must not contain the words that separate the parts of a line (" in_class " and the like).
[[nodiscard]] std::vector<DumpedRecord> ReadFlowDump(std::string_view text);

/// What the process's flow logger recorded since its last dump.
[[nodiscard]] std::vector<DumpedRecord> TakeFlowRecords();

}  // namespace Orvel::Testing
