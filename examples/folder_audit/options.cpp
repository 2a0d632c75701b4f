// SPDX-License-Identifier: MIT
#include "folder_audit/options.h"

#include <algorithm>
#include <cstddef>
#include <thread>

#include "folder_audit/crash.h"

namespace FolderAudit {
namespace {

std::size_t DefaultJobs() noexcept {
  // 0 on systems where the library cannot find out.
  return std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, kMaxJobs);
}

/// A number from 1 to kMaxJobs, which has no more than two digits; 0 when `text` is none.
std::size_t ParseJobs(std::wstring_view text) noexcept {
  if (text.empty() || text.size() > 2) return 0;
  std::size_t jobs = 0;
  for (const wchar_t digit : text) {
    if (digit < L'0' || digit > L'9') return 0;
    jobs = jobs * 10 + static_cast<std::size_t>(digit - L'0');
  }
  return jobs <= kMaxJobs ? jobs : 0;
}

}  // namespace

std::optional<Options> ParseOptions(std::span<const wchar_t* const> arguments,
                                    std::wstring& problem) {
  Options options;
  options.jobs = DefaultJobs();
  bool optionsEnded = false;
  bool hasOthers = false;  // than those that go with --settings
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::wstring_view argument = arguments[i];
    const bool isOption = !optionsEnded && argument.size() > 1 && argument.front() == L'-';
    if (!isOption || (argument != L"--settings" && argument != L"--settings-key")) hasOthers = true;

    if (!isOption) {
      if (argument.empty()) {
        problem = L"the name of the folder is empty";
        return std::nullopt;
      }
      if (!options.folder.empty()) {
        problem = L"more than one folder: " + std::wstring(argument);
        return std::nullopt;
      }
      options.folder = argument;
    } else if (argument == L"--") {
      optionsEnded = true;
    } else if (argument == L"--help" || argument == L"-h") {
      options.showsHelp = true;
      return options;
    } else if (argument == L"--list") {
      options.listsHashes = true;
    } else if (argument == L"--settings") {
      options.showsSettings = true;
    } else if (argument == L"--flow-log" || argument == L"--skip" || argument == L"--save" ||
               argument == L"--compare" || argument == L"--settings-key" || argument == L"--jobs" ||
               argument == L"--crash-reports" || argument == L"--crash") {
      if (i + 1 == arguments.size() || *arguments[i + 1] == L'\0') {
        problem = std::wstring(argument) + L" needs a value after it";
        return std::nullopt;
      }
      const wchar_t* const value = arguments[++i];
      if (argument == L"--skip") {
        options.skippedNames.emplace_back(value);
      } else if (argument == L"--save") {
        options.saveFile = value;
      } else if (argument == L"--compare") {
        options.compareFile = value;
      } else if (argument == L"--settings-key") {
        options.settingsKey = value;
      } else if (argument == L"--crash-reports") {
        options.crashReportsFolder = value;
      } else if (argument == L"--crash") {  // for tests and the demo, so not in the help
        options.crashKind = value;
        if (!IsCrashKind(options.crashKind)) {
          problem = L"no such crash: " + options.crashKind;
          return std::nullopt;
        }
      } else if (argument == L"--jobs") {
        options.jobs = ParseJobs(value);
        if (options.jobs == 0) {
          problem = L"--jobs needs a number from 1 to " + std::to_wstring(kMaxJobs);
          return std::nullopt;
        }
      } else {
        options.flowLogFile = value;
      }
    } else {
      problem = L"unknown option " + std::wstring(argument);
      return std::nullopt;
    }
  }
  if (options.showsSettings && hasOthers) {
    problem = L"--settings audits nothing: only --settings-key goes with it";
    return std::nullopt;
  }
  return options;
}

std::wstring_view HelpText() noexcept {
  return LR"(folder_audit: reads every file below a folder and computes its SHA-256.

Usage: folder_audit [OPTION...] FOLDER

  --list              print a line "HASH  PATH" for each file
  --skip NAME         leave out folders of this name; may be repeated
  --save FILE         store the audit in FILE, as XML
  --compare FILE      tell what was added, changed and removed since the audit
                      that is stored in FILE; may be the file that --save
                      replaces
  --jobs N            hash N files at a time, 1 to 64; as many as the machine has
                      cores unless given
  --flow-log FILE     write the flow log of the run to FILE
  --crash-reports FOLDER
                      should the program crash, leave a report, a minidump and the
                      flow log in FOLDER, which keeps those of the last ten times
  --settings          print what is kept from earlier audits, and audit nothing
  --settings-key KEY  keep that in the registry under KEY, not FolderAudit
  --help              print this text
  --                  what follows is the folder, also when it begins with "-"

Files that cannot be read are reported, each with the reason, and do not end the
audit. Links are counted and not followed. The files that --save, --compare and
--flow-log name are left out. Ctrl-C ends the audit and reports what was hashed so
far; nothing is then stored or compared. Progress is shown when the output is a
console.

Exit codes:
  0  every file was read
  1  some files or folders could not be read
  2  the command line makes no sense
  3  interrupted
  4  the audit failed
  5  with --compare: files were added, changed or removed, or can be read now
)";
}

}  // namespace FolderAudit
