// SPDX-License-Identifier: MIT
#pragma once

class MException;
class MFlowPoint;

namespace Orvel::Detail {

/// Called by `RecordDismissed` with its arguments, after it has recorded the error.
using DismissedErrorHook = void (*)(const MFlowPoint& point, const void* object,
                                    const MException& exception) noexcept;

/// Installs the process's hook, which layers above fill; null for none. Any thread; a call that is
/// under way goes on.
void SetDismissedErrorHook(DismissedErrorHook hook) noexcept;

}  // namespace Orvel::Detail
