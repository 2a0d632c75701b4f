// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "orvel/platform/unique_handle.h"
#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {

/// The ways of ending a process that the hooks see.
enum class CrashKind : std::uint8_t {
  kException,        ///< a structured exception that nobody handled
  kTerminate,        ///< `std::terminate`
  kAbort,            ///< `abort`, or the signal that it raises
  kPureCall,         ///< a pure virtual call, where the runtime says so
  kInvalidParameter  ///< a bad argument for a function of the C runtime
};

/// One thread's crash. Lives on that thread's stack.
struct CrashSite {
  CrashKind kind;
  /// The system's, or what stands for it with a code of `kind`; never null, nor is its context.
  EXCEPTION_POINTERS* pointers;
  /// Returns false when the thread has used up its stack; call as little as possible on it then.
  [[nodiscard]] bool HasStack() const noexcept {
    return pointers->ExceptionRecord->ExceptionCode != EXCEPTION_STACK_OVERFLOW;
  }
};

/// What a module does about crashes.
struct CrashHooks {
  /// Called on the crashing thread before the handlers that were installed earlier. Those, and the
  /// runtime after them, may crash as well before this crash is over.
  void (*onCrash)(const CrashSite& site) noexcept;
  /// Called on the same thread afterwards if the process continues nevertheless.
  void (*onSurvived)() noexcept;
};

/// Claims the crashes of the process for the calling module, for as long as the returned handle is
/// open. Returns an empty owner when another module has claimed them, and when the system refuses:
/// then with its reason in `code`, which is 0 otherwise. Raises `std::bad_alloc`.
[[nodiscard]] MKernelHandle ClaimCrashes(std::uint32_t& code);

/// Installs `hooks` for the module's crashes. Only one set of hooks can be installed, by one thread
/// at a time.
void InstallCrashHooks(const CrashHooks& hooks) noexcept;
/// Removes the hooks and restores the handlers that were installed before. A handler that somebody
/// has installed since stays; when it calls the one that it replaced, that call is passed on to the
/// handler before it. Does not wait for calls of the hooks. One thread at a time.
void RemoveCrashHooks() noexcept;

}  // namespace Orvel::Detail
