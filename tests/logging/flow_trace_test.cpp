// SPDX-License-Identifier: MIT
#include "orvel/logging/flow_trace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <type_traits>

#include "orvel/foundation/source_context.h"
#include "tests/support/flow_dump_reader.h"

namespace {

using Orvel::Testing::DumpedRecord;
using Orvel::Testing::TakeFlowRecords;
using testing::AllOf;
using testing::Field;

static_assert(std::is_trivially_destructible_v<MFlowPoint>, "points record to the very end");

template <class Point>
constexpr bool kTakesScope = std::is_constructible_v<MFlowScope, Point, const void*>;
static_assert(kTakesScope<const MFlowPoint&> && kTakesScope<MSourceContext&>);
static_assert(!kTakesScope<MFlowPoint> && !kTakesScope<MSourceContext>, "gone before the scope");

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

  const auto told = [](const char* event, const char* detail, std::int32_t arg2) {
    return AllOf(Field(&DumpedRecord::event, event), Field(&DumpedRecord::detail, detail),
                 Field(&DumpedRecord::arg2, arg2), Field(&DumpedRecord::className, "Importer"),
                 Field(&DumpedRecord::point, "Open"),
                 Field(&DumpedRecord::objectName, "importer 1"));
  };
  EXPECT_THAT(TakeFlowRecords(),
              testing::ElementsAre(told("Timing_point", "(0, 0)", 0), told("Scope_push", "", 0),
                                   told("Scope_pop", "", 0), told("State_change", "to Opened", 0),
                                   told("Warning", "DiskNearlyFull", 17)));
}

}  // namespace
