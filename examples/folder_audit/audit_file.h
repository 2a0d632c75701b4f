// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "folder_audit/audit_entry.h"

namespace FolderAudit {

/// An audit as it was stored.
struct StoredAudit {
  std::wstring folder;              ///< full path of the folder that was audited
  std::vector<AuditEntry> entries;  ///< in the order in which they were stored
};

/// Raises "CannotSave" ("file", "winErrorCode") when `file` cannot be written, so that this shows
/// before an audit and not after it. An existing file is unchanged.
void RequireSavable(const std::wstring& file);

/// Stores an audit of `folder`, a full path, as tagged XML, a section for each entry, with the
/// whole chain of an entry's error. A file that is there is replaced in one step when everything is
/// on disk. Names that are no valid Unicode come back as they were; in errors they have U+FFFD in
/// the bad places. Raises "CannotSave" ("file", "reason").
void SaveAudit(const std::wstring& file, const std::wstring& folder,
               const std::vector<AuditEntry>& entries);

/// Reads a stored audit. Raises "CannotLoad" ("file"; "reason" when it cannot be read, its text is
/// broken or an entry makes no sense; "line" and "column" where a text is broken).
[[nodiscard]] StoredAudit LoadAudit(const std::wstring& file);

}  // namespace FolderAudit
