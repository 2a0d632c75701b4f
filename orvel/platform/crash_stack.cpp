// SPDX-License-Identifier: MIT
#include "orvel/platform/crash_stack.h"

#include <iterator>

#include <psapi.h>

namespace Orvel::Detail {

bool ReserveStack(std::uint32_t bytes) noexcept {
  ULONG guarantee = bytes;
  return ::SetThreadStackGuarantee(&guarantee) != FALSE;
}

// By what is mapped there, not by the list of modules: a thread that crashed may hold its lock.
CodePlace FindCodePlace(std::uint64_t address) noexcept {
  CodePlace place{{}, address};
  void* const code = reinterpret_cast<void*>(static_cast<std::uintptr_t>(address));
  MEMORY_BASIC_INFORMATION region{};
  if (::VirtualQuery(code, &region, sizeof region) == 0 || region.Type != MEM_IMAGE) return place;
  wchar_t path[MAX_PATH * 4];
  constexpr auto kRoom = static_cast<DWORD>(std::size(path));
  DWORD length = ::K32GetMappedFileNameW(::GetCurrentProcess(), code, path, kRoom);
  if (length == 0) {  // longer than that takes
    length = ::GetModuleFileNameW(static_cast<HMODULE>(region.AllocationBase), path, kRoom);
  }
  if (length == 0) return place;
  place.offset = address - reinterpret_cast<std::uintptr_t>(region.AllocationBase);
  std::size_t start = length;
  while (start > 0 && path[start - 1] != L'\\') --start;
  std::size_t used = 0;
  for (; start < length && used < place.moduleName.size() - 1; ++start) {
    place.moduleName[used++] = path[start];
  }
  return place;
}

#if defined(_M_X64) || defined(__x86_64__)

std::size_t WalkStack(const CONTEXT& context, std::span<std::uint64_t> addresses) noexcept {
  CONTEXT frame = context;
  std::size_t count = 0;
  while (count < addresses.size() && frame.Rip != 0) {
    addresses[count++] = frame.Rip;
    DWORD64 base = 0;
    RUNTIME_FUNCTION* const function = ::RtlLookupFunctionEntry(frame.Rip, &base, nullptr);
    const DWORD64 stackBefore = frame.Rsp;
    if (function == nullptr) {
      // A function without entry keeps nothing on the stack but where it returns to. The same goes
      // for a call of nowhere.
      frame.Rip = *reinterpret_cast<const DWORD64*>(static_cast<std::uintptr_t>(frame.Rsp));
      frame.Rsp += sizeof(DWORD64);
    } else {
      void* handlerData = nullptr;
      DWORD64 establisher = 0;
      ::RtlVirtualUnwind(UNW_FLAG_NHANDLER, base, frame.Rip, function, &frame, &handlerData,
                         &establisher, nullptr);
    }
    if (frame.Rsp <= stackBefore) break;  // a stack only gets shorter that way
  }
  return count;
}

#else

std::size_t WalkStack(const CONTEXT&, std::span<std::uint64_t>) noexcept { return 0; }

#endif

}  // namespace Orvel::Detail
