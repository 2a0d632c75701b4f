// SPDX-License-Identifier: MIT
#include "orvel/logging/flow_trace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <type_traits>

#include "orvel/logging/label_id.h"
#include "tests/support/process_flow_log.h"

namespace {

using Orvel::Testing::DumpedRecord;
using Orvel::Testing::TakeFlowRecords;

static_assert(std::is_trivially_destructible_v<MFlowPoint>, "points record to the very end");

std::string Told(const DumpedRecord& record) {
  return record.event + '|' + record.detail + '|' + record.className + '|' + record.point + '|' +
         record.objectName;
}

TEST(MFlowPointTest, RecordsUnderItsNames) {
  static const MFlowPoint point(L"Importer", L"Open");
  point.NameState(2, L"Opened");
  const int object = 0;
  NameFlowObject(&object, L"importer 1");
  (void)TakeFlowRecords();

  point.Trace(&object);
  try {
    const MFlowScope scope(point, &object);
    throw std::runtime_error("leaves the scope");
  } catch (const std::runtime_error&) {
  }
  point.Record(MFlowEvent::kStateChange, &object, 2);
  point.RecordNamed(MFlowEvent::kWarning, &object, L"DiskNearlyFull", 17);

  const auto records = TakeFlowRecords();
  std::vector<std::string> told;
  for (const DumpedRecord& record : records) told.push_back(Told(record));
  EXPECT_THAT(told, testing::ElementsAre("Timing_point|(0, 0)|Importer|Open|importer 1",
                                         "Scope_push||Importer|Open|importer 1",
                                         "Scope_pop||Importer|Open|importer 1",
                                         "State_change|to Opened|Importer|Open|importer 1",
                                         "Warning|DiskNearlyFull|Importer|Open|importer 1"));
  EXPECT_EQ(records.back().arg2, 17);
  EXPECT_EQ(records.back().classId, FlowLabelId("Importer"));
}

}  // namespace
