// SPDX-License-Identifier: MIT
// Includes <windows.h> as a program does that never thought of the library's headers.
#include <windows.h>

#include "own_parts.h"

#include <memory>

#include "orvel/logging/flow_logger_implementation.h"
#include "orvel/logging/klogger_adapter.h"
#include "orvel/logging/label_id.h"
#include "orvel/threads/mutex_win_imp.h"
#include "orvel/threads/thread_safe_fifo.h"

#if defined(UNICODE) || defined(WIN32_LEAN_AND_MEAN)
#error "the library chooses how this program sees <windows.h>"
#endif

void DumpOwnLogger(std::ostream& stream) {
  const auto implementation = std::make_unique<MFlowLoggerImplementation>();
  MKLoggerAdapter logger(implementation.get());
  constexpr std::int32_t kClassId = FlowLabelId(L"Consumer");
  MMutexWinImp mutex;
  mutex.Lock();
  logger.nameLabel(kClassId, L"Consumer");
  logger.logEvent(static_cast<std::int32_t>(MFlowEvent::kTimingPoint), 1, 2, kClassId, 3, 0);
  mutex.Unlock();
  logger.dump(stream);
}
