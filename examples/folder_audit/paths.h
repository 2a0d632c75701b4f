// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace FolderAudit {

/// `path` from the drive or share on, without `.` and `..`, as a user would type it; one in
/// extended form stays as it is. Raises "BadPath" ("winErrorCode").
[[nodiscard]] std::wstring MakeFullPath(const std::wstring& path);

/// The full path of `path` in the form that has no length limit and takes every name as it stands,
/// `\\?\C:\folder` or `\\?\UNC\server\share`. Raises "BadPath" ("winErrorCode").
[[nodiscard]] std::wstring MakeExtendedPath(const std::wstring& path);

/// True when the system takes both names for the same: their case does not matter.
[[nodiscard]] bool IsSameName(std::wstring_view left, std::wstring_view right) noexcept;

/// `folder` and `name` with one backslash between them; either may be empty.
[[nodiscard]] std::wstring JoinPath(std::wstring_view folder, std::wstring_view name);

}  // namespace FolderAudit
