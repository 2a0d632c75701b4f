// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "folder_audit/audit_entry.h"

namespace FolderAudit {

/// Receives the progress of an audit. An implementation must be thread-safe: the workers and the
/// auditing thread may call it at the same time.
class IAuditObserver {
 public:
  /// A file is about to be read. Worker.
  virtual void OnFileStarted(const std::wstring& relativePath) = 0;
  /// `bytes` more bytes were hashed. Worker; raises nothing.
  virtual void OnBytesRead(std::uint64_t bytes) noexcept = 0;
  /// A file or folder is done with; they come in the order of the walk. Auditing thread.
  virtual void OnEntry(const AuditEntry& entry) = 0;

 protected:
  ~IAuditObserver() = default;
};

}  // namespace FolderAudit
