// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

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
  /// Called on the crashing thread before the handlers that were installed earlier. These, and the
  /// runtime when it goes on after them, may crash in their turn while this crash is under way.
  void (*onCrash)(const CrashSite& site) noexcept;
  /// Called on the same thread afterwards when the process goes on after all.
  void (*onSurvived)() noexcept;
};

/// Puts `hooks` into use for the module's crashes. Not while others are; one thread at a time.
void InstallCrashHooks(const CrashHooks& hooks) noexcept;
/// Puts back what was installed before, except where somebody has installed something else since:
/// what that calls in its turn goes on to what was there first. A call of the hooks that is under
/// way goes on.
void RemoveCrashHooks() noexcept;

}  // namespace Orvel::Detail
