// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "folder_audit/file_hasher.h"
#include "orvel/commands/command.h"
#include "orvel/commands/command_processor.h"

namespace FolderAudit {

/// A worker that hashes files: a command processor, and the hasher that its commands use.
///
/// Thread-safe: any thread may queue. The destructor ends the worker after what it is hashing.
class HashJob {
 public:
  /// Starts the worker. The flow log calls the job `name`. For the other two see `FileHasher`.
  /// Raises what the hasher and the start of a thread raise.
  HashJob(const std::wstring& name, std::stop_token stop,
          std::function<void(std::uint64_t)> onBytesRead);
  ~HashJob();
  HashJob(const HashJob&) = delete;
  HashJob& operator=(const HashJob&) = delete;

  /// See `MCommandProcessor::QueueCommand`.
  void Queue(std::unique_ptr<MCommand> command) { processor_.QueueCommand(std::move(command)); }

  /// Hashes the file `relativePath` below `root`, an extended path. Empty when a stop was requested
  /// before its end. Raises the cause, followed by "FileNotHashed" ("file"). Worker only.
  [[nodiscard]] std::optional<FileDigest> HashFile(const std::wstring& root,
                                                   const std::wstring& relativePath);

 private:
  const std::wstring name_;  // first: the flow log tells objects apart by their addresses
  FileHasher hasher_;
  MCommandProcessor processor_;  // its worker uses the hasher, so it ends first
};

}  // namespace FolderAudit
