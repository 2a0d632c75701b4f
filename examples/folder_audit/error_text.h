// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "orvel/foundation/exception.h"

namespace FolderAudit {

/// The cause of `exception` on one line: the system's message for its "winErrorCode" or "errno", if
/// it has one, then the error itself with its parameters. Never empty.
[[nodiscard]] std::wstring DescribeCause(const MException& exception);

/// `text` with control characters, which could manipulate a terminal, replaced by question marks.
[[nodiscard]] std::wstring Printable(std::wstring_view text);

}  // namespace FolderAudit
