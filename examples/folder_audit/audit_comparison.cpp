// SPDX-License-Identifier: MIT
#include "folder_audit/audit_comparison.h"

#include <algorithm>

namespace FolderAudit {
namespace {

std::vector<const AuditEntry*> SortByPath(const std::vector<AuditEntry>& entries) {
  std::vector<const AuditEntry*> sorted;
  sorted.reserve(entries.size());
  for (const AuditEntry& entry : entries) sorted.push_back(&entry);
  std::sort(sorted.begin(), sorted.end(), [](const AuditEntry* a, const AuditEntry* b) {
    return a->relativePath < b->relativePath;
  });
  return sorted;
}

}  // namespace

std::vector<FileDifference> CompareAudits(const std::vector<AuditEntry>& before,
                                          const std::vector<AuditEntry>& after) {
  using Kind = FileDifference::Kind;
  const std::vector<const AuditEntry*> olds = SortByPath(before);
  const std::vector<const AuditEntry*> news = SortByPath(after);
  std::vector<FileDifference> differences;
  auto oldEntry = olds.begin();
  auto newEntry = news.begin();
  while (oldEntry != olds.end() || newEntry != news.end()) {
    const bool isOnlyOld =
        newEntry == news.end() ||
        (oldEntry != olds.end() && (*oldEntry)->relativePath < (*newEntry)->relativePath);
    if (isOnlyOld) {
      differences.push_back({Kind::kRemoved, *oldEntry++});
      continue;
    }
    const AuditEntry& now = **newEntry++;
    const bool isInBoth = oldEntry != olds.end() && (*oldEntry)->relativePath == now.relativePath;
    const AuditEntry* const then = isInBoth ? *oldEntry++ : nullptr;
    if (now.error) {
      differences.push_back({Kind::kUnreadable, &now});
    } else if (then == nullptr) {
      differences.push_back({Kind::kAdded, &now});
    } else if (then->error) {
      differences.push_back({Kind::kUnreadableBefore, then});
    } else if (then->sha256 != now.sha256 || then->sizeInBytes != now.sizeInBytes) {
      differences.push_back({Kind::kChanged, &now});
    }
  }
  return differences;
}

}  // namespace FolderAudit
