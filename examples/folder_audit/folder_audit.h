// SPDX-License-Identifier: MIT
#pragma once

#include <deque>
#include <stop_token>
#include <string>

#include "folder_audit/audit_entry.h"
#include "folder_audit/audit_observer.h"
#include "folder_audit/folder_walker.h"
#include "folder_audit/hash_jobs.h"
#include "folder_audit/options.h"

namespace FolderAudit {

/// Audits one folder: walks it on the calling thread and has the files hashed by several jobs, a
/// bounded number of files at a time. The results come in the order of the walk, however many jobs
/// there are.
///
/// Thread-affine, but a stop may be requested from anywhere.
class Audit {
 public:
  /// Lists the folder and starts the jobs. `observer` is borrowed. Raises what `FolderWalker` and
  /// `HashJobs` raise.
  Audit(const Options& options, IAuditObserver& observer, const std::stop_token& stop);
  ~Audit();
  Audit(const Audit&) = delete;
  Audit& operator=(const Audit&) = delete;

  /// Runs to the end or until a stop is requested (see `AuditResult::interrupted`). Call it once. A
  /// file that cannot be read becomes an entry with an error; raises only errors that end the
  /// audit.
  [[nodiscard]] AuditResult Run();

 private:
  /// An item of the walk that is not reported yet.
  struct Pending {
    AuditEntry entry;
    HashJobs::Result digest;  // without state when the entry is complete
  };

  [[nodiscard]] Pending Begin(FoundItem&& item);
  void ReportFirst(AuditResult& result);

  IAuditObserver& observer_;
  const std::stop_token stop_;
  const std::wstring root_;
  FolderWalker walker_;
  const std::size_t maxPending_;
  std::deque<Pending> pending_;  // in the order of the walk
  HashJobs jobs_;
};

}  // namespace FolderAudit
