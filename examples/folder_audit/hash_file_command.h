// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "folder_audit/file_hasher.h"
#include "orvel/commands/command_synchronous.h"

namespace FolderAudit {

/// Hashes one file on a command processor's worker. What goes wrong comes back through the error
/// slot: the cause, then "FileNotHashed" with the "file" that it happened to.
class HashFileCommand final : public MCommandSynchronous {
 public:
  /// Borrows `hasher` and `digest`, which receives the result: it stays empty after an error and
  /// when a stop was requested. `root` is an extended path.
  HashFileCommand(std::shared_ptr<MException> errorSlot, FileHasher& hasher,
                  const std::wstring& root, std::wstring relativePath,
                  std::optional<FileDigest>& digest);

 protected:
  void ExecuteCommand() override;

 private:
  FileHasher& hasher_;
  const std::wstring relativePath_;
  const std::wstring path_;
  std::optional<FileDigest>& digest_;
};

}  // namespace FolderAudit
