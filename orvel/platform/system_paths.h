// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace Orvel::Detail {

///@{
/// Return a path of any length, empty when the system refuses; raise `std::bad_alloc`.
[[nodiscard]] std::wstring ProgramPath();  ///< of the process's .exe
[[nodiscard]] std::wstring FullPath(const std::wstring& path);
[[nodiscard]] std::wstring FinalPath(void* file);  ///< of an open file, links followed
///@}

}  // namespace Orvel::Detail
