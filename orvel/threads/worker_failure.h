// SPDX-License-Identifier: MIT
#pragma once

class MEngineThread;
class MException;

namespace Orvel::Detail {

/// Called on a worker that ends by an error, after the error was recorded. No lock is held.
using WorkerFailureHook = void (*)(MEngineThread& engine, const MException& error) noexcept;

/// Installs the process's only hook, for the layers above this one; null removes it. Does not wait
/// for a call of the hook on another thread. Any thread.
void SetWorkerFailureHook(WorkerFailureHook hook) noexcept;

/// Calls the hook, if there is one.
void ReportWorkerFailure(MEngineThread& engine, const MException& error) noexcept;

}  // namespace Orvel::Detail
