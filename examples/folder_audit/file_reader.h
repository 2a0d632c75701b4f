// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "folder_audit/windows_api.h"
#include "orvel/platform/unique_handle.h"

namespace FolderAudit {

/// Reads one file after the other in chunks. Others may go on using the file meanwhile; what they
/// change shows at the end.
///
/// Thread-compatible. Long-lived, so that the flow log knows it by name.
class FileReader {
 public:
  FileReader();
  ~FileReader();
  FileReader(const FileReader&) = delete;
  FileReader& operator=(const FileReader&) = delete;

  /// Opens the file at `path` and closes the one before. Raises "CannotOpenFile" ("winErrorCode"),
  /// "NotAFile" for what is none (a pipe, a device) and "CannotQueryFile" ("winErrorCode"); nothing
  /// is open then.
  void Open(const std::wstring& path);
  /// Fills `buffer` from the file's next bytes; their number is less at its end, where it becomes
  /// 0. Raises "CannotReadFile" ("winErrorCode").
  [[nodiscard]] std::size_t Read(std::span<unsigned char> buffer);
  /// Raises "ChangedWhileRead" when size or time of the last change are not as they were when the
  /// file was opened, "CannotQueryFile" ("winErrorCode") when the system does not tell.
  void RequireUnchanged() const;
  void Close() noexcept { file_ = {}; }

 private:
  struct Version {
    std::uint64_t size = 0;
    std::uint64_t lastWrite = 0;
    bool operator==(const Version&) const = default;
  };
  [[nodiscard]] Version QueryVersion(HANDLE file) const;

  MFileHandle file_;
  Version opened_;
};

}  // namespace FolderAudit
