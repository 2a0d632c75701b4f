// SPDX-License-Identifier: MIT
#include "orvel/platform/system_paths.h"

#include <algorithm>
#include <cstddef>

#include "orvel/platform/windows_api.h"

namespace Orvel::Detail {
namespace {

/// Returns the text that `call(buffer, units)` writes, as the system's calls for paths do: they
/// return its length, or at least `units` when there is no room for it. Empty when the call fails.
template <class Call>
std::wstring PathOf(Call call) {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const std::size_t units = call(path.data(), static_cast<DWORD>(path.size()));
    if (units < path.size()) {
      path.resize(units);
      return path;
    }
    // Some return the length that they need, without the terminating zero or with it; some do not.
    path.resize((std::max)(units + 1, path.size() * 2));
  }
}

}  // namespace

std::wstring ProgramPath() {
  return PathOf(
      [](wchar_t* buffer, DWORD units) { return ::GetModuleFileNameW(nullptr, buffer, units); });
}

std::wstring FullPath(const std::wstring& path) {
  return PathOf([&path](wchar_t* buffer, DWORD units) {
    return ::GetFullPathNameW(path.c_str(), units, buffer, nullptr);
  });
}

std::wstring FinalPath(void* file) {
  return PathOf([file](wchar_t* buffer, DWORD units) {
    return ::GetFinalPathNameByHandleW(file, buffer, units, FILE_NAME_NORMALIZED);
  });
}

}  // namespace Orvel::Detail
