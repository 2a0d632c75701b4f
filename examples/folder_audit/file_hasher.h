// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "folder_audit/file_reader.h"
#include "folder_audit/sha256_hasher.h"

namespace FolderAudit {

struct FileDigest {
  std::uint64_t sizeInBytes = 0;
  std::string sha256;
};

/// Hashes files, chunk by chunk, so that size does not matter and a stop request is soon obeyed.
///
/// Thread-compatible: one file at a time.
class FileHasher {
 public:
  /// `onBytesRead` is called with the size of each chunk, on the thread that hashes; may be empty.
  FileHasher(std::stop_token stop, std::function<void(std::uint64_t)> onBytesRead);
  ~FileHasher();
  FileHasher(const FileHasher&) = delete;
  FileHasher& operator=(const FileHasher&) = delete;

  /// Reads the whole file at `path`. Empty when a stop was requested before its end. Raises the
  /// errors of `FileReader` and `Sha256Hasher`.
  [[nodiscard]] std::optional<FileDigest> HashFile(const std::wstring& path);

 private:
  const std::stop_token stop_;
  const std::function<void(std::uint64_t)> onBytesRead_;
  std::vector<unsigned char> buffer_;
  FileReader reader_;
  Sha256Hasher hasher_;
};

}  // namespace FolderAudit
