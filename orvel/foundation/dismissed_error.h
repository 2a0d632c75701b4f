// SPDX-License-Identifier: MIT
#pragma once

class MException;
class MFlowPoint;

namespace Orvel::Detail {

/// Called by `RecordDismissed` with its arguments, after it has recorded the error.
using DismissedErrorHook = void (*)(const MFlowPoint& point, const void* object,
                                    const MException& exception) noexcept;

/// Installs the process's only hook, for the layers above this one; null removes it. Does not wait
/// for a call of the hook on another thread. Any thread.
void SetDismissedErrorHook(DismissedErrorHook hook) noexcept;

}  // namespace Orvel::Detail
