// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "folder_audit/audit_observer.h"
#include "folder_audit/hash_job.h"

namespace FolderAudit {

/// Hashes files on several jobs at once. Each takes the file that has waited longest, so that a job
/// that is busy with a large file delays no other file.
///
/// Thread-compatible: one thread at a time may add files. The destructor drops the files that are
/// still waiting, whose futures then have a broken promise, and waits for those being hashed.
class HashJobs {
 public:
  using Result = std::future<std::optional<FileDigest>>;

  /// Starts `count` jobs, 1 or more, for files below `root`, an extended path. `observer` is
  /// borrowed and called on the workers. Raises what `HashJob` raises.
  HashJobs(std::size_t count, std::wstring root, const std::stop_token& stop,
           IAuditObserver& observer);
  ~HashJobs();
  HashJobs(const HashJobs&) = delete;
  HashJobs& operator=(const HashJobs&) = delete;

  /// Queues a file; its future holds what `HashJob::HashFile` returns or raises. Raises what
  /// `MCommandProcessor::QueueCommand` raises.
  [[nodiscard]] Result HashFile(const std::wstring& relativePath);

 private:
  using Task = std::packaged_task<std::optional<FileDigest>(HashJob&)>;

  void Serve(HashJob& job);
  [[nodiscard]] std::optional<Task> TakeTask(HashJob& job);

  const std::wstring root_;
  IAuditObserver& observer_;
  std::mutex mutex_;
  std::deque<Task> waiting_;    // under mutex_
  std::vector<HashJob*> idle_;  // under mutex_; a job is in it or has a command that serves
  std::vector<std::unique_ptr<HashJob>> jobs_;  // their workers use the others, so they end first
};

}  // namespace FolderAudit
