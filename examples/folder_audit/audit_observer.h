// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "folder_audit/audit_entry.h"

namespace FolderAudit {

/// Learns how an audit goes. Calls on the workers may overlap with each other and with one on the
/// auditing thread.
class IAuditObserver {
 public:
  /// A file is about to be read. Worker.
  virtual void OnFileStarted(const std::wstring& relativePath) = 0;
  /// So many more bytes were hashed. Worker; raises nothing.
  virtual void OnBytesRead(std::uint64_t bytes) noexcept = 0;
  /// A file or folder is done with; they come in the order of the walk. Auditing thread.
  virtual void OnEntry(const AuditEntry& entry) = 0;

 protected:
  ~IAuditObserver() = default;
};

}  // namespace FolderAudit
