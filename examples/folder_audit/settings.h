// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace FolderAudit {

/// What is remembered from one audit to the next.
struct Settings {
  std::wstring lastFolder;     ///< full path of what was audited last; empty before the first audit
  std::wstring lastAuditFile;  ///< full path of the audit stored last; empty when none was
  std::uint32_t auditsRun = 0;
  std::uint32_t auditsInterrupted = 0;  ///< of those that were run
};

/// Reads the settings from the registry, below the framework's key of the user who runs this. What
/// is missing there, or is of another kind, is as in new settings. Raises only what
/// `MLocale::Instance` raises.
[[nodiscard]] Settings LoadSettings(const std::wstring& applicationKey);

/// Stores the settings there. Raises "CannotSave" ("key") when the registry refuses a value; some
/// of the others may be stored then. Of two audits that end at the same moment one may go
/// uncounted.
void SaveSettings(const std::wstring& applicationKey, const Settings& settings);

/// The settings and where they are, a line each, for people.
[[nodiscard]] std::wstring DescribeSettings(const std::wstring& applicationKey,
                                            const Settings& settings);

}  // namespace FolderAudit
