// SPDX-License-Identifier: MIT
#include "orvel/platform/mini_dump.h"

#include <dbghelp.h>

namespace Orvel::Detail {
namespace {

using WriteFunction = decltype(&::MiniDumpWriteDump);
// No documented function takes the loader's lock. Debuggers have always used these.
using LockLoaderFunction = LONG(WINAPI*)(ULONG flags, ULONG* disposition, ULONG_PTR* cookie);
using UnlockLoaderFunction = LONG(WINAPI*)(ULONG flags, ULONG_PTR cookie);
constexpr ULONG kTryOnly = 2;
constexpr ULONG kLocked = 1;

HMODULE LoadSystemModule(const wchar_t* name) noexcept {
  return ::LoadLibraryExW(name, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
}

void* FindFunction(HMODULE module, const char* name) noexcept {
  if (module == nullptr) return nullptr;
  return reinterpret_cast<void*>(::GetProcAddress(module, name));
}

template <class Function>
Function As(void* function) noexcept {
  return reinterpret_cast<Function>(function);
}

}  // namespace

// The modules are never unloaded: other code may use them by then.
MiniDumpWriter::MiniDumpWriter() noexcept
    : write_(FindFunction(LoadSystemModule(L"dbghelp.dll"), "MiniDumpWriteDump")),
      lockLoader_(FindFunction(::GetModuleHandleW(L"ntdll.dll"), "LdrLockLoaderLock")),
      unlockLoader_(FindFunction(::GetModuleHandleW(L"ntdll.dll"), "LdrUnlockLoaderLock")) {
  // The function would load it in the crash, to read the modules' versions.
  static_cast<void>(LoadSystemModule(L"version.dll"));
}

std::uint32_t MiniDumpWriter::Write(void* file, std::uint32_t threadId,
                                    EXCEPTION_POINTERS* exception,
                                    std::uint32_t patienceMs) const noexcept {
  if (write_ == nullptr) return ERROR_PROC_NOT_FOUND;
  ULONG_PTR loaderCookie = 0;
  const bool canLock = lockLoader_ != nullptr && unlockLoader_ != nullptr;
  if (canLock) {
    for (std::uint32_t waitedMs = 0;; ++waitedMs) {
      ULONG disposition = 0;
      As<LockLoaderFunction>(lockLoader_)(kTryOnly, &disposition, &loaderCookie);
      if (disposition == kLocked) break;
      if (waitedMs >= patienceMs) return ERROR_LOCK_VIOLATION;
      ::Sleep(1);
    }
  }
  // In this order, because a thread that holds the loader's lock may need the heap's.
  const HANDLE heap = ::GetProcessHeap();
  const bool heapIsLocked = ::HeapLock(heap) != FALSE;

  MINIDUMP_EXCEPTION_INFORMATION information{};
  information.ThreadId = threadId;
  information.ExceptionPointers = exception;
  information.ClientPointers = FALSE;
  std::uint32_t code = 0;
  if (As<WriteFunction>(write_)(
          ::GetCurrentProcess(), ::GetCurrentProcessId(), file,
          static_cast<MINIDUMP_TYPE>(MiniDumpNormal | MiniDumpWithIndirectlyReferencedMemory |
                                     MiniDumpWithThreadInfo | MiniDumpWithUnloadedModules),
          &information, nullptr, nullptr) == FALSE) {
    code = ::GetLastError();
    if (code == 0) code = ERROR_GEN_FAILURE;
  }
  if (heapIsLocked) ::HeapUnlock(heap);
  if (canLock) As<UnlockLoaderFunction>(unlockLoader_)(0, loaderCookie);
  return code;
}

}  // namespace Orvel::Detail
