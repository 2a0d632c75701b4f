// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <stop_token>
#include <string>

#include "folder_audit/audit_entry.h"
#include "folder_audit/file_hasher.h"
#include "folder_audit/folder_walker.h"
#include "folder_audit/options.h"
#include "folder_audit/stop_request.h"
#include "orvel/commands/command_processor.h"

namespace FolderAudit {

/// Is told how an audit goes. The calls never overlap: the auditing thread waits while the worker
/// hashes.
class IAuditObserver {
 public:
  /// A file is about to be read. Auditing thread.
  virtual void OnFileStarted(const std::wstring& relativePath) = 0;
  /// So many more bytes were hashed. Worker; raises nothing.
  virtual void OnBytesRead(std::uint64_t bytes) noexcept = 0;
  /// A file or folder is done with. Auditing thread.
  virtual void OnEntry(const AuditEntry& entry) = 0;

 protected:
  ~IAuditObserver() = default;
};

/// Audits one folder: walks it on the calling thread and has each file hashed by a synchronous
/// command on the worker of a command processor.
///
/// Thread-affine, but a stop may be requested from anywhere.
class Audit {
 public:
  /// Lists the folder and starts the worker. `observer` and `stop` are borrowed. Raises what
  /// `FolderWalker`, `Sha256Hasher` and the start of a thread raise.
  Audit(const Options& options, IAuditObserver& observer, StopRequest& stop);
  ~Audit();
  Audit(const Audit&) = delete;
  Audit& operator=(const Audit&) = delete;

  /// Runs to the end or until a stop is requested, which the result then says. To be called once.
  /// What cannot be read is an entry with an error; raises only what keeps it from going on.
  [[nodiscard]] AuditResult Run();

 private:
  [[nodiscard]] bool HashFile(AuditEntry& entry);

  IAuditObserver& observer_;
  StopRequest& stopRequest_;
  const std::stop_token stop_;  // of that request
  const std::wstring root_;
  FolderWalker walker_;
  FileHasher hasher_;
  MCommandProcessor processor_;  // its worker uses the hasher, so it ends first
};

}  // namespace FolderAudit
