// SPDX-License-Identifier: MIT
#include "orvel/diagnostics/crash_handler.h"

#include <array>
#include <atomic>

#include "orvel/diagnostics/crash_handler_list.h"
#include "orvel/foundation/exception.h"
#include "orvel/platform/kernel_wait.h"

namespace {

constinit std::array<std::atomic<ICrashHandler*>, MCrashHandlerRegistration::kMaxHandlers> handlers;
// The handler that runs. Sequentially consistent, as the places are: either the destructor sees the
// call, or the call sees the empty place.
constinit std::atomic<ICrashHandler*> running{nullptr};

std::size_t TakePlace(ICrashHandler& handler, const void* registration) {
  static MSourceContext context(L"MCrashHandlerRegistration", L"MCrashHandlerRegistration");
  for (std::size_t place = 0; place < handlers.size(); ++place) {
    ICrashHandler* empty = nullptr;
    if (handlers[place].compare_exchange_strong(empty, &handler)) return place;
  }
  RaiseError(context.At(__LINE__, registration), L"TooManyCrashHandlers");
}

}  // namespace

MCrashHandlerRegistration::MCrashHandlerRegistration(ICrashHandler& handler)
    : place_(TakePlace(handler, this)) {}

MCrashHandlerRegistration::~MCrashHandlerRegistration() {
  const ICrashHandler* const handler = handlers[place_].exchange(nullptr);
  while (running.load() == handler) Orvel::Detail::SleepFor(1);
}

namespace Orvel::Detail {

ICrashHandler* BeginCrashHandler(std::size_t place) noexcept {
  ICrashHandler* const handler = handlers[place].load();
  if (handler == nullptr) return nullptr;
  running.store(handler);
  if (handlers[place].load() == handler) return handler;
  running.store(nullptr);
  return nullptr;
}

void EndCrashHandler() noexcept { running.store(nullptr); }

}  // namespace Orvel::Detail
