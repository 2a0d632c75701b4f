// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "folder_audit/windows_api.h"
#include "orvel/platform/unique_handle.h"

namespace FolderAudit {

/// Reads one file after the other in chunks. Other programs may use the file at the same time; a
/// change they make is detected at the end.
///
/// Thread-compatible. Long-lived, so that the flow log knows it by name.
class FileReader {
 public:
  FileReader();
  ~FileReader();
  FileReader(const FileReader&) = delete;
  FileReader& operator=(const FileReader&) = delete;

  /// Opens the file at `path` and closes the one before. Raises "CannotOpenFile" ("winErrorCode"),
  /// "NotAFile" for a pipe or a device and "CannotQueryFile" ("winErrorCode"); nothing
  /// is open then.
  void Open(const std::wstring& path);
  /// Fills `buffer` with the file's next bytes and returns how many there were: fewer at the end of
  /// the file, then 0. Raises "CannotReadFile" ("winErrorCode").
  [[nodiscard]] std::size_t Read(std::span<unsigned char> buffer);
  /// Raises "ChangedWhileRead" when the size or the time of the last change is not what it was when
  /// the file was opened, "CannotQueryFile" ("winErrorCode") when they cannot be read.
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
