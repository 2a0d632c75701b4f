// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "orvel/foundation/exception.h"

namespace FolderAudit {

/// A file, or a folder that could not be listed.
struct FoundItem {
  std::wstring relativePath;        ///< below the walker's root
  std::optional<MException> error;  ///< a folder's: "CannotListFolder" ("folder", "winErrorCode")
};

/// Finds the files below a folder: first its own files sorted by name, then those of each of its
/// subfolders in turn. Links to files and folders are counted and not followed, so a walk always
/// ends.
///
/// Thread-compatible. Holds the names of one folder at a time and of the folders still to visit.
class FolderWalker {
 public:
  /// Lists `root`, an extended path; raises "CannotListFolder" when that fails. Folders with one of
  /// `skippedNames` and the files `skippedFiles`, extended paths, are left out; case does not
  /// matter.
  FolderWalker(std::wstring root, std::vector<std::wstring> skippedNames,
               std::vector<std::wstring> skippedFiles, std::stop_token stop);
  ~FolderWalker();
  FolderWalker(const FolderWalker&) = delete;
  FolderWalker& operator=(const FolderWalker&) = delete;

  /// The next item; empty at the end and when a stop was requested.
  [[nodiscard]] std::optional<FoundItem> Next();

  /// Links met so far.
  [[nodiscard]] std::uint64_t GetLinkCount() const noexcept { return linkCount_; }

 private:
  void ListFolder(const std::wstring& relativePath);

  const std::wstring root_;
  const std::vector<std::wstring> skippedNames_;
  const std::vector<std::wstring> skippedFiles_;
  const std::stop_token stop_;
  std::vector<std::wstring> files_;    // of the folder listed last, in reverse order
  std::vector<std::wstring> folders_;  // still to visit, the next one last
  std::uint64_t linkCount_ = 0;
};

}  // namespace FolderAudit
