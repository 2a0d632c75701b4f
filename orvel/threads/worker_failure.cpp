// SPDX-License-Identifier: MIT
#include "orvel/threads/worker_failure.h"

#include <atomic>

namespace Orvel::Detail {
namespace {

// Release in SetWorkerFailureHook, acquire where it is called.
constinit std::atomic<WorkerFailureHook> workerFailureHook{nullptr};

}  // namespace

void SetWorkerFailureHook(WorkerFailureHook hook) noexcept {
  workerFailureHook.store(hook, std::memory_order_release);
}

void ReportWorkerFailure(MEngineThread& engine, const MException& error) noexcept {
  const WorkerFailureHook hook = workerFailureHook.load(std::memory_order_acquire);
  if (hook != nullptr) hook(engine, error);
}

}  // namespace Orvel::Detail
