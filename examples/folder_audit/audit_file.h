// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "folder_audit/audit_entry.h"

namespace FolderAudit {

/// Stores an audit as tagged XML, a section for each entry, with the whole chain of an entry's
/// error. A file that is there is replaced in one step when everything is on disk. Raises
/// "CannotSave" ("file").
void SaveAudit(const std::wstring& file, const std::wstring& folder,
               const std::vector<AuditEntry>& entries);

/// The entries of a stored audit, in the order in which they were stored. Raises "CannotLoad"
/// ("file"; "reason" when it cannot be read or its text is broken, "line" and "column" of where).
[[nodiscard]] std::vector<AuditEntry> LoadAudit(const std::wstring& file);

}  // namespace FolderAudit
