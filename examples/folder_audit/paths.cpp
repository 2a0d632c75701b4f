// SPDX-License-Identifier: MIT
#include "folder_audit/paths.h"

#include "folder_audit/windows_api.h"
#include "orvel/foundation/system_error.h"

namespace FolderAudit {

std::wstring MakeFullPath(const std::wstring& path) {
  static MSourceContext context(L"Paths", L"MakeFullPath");
  if (path.starts_with(LR"(\\?\)")) return path;

  std::wstring full;
  DWORD length = MAX_PATH;
  do {  // again when the path is longer than the room: the current folder may change in between
    full.resize(length);
    length =
        ::GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
    if (length == 0) {
      const DWORD code = ::GetLastError();
      RaiseSystemError(context.At(__LINE__, nullptr), L"BadPath", code);
    }
  } while (length >= full.size());
  full.resize(length);
  return full;
}

std::wstring MakeExtendedPath(const std::wstring& path) {
  const std::wstring full = MakeFullPath(path);
  if (full.starts_with(LR"(\\?\)")) return full;
  if (full.starts_with(LR"(\\.\)")) return full;
  if (full.starts_with(LR"(\\)")) return LR"(\\?\UNC\)" + full.substr(2);
  return LR"(\\?\)" + full;
}

bool IsSameName(std::wstring_view left, std::wstring_view right) noexcept {
  return ::CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                                static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
}

std::wstring JoinPath(std::wstring_view folder, std::wstring_view name) {
  std::wstring path(folder);
  if (!path.empty() && path.back() != L'\\' && !name.empty()) path += L'\\';
  path += name;
  return path;
}

}  // namespace FolderAudit
