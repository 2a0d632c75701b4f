// SPDX-License-Identifier: MIT
#include "orvel/threads/generic_guard.h"

#include <utility>

#include "orvel/foundation/exception.h"
#include "orvel/logging/flow_trace.h"

namespace Orvel::Libraries {

GenericGuard::GenericGuard(const std::function<void()>& setUp, std::function<void()> cleanUp)
    : cleanUp_(std::move(cleanUp)) {
  if (setUp) setUp();
}

GenericGuard::~GenericGuard() {
  static const MFlowPoint point(L"GenericGuard", L"~GenericGuard");
  // No object: guards live too briefly for an address to mean anything in a dump.
  const MFlowScope scope(point, nullptr);
  if (!cleanUp_) return;
  try {
    cleanUp_();
  } catch (const MException& exception) {
    RecordDismissed(point, nullptr, exception);
  }
}

}  // namespace Orvel::Libraries
