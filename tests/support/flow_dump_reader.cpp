// SPDX-License-Identifier: MIT
#include "tests/support/flow_dump_reader.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "flow_timeline/dump_reader.h"
#include "orvel/logging/event_codes.h"
#include "tests/support/flow_log.h"

namespace Orvel::Testing {

void PrintTo(const DumpedRecord& record, std::ostream* stream) {
  *stream << record.event << ' ' << record.detail << " at " << record.className
          << "::" << record.point << " of " << record.objectName << " with " << record.arg1 << ", "
          << record.arg2;
}

std::vector<DumpedRecord> ReadFlowDump(std::string_view text) {
  const FlowTimeline::Dump dump = FlowTimeline::ReadDump(text);
  EXPECT_TRUE(dump.loggerTime.has_value()) << text;
  EXPECT_EQ(dump.skippedRecords + dump.strayLines, 0u) << text;
  EXPECT_FALSE(dump.isCut) << text;
  EXPECT_FALSE(dump.holdsAnother) << text;
  EXPECT_EQ(std::ranges::count(text, '\n'), 2 + 2 * std::ssize(dump.records)) << text;
  std::vector<DumpedRecord> records;
  for (const FlowTimeline::Record& record : dump.records) {
    std::string detail = dump.texts[record.detail];
    if (record.kind == Detail::EventCode::kStateChange) detail.insert(0, "to ");
    if (record.kind == Detail::EventCode::kTimingPoint) {
      detail = '(' + std::to_string(record.arg1) + ", " + std::to_string(record.arg2) + ')';
    }
    records.push_back({std::string(Detail::EventText(record.kind)), std::move(detail),
                       dump.texts[record.className], dump.texts[record.point],
                       dump.texts[record.objectName], dump.texts[record.threadName], record.time,
                       record.kind, record.arg1, record.arg2, record.classId, record.pointId,
                       record.object, record.threadId});
  }
  return records;
}

std::vector<DumpedRecord> TakeFlowRecords() { return ReadFlowDump(TakeFlowLog()); }

}  // namespace Orvel::Testing
