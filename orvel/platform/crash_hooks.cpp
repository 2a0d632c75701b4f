// SPDX-License-Identifier: MIT
#include "orvel/platform/crash_hooks.h"

#include <signal.h>
#include <stdlib.h>

#include <atomic>
#include <exception>
#include <string>
#include <utility>

namespace Orvel::Detail {
namespace {

// Not in every version of the system's header.
constexpr DWORD kFatalAppExit = 0x40000015;
constexpr DWORD kInvalidRuntimeParameter = 0xC0000417;

using SignalHandler = void (*)(int);

/// One kind of handler: the handler that ours replaced, and whether ours is still called. The first
/// is relaxed, since the system or the runtime calls a handler only after it was installed; the
/// second is used by one thread at a time.
template <class Handler>
struct Place {
  std::atomic<Handler> previous{nullptr};
  std::atomic<bool> isInstalled{false};
};

// Release where the hooks are installed, acquire where they are called.
constinit std::atomic<void (*)(const CrashSite&) noexcept> onCrash{nullptr};
constinit std::atomic<void (*)() noexcept> onSurvived{nullptr};
constinit Place<LPTOP_LEVEL_EXCEPTION_FILTER> filterPlace;
constinit Place<std::terminate_handler> terminatePlace;
constinit Place<SignalHandler> abortPlace;
constinit Place<_invalid_parameter_handler> parameterPlace;
// Whether the process has continued after an invalid parameter. Relaxed: it orders nothing.
constinit std::atomic<bool> parametersAreHarmless{false};

void ReportCrash(const CrashSite& site) noexcept {
  if (const auto hook = onCrash.load(std::memory_order_acquire)) hook(site);
}

void ReportSurvived() noexcept {
  if (const auto hook = onSurvived.load(std::memory_order_acquire)) hook();
}

/// Takes the place of the structured exception where a crash of another kind has none. Capture its
/// context in the handler itself, so that the handler's caller comes next on the stack.
struct StandInException {
  CONTEXT context{};
  EXCEPTION_RECORD record{};
  EXCEPTION_POINTERS pointers{};

  void Report(CrashKind kind) noexcept {
    record.ExceptionCode =
        kind == CrashKind::kInvalidParameter ? kInvalidRuntimeParameter : kFatalAppExit;
    record.ExceptionFlags = EXCEPTION_NONCONTINUABLE;
#if defined(_M_X64) || defined(__x86_64__)
    record.ExceptionAddress = reinterpret_cast<void*>(static_cast<ULONG_PTR>(context.Rip));
#endif
    pointers = {&record, &context};
    ReportCrash({kind, &pointers});
  }
};

/// Returns true for the exceptions that `throw` raises. The runtime's own filter calls
/// `std::terminate` for them.
bool IsLanguageException(const EXCEPTION_RECORD& record) noexcept {
  constexpr DWORD kMicrosoftThrow = 0xE06D7363;
  constexpr DWORD kGnuThrow = 0x20474343;
  constexpr DWORD kGnuThrowMask = 0x20FFFFFF;
  return record.ExceptionCode == kMicrosoftThrow ||
         (record.ExceptionCode & kGnuThrowMask) == kGnuThrow;
}

LONG WINAPI OnUnhandledException(EXCEPTION_POINTERS* pointers) noexcept {
  const LPTOP_LEVEL_EXCEPTION_FILTER previous =
      filterPlace.previous.load(std::memory_order_relaxed);
  const auto callPrevious = [=] {
    return previous != nullptr ? previous(pointers) : EXCEPTION_CONTINUE_SEARCH;
  };
  const CrashSite site{CrashKind::kException, pointers};
  if (IsLanguageException(*pointers->ExceptionRecord)) {
    // The runtime's filter comes first: it calls OnTerminate, where the exception can be read.
    const LONG decision = callPrevious();
    if (decision != EXCEPTION_CONTINUE_EXECUTION) ReportCrash(site);
    return decision;
  }
  ReportCrash(site);
  const LONG decision = callPrevious();
  if (decision == EXCEPTION_CONTINUE_EXECUTION) ReportSurvived();
  return decision;
}

[[noreturn]] void OnTerminate() {
  StandInException exception;
  ::RtlCaptureContext(&exception.context);
  exception.Report(CrashKind::kTerminate);
  if (const auto previous = terminatePlace.previous.load(std::memory_order_relaxed)) previous();
  ::abort();
}

/// Ends the process as the signal would have without a handler.
[[noreturn]] void EndByAbort() noexcept {
  ::signal(SIGABRT, SIG_DFL);
#if defined(_MSC_VER) || defined(_UCRT)
  ::_set_abort_behavior(0, _WRITE_ABORT_MSG);  // the message was written before the signal
#else
  ::raise(SIGABRT);  // abort would write its message again
#endif
  ::abort();
}

void OnAbort(int signalNumber) {
  StandInException exception;
  ::RtlCaptureContext(&exception.context);
  exception.Report(CrashKind::kAbort);
  const SignalHandler previous = abortPlace.previous.load(std::memory_order_relaxed);
  if (previous == SIG_DFL) EndByAbort();
  if (previous != SIG_IGN) {
    // The runtime resets a handler before it calls it; do the same for the previous one.
    abortPlace.previous.store(SIG_DFL, std::memory_order_relaxed);
    previous(signalNumber);
  }
  ::signal(SIGABRT, &OnAbort);
  ReportSurvived();
}

void OnInvalidParameter(const wchar_t* expression, const wchar_t* function, const wchar_t* file,
                        unsigned line, std::uintptr_t reserved) {
  StandInException exception;
  ::RtlCaptureContext(&exception.context);
  if (!parametersAreHarmless.load(std::memory_order_relaxed)) {
    exception.Report(CrashKind::kInvalidParameter);
  }
  if (const auto previous = parameterPlace.previous.load(std::memory_order_relaxed)) {
    previous(expression, function, file, line, reserved);
  } else {
#if defined(_MSC_VER) || defined(_UCRT)
    ::_set_invalid_parameter_handler(nullptr);
    ::_invalid_parameter_noinfo_noreturn();
#endif
  }
  parametersAreHarmless.store(true, std::memory_order_relaxed);
  ReportSurvived();
}

#if defined(_MSC_VER)
constinit Place<_purecall_handler> pureCallPlace;

// With other compilers a pure virtual call ends in std::terminate.
void OnPureCall() {
  StandInException exception;
  ::RtlCaptureContext(&exception.context);
  exception.Report(CrashKind::kPureCall);
  if (const auto previous = pureCallPlace.previous.load(std::memory_order_relaxed)) previous();
  ::abort();
}
#endif

/// Installs a handler. `exchange` installs a handler and returns the one that it replaced.
template <class Handler, class Exchange>
void InstallOne(Place<Handler>& place, Handler handler, Exchange exchange) noexcept {
  // A handler that could not be removed is still called by the one that was installed after it.
  if (place.isInstalled.exchange(true)) return;
  place.previous.store(exchange(handler), std::memory_order_relaxed);
}

template <class Handler, class Exchange>
void RemoveOne(Place<Handler>& place, Handler handler, Exchange exchange) noexcept {
  const Handler current = exchange(place.previous.load(std::memory_order_relaxed));
  if (current == handler) {
    place.isInstalled.store(false);
  } else {
    exchange(current);
  }
}

/// Calls `action` for each kind, with its place, our handler and the function that installs one.
template <class Action>
void ForEachPlace(Action action) noexcept {
  action(filterPlace, &OnUnhandledException,
         [](auto handler) { return ::SetUnhandledExceptionFilter(handler); });
  action(terminatePlace, &OnTerminate, [](auto handler) { return std::set_terminate(handler); });
  action(abortPlace, &OnAbort, [](auto handler) { return ::signal(SIGABRT, handler); });
  action(parameterPlace, &OnInvalidParameter,
         [](auto handler) { return ::_set_invalid_parameter_handler(handler); });
#if defined(_MSC_VER)
  action(pureCallPlace, &OnPureCall, [](auto handler) { return ::_set_purecall_handler(handler); });
#endif
}

}  // namespace

MKernelHandle ClaimCrashes(std::uint32_t& code) {
  const std::wstring name =
      L"Local\\Orvel.MCrashReporter." + std::to_wstring(::GetCurrentProcessId());
  MKernelHandle claim(::CreateMutexW(nullptr, FALSE, name.c_str()));
  const DWORD reason = ::GetLastError();
  code = claim ? 0 : reason;
  return reason != ERROR_ALREADY_EXISTS ? std::move(claim) : MKernelHandle();
}

void InstallCrashHooks(const CrashHooks& hooks) noexcept {
  onSurvived.store(hooks.onSurvived, std::memory_order_release);
  onCrash.store(hooks.onCrash, std::memory_order_release);
  // Where the runtime has a terminate handler for each thread, this sets the calling thread's. On
  // the others std::terminate ends in abort, and is reported as that.
  ForEachPlace([](auto& place, auto handler, auto exchange) {
    InstallOne(place, decltype(place.previous.load())(handler), exchange);
  });
}

void RemoveCrashHooks() noexcept {
  ForEachPlace([](auto& place, auto handler, auto exchange) {
    RemoveOne(place, decltype(place.previous.load())(handler), exchange);
  });
  onCrash.store(nullptr, std::memory_order_release);
  onSurvived.store(nullptr, std::memory_order_release);
}

}  // namespace Orvel::Detail
