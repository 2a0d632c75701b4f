// SPDX-License-Identifier: MIT
#include "orvel/platform/debugger_thread_name.h"

#include <cstddef>
#include <iterator>

#include "orvel/platform/kernel_handle.h"
#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {
namespace {

constexpr DWORD kThreadNamingException = 0x406D1388;
constexpr DWORD kThreadNamingType = 0x1000;
// 32-bit type, the name, then the 32-bit thread id and 32-bit flags of 0 in one word.
using ThreadNaming = ULONG_PTR[3];

void RaiseThreadNaming(const ThreadNaming& naming) {
  ::RaiseException(kThreadNamingException, 0, static_cast<DWORD>(std::size(naming)), naming);
}

#if defined(_MSC_VER)

LONG FilterThreadNaming(DWORD code) noexcept {
  return code == kThreadNamingException ? EXCEPTION_EXECUTE_HANDLER : EXCEPTION_CONTINUE_SEARCH;
}

void RaiseAndIgnore(const ThreadNaming& naming) {
  __try {
    RaiseThreadNaming(naming);
  } __except (FilterThreadNaming(GetExceptionCode())) {
    // There is no debugger, or it ignores names.
  }
}

#else

// For compilers that have no structured handlers, or none that work with this runtime. Installed
// only while a thread is being named; exceptions of other threads pass it.
LONG CALLBACK ContinueAfterThreadNaming(EXCEPTION_POINTERS* exception) noexcept {
  const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
  return record.ExceptionCode == kThreadNamingException &&
                 record.NumberParameters == std::size(ThreadNaming{}) &&
                 record.ExceptionInformation[2] == ::GetCurrentThreadId()
             ? EXCEPTION_CONTINUE_EXECUTION
             : EXCEPTION_CONTINUE_SEARCH;
}

void RaiseAndIgnore(const ThreadNaming& naming) {
  void* const handler = ::AddVectoredExceptionHandler(1, &ContinueAfterThreadNaming);
  if (handler == nullptr) return;  // without it the exception would end the process
  RaiseThreadNaming(naming);
  ::RemoveVectoredExceptionHandler(handler);
}

#endif

/// Windows has descriptions since 2016; looked up, so that programs start on older ones, too.
template <class Function>
Function FindKernelFunction(const char* name) noexcept {
  const HMODULE kernel = ::GetModuleHandleW(L"kernel32.dll");
  if (kernel == nullptr) return nullptr;
  return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(::GetProcAddress(kernel, name)));
}

}  // namespace

void AnnounceThreadName(std::uint32_t threadId, const char* name) noexcept {
  RaiseAndIgnore({kThreadNamingType, reinterpret_cast<ULONG_PTR>(name), threadId});
}

void DescribeCurrentThread(const wchar_t* name) noexcept {
  const auto setDescription =
      FindKernelFunction<HRESULT(WINAPI*)(HANDLE, const wchar_t*)>("SetThreadDescription");
  if (setDescription != nullptr) static_cast<void>(setDescription(::GetCurrentThread(), name));
}

bool ReadThreadDescription(std::uint32_t threadId, std::span<wchar_t> description) noexcept {
  static const auto getDescription =
      FindKernelFunction<HRESULT(WINAPI*)(HANDLE, wchar_t**)>("GetThreadDescription");
  if (getDescription == nullptr) return false;
  const KernelHandle thread(::OpenThread(THREAD_QUERY_LIMITED_INFORMATION, FALSE, threadId));
  wchar_t* text = nullptr;
  if (!thread || FAILED(getDescription(thread.Get(), &text)) || text == nullptr) return false;
  const bool hasText = text[0] != L'\0';
  for (std::size_t i = 0; hasText && i < description.size(); ++i) {
    description[i] = i + 1 < description.size() ? text[i] : L'\0';
    if (text[i] == L'\0') break;
  }
  ::LocalFree(text);
  return hasText;
}

}  // namespace Orvel::Detail
