// SPDX-License-Identifier: MIT
#include "orvel/threads/thread_safe_fifo.h"

#include "orvel/foundation/exception.h"
#include "orvel/threads/event_operations.h"

namespace Orvel::Detail {
namespace {

constexpr const wchar_t* kClassName = L"MThreadSafeFifo";

}  // namespace

KernelHandle CreateFifoEvent(const void* fifo) {
  static MSourceContext context(kClassName, kClassName);
  return CreateEventOrRaise(context.At(__LINE__, fifo), EventReset::kManual);
}

void SetFifoEvent(const void* fifo, void* event) {
  static MSourceContext context(kClassName, L"Push");
  SetEventOrRaise(context.At(__LINE__, fifo), event);
}

void RaiseFifoFull(const void* fifo) {
  static MSourceContext context(kClassName, L"Push");
  RaiseError(context.At(__LINE__, fifo), L"QueueFull");
}

}  // namespace Orvel::Detail
