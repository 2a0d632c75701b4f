// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "folder_audit/audit_entry.h"

namespace FolderAudit {

/// One difference between two audits. The entry belongs to the later audit, except for a file that
/// was removed or could not be read before: those entries belong to the earlier one.
struct FileDifference {
  enum class Kind { kAdded, kChanged, kRemoved, kUnreadable, kUnreadableBefore };
  Kind kind;
  const AuditEntry* entry;  ///< one of those that were compared
};

/// Compares two audits of the same folder and returns the differences, sorted by path (ordinal
/// order). Unchanged files are left out. So is everything below a folder that the later audit could
/// not list; that folder itself is reported as kUnreadable. A file that neither audit could read is
/// reported once, as kUnreadable. The result points to the entries, which must outlive it.
[[nodiscard]] std::vector<FileDifference> CompareAudits(const std::vector<AuditEntry>& before,
                                                        const std::vector<AuditEntry>& after);

}  // namespace FolderAudit
