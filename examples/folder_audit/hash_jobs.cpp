// SPDX-License-Identifier: MIT
#include "folder_audit/hash_jobs.h"

#include <utility>

#include "orvel/commands/function_command.h"

namespace FolderAudit {

HashJobs::HashJobs(std::size_t count, std::wstring root, const std::stop_token& stop,
                   IAuditObserver& observer)
    : root_(std::move(root)), observer_(observer) {
  idle_.reserve(count);  // a job that becomes idle then needs no memory
  for (std::size_t number = 1; number <= count; ++number) {
    jobs_.push_back(
        std::make_unique<HashJob>(L"Job " + std::to_wstring(number), stop,
                                  [&observer](std::uint64_t n) { observer.OnBytesRead(n); }));
    idle_.push_back(jobs_.back().get());
  }
}

HashJobs::~HashJobs() {
  const std::lock_guard lock(mutex_);
  waiting_.clear();
}

HashJobs::Result HashJobs::HashFile(const std::wstring& relativePath) {
  Task task([this, relativePath](HashJob& job) {
    observer_.OnFileStarted(relativePath);
    return job.HashFile(root_, relativePath);
  });
  Result result = task.get_future();
  HashJob* job = nullptr;
  {
    const std::lock_guard lock(mutex_);
    waiting_.push_back(std::move(task));
    if (idle_.empty()) return result;
    job = idle_.back();
    idle_.pop_back();
  }
  job->Queue(MakeCommand([this, job] { Serve(*job); }));
  return result;
}

/// Runs on the job's worker: hashes what waits, until nothing does.
void HashJobs::Serve(HashJob& job) {
  while (std::optional<Task> task = TakeTask(job)) (*task)(job);
}

/// The task that has waited longest; without one the job counts as idle from then on.
std::optional<HashJobs::Task> HashJobs::TakeTask(HashJob& job) {
  const std::lock_guard lock(mutex_);
  if (waiting_.empty()) {
    idle_.push_back(&job);
    return std::nullopt;
  }
  std::optional<Task> task(std::move(waiting_.front()));
  waiting_.pop_front();
  return task;
}

}  // namespace FolderAudit
