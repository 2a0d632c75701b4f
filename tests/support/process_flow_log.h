// SPDX-License-Identifier: MIT
#pragma once

#include <gmock/gmock.h>

#include <utility>
#include <vector>

#include "tests/support/flow_dump_reader.h"
#include "tests/support/flow_log.h"

namespace Orvel::Testing {

/// What the process's flow logger recorded since the last call. A dump that is not well-formed
/// fails the running test.
[[nodiscard]] inline std::vector<DumpedRecord> TakeFlowRecords() {
  FlowDump dump = ReadFlowDump(TakeFlowLog());
  EXPECT_THAT(dump.formErrors, testing::IsEmpty());
  return std::move(dump.records);
}

}  // namespace Orvel::Testing
