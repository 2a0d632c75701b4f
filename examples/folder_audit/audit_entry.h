// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "orvel/foundation/exception.h"

namespace FolderAudit {

/// What the audit found out about one file, or about one folder that could not be listed.
struct AuditEntry {
  std::wstring relativePath;        ///< below the audited folder
  std::uint64_t sizeInBytes = 0;    ///< bytes hashed; 0 with an error
  std::string sha256;               ///< 64 lower-case digits; empty with an error
  std::optional<MException> error;  ///< why it could not be read, oldest cause first
};

/// One run over a folder.
struct AuditResult {
  std::vector<AuditEntry> entries;  ///< in the order in which they were read
  std::uint64_t linkCount = 0;      ///< links met, none of which is followed
  bool interrupted = false;         ///< stopped before the end; the entries so far are whole
  std::chrono::nanoseconds duration{};
};

}  // namespace FolderAudit
