// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace FolderAudit {

/// What the command line asks for.
struct Options {
  std::wstring folder;                        ///< empty: none was given
  std::wstring flowLogFile;                   ///< empty: no flow log
  std::wstring saveFile;                      ///< empty: the audit is not stored
  std::wstring compareFile;                   ///< empty: the audit is not compared
  std::vector<std::wstring> skippedNames;     ///< folders of these names are left out
  std::wstring settingsKey = L"FolderAudit";  ///< registry key below the framework's
  std::wstring crashReportsFolder;            ///< empty: a crash leaves no report
  std::wstring crashKind;                     ///< not empty: how to crash at the end of the audit
  std::size_t jobs = 1;                       ///< files hashed at the same time
  bool listsHashes = false;
  bool showsSettings = false;  ///< nothing is audited then
  bool showsHelp = false;      ///< nothing else counts then
};

/// The most jobs that a command line may ask for.
inline constexpr std::size_t kMaxJobs = 64;

/// Reads the arguments that follow the program's name. Returns nothing when they make no sense;
/// `problem` is then set to the reason, for people.
[[nodiscard]] std::optional<Options> ParseOptions(std::span<const wchar_t* const> arguments,
                                                  std::wstring& problem);

/// The text of --help.
[[nodiscard]] std::wstring_view HelpText() noexcept;

}  // namespace FolderAudit
