// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "folder_audit/audit_entry.h"

namespace FolderAudit {

/// What happened to one file between two audits. The entry is the later audit's, but for a removed
/// file and one that could not be read before, whose error it then carries.
struct FileDifference {
  enum class Kind { kAdded, kChanged, kRemoved, kUnreadable, kUnreadableBefore };
  Kind kind;
  const AuditEntry* entry;  ///< one of those that were compared
};

/// Compares two audits of a folder by their paths, in ordinal order of which the differences come.
/// Files that are as they were are left out, and so are those below a folder that the later audit
/// could not list: of them nothing is known but the folder's kUnreadable. What neither audit could
/// read is kUnreadable once. The entries are borrowed: the result points to them.
[[nodiscard]] std::vector<FileDifference> CompareAudits(const std::vector<AuditEntry>& before,
                                                        const std::vector<AuditEntry>& after);

}  // namespace FolderAudit
