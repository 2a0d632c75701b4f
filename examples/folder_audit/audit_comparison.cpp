// SPDX-License-Identifier: MIT
#include "folder_audit/audit_comparison.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_set>

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

/// True when one of the entries, which are sorted by path, is below a folder.
bool HoldsOneBelow(const std::vector<const AuditEntry*>& sorted, const std::wstring& folder) {
  const std::wstring start = folder + L"\\";
  const auto first = std::lower_bound(
      sorted.begin(), sorted.end(), start,
      [](const AuditEntry* entry, const std::wstring& path) { return entry->relativePath < path; });
  return first != sorted.end() && (*first)->relativePath.starts_with(start);
}

/// True when one of `folders` is above `path`.
bool IsBelowAny(const std::unordered_set<std::wstring_view>& folders, std::wstring_view path) {
  for (std::size_t end = path.rfind(L'\\'); end != path.npos; end = path.rfind(L'\\')) {
    path = path.substr(0, end);
    if (folders.contains(path)) return true;
  }
  return false;
}

}  // namespace

std::vector<FileDifference> CompareAudits(const std::vector<AuditEntry>& before,
                                          const std::vector<AuditEntry>& after) {
  using Kind = FileDifference::Kind;
  const std::vector<const AuditEntry*> olds = SortByPath(before);
  const std::vector<const AuditEntry*> news = SortByPath(after);
  std::unordered_set<std::wstring_view> unreadableNow;
  for (const AuditEntry& entry : after) {
    if (entry.error) unreadableNow.insert(entry.relativePath);
  }
  std::vector<FileDifference> differences;
  auto oldEntry = olds.begin();
  auto newEntry = news.begin();
  while (oldEntry != olds.end() || newEntry != news.end()) {
    const bool isOnlyOld =
        newEntry == news.end() ||
        (oldEntry != olds.end() && (*oldEntry)->relativePath < (*newEntry)->relativePath);
    if (isOnlyOld) {
      // A folder has an entry only while it cannot be read.
      const AuditEntry& then = **oldEntry++;
      if (IsBelowAny(unreadableNow, then.relativePath)) continue;
      const bool isReadable = then.error && HoldsOneBelow(news, then.relativePath);
      differences.push_back({isReadable ? Kind::kUnreadableBefore : Kind::kRemoved, &then});
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
