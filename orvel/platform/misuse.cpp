// SPDX-License-Identifier: MIT
#include "orvel/platform/misuse.h"

#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {
namespace {

#if defined(NDEBUG)
constexpr bool kHasAssertions = false;
#else
constexpr bool kHasAssertions = true;
#endif

// Release in ReplaceMisuseHandler, acquire in ReportMisuse.
constinit std::atomic<MisuseHandler> currentHandler{nullptr};

[[noreturn, maybe_unused]] void ReportAndAbort(const wchar_t* message) noexcept {
  // One buffer and one call each: what other threads print does not come between.
  wchar_t wide[512] = L"Orvel is misused: ";
  char narrow[std::size(wide)] = {};
  std::size_t length = 0;
  while (wide[length] != L'\0') ++length;
  for (; *message != L'\0' && length < std::size(wide) - 2; ++message) wide[length++] = *message;
  wide[length++] = L'\n';
  for (std::size_t i = 0; i < length; ++i) {
    narrow[i] = wide[i] < 0x80 ? static_cast<char>(wide[i]) : '?';
  }
  ::OutputDebugStringW(wide);
  std::fputs(narrow, stderr);
  std::fflush(stderr);
  if (::IsDebuggerPresent() != FALSE) ::DebugBreak();
  std::abort();
}

}  // namespace

bool ReportsMisuse() noexcept { return kHasAssertions; }

void ReportMisuse([[maybe_unused]] const wchar_t* message) noexcept {
  if constexpr (kHasAssertions) {
    const MisuseHandler handler = currentHandler.load(std::memory_order_acquire);
    if (handler == nullptr) ReportAndAbort(message);
    handler(message);
  }
}

MisuseHandler ReplaceMisuseHandler(MisuseHandler handler) noexcept {
  return currentHandler.exchange(handler, std::memory_order_acq_rel);
}

}  // namespace Orvel::Detail
