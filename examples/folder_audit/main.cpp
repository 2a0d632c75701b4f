// SPDX-License-Identifier: MIT

// Hashes the files of a folder, on the library as any program would use it. Start reading at
// folder_audit.h.

#include <algorithm>
#include <cstddef>
#include <exception>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "folder_audit/audit_comparison.h"
#include "folder_audit/audit_file.h"
#include "folder_audit/console_interrupt.h"
#include "folder_audit/crash.h"
#include "folder_audit/error_text.h"
#include "folder_audit/exit_code.h"
#include "folder_audit/flow_log_file.h"
#include "folder_audit/folder_audit.h"
#include "folder_audit/options.h"
#include "folder_audit/paths.h"
#include "folder_audit/report.h"
#include "folder_audit/settings.h"
#include "folder_audit/terminal_writer.h"
#include "folder_audit/text_output.h"
#include "orvel/diagnostics/crash_reporter.h"
#include "orvel/logging/flow_log.h"

namespace {

using namespace FolderAudit;

/// Keeps what the next run wants to know about this one. An audit is as good without it.
void KeepSettings(const Options& options, const AuditResult& result, TerminalWriter& terminal) {
  static const MFlowPoint point(L"Main", L"KeepSettings");
  try {
    Settings settings = LoadSettings(options.settingsKey);
    settings.lastFolder = MakeFullPath(options.folder);
    ++settings.auditsRun;
    if (result.interrupted) {
      ++settings.auditsInterrupted;
    } else if (!options.saveFile.empty()) {
      settings.lastAuditFile = MakeFullPath(options.saveFile);
    }
    SaveSettings(options.settingsKey, settings);
  } catch (const MException& exception) {
    RecordDismissed(point, nullptr, exception);
    terminal.PrintError(L"folder_audit: settings not kept: " + DescribeCause(exception) + L'\n');
  }
}

ExitCode RunAudit(const Options& options, TextOutput& output, TextOutput& error) {
  TerminalWriter terminal(output, error);
  Report report(terminal, options.listsHashes);
  const std::wstring folder = MakeFullPath(options.folder);
  // First, so that a file that cannot be read or written costs no audit.
  StoredAudit before;
  if (!options.compareFile.empty()) {
    before = LoadAudit(options.compareFile);
    if (!IsSameName(MakeFullPath(before.folder), folder)) {
      report.PrintOtherFolder(options.compareFile, before.folder);
    }
  }
  if (!options.saveFile.empty()) RequireSavable(options.saveFile);
  Audit audit(options, report, WatchConsoleInterrupt());
  const AuditResult result = audit.Run();
  if (!options.crashKind.empty()) Crash(options.crashKind);
  report.PrintSummary(result);
  if (!result.interrupted && !options.saveFile.empty()) {
    SaveAudit(options.saveFile, folder, result.entries);
  }
  KeepSettings(options, result, terminal);
  if (result.interrupted) return ExitCode::kInterrupted;
  if (!options.compareFile.empty()) {
    const std::vector<FileDifference> differences = CompareAudits(before.entries, result.entries);
    report.PrintComparison(differences);
    const bool differs =
        std::any_of(differences.begin(), differences.end(), [](const FileDifference& difference) {
          return difference.kind != FileDifference::Kind::kUnreadable;
        });
    if (differs) return ExitCode::kDifferent;
  }
  const bool allRead =
      std::none_of(result.entries.begin(), result.entries.end(),
                   [](const AuditEntry& entry) { return entry.error.has_value(); });
  return allRead ? ExitCode::kAllRead : ExitCode::kSomeUnreadable;
}

/// Runs `action`, which returns an exit code; an error that it raises is shown and is a failure.
template <class Action>
ExitCode TellFailure(TextOutput& error, Action action) {
  try {
    return action();
  } catch (const MException& exception) {
    error.WriteIfPossible(L"folder_audit: " + DescribeCause(exception) + L'\n');
  } catch (const std::exception& exception) {
    const std::string text = exception.what();
    error.WriteIfPossible(L"folder_audit: " + std::wstring(text.begin(), text.end()) + L'\n');
  }
  return ExitCode::kFailure;
}

ExitCode TellUsage(TextOutput& error, const std::wstring& problem) {
  error.WriteIfPossible(L"folder_audit: " + Printable(problem) + L"\nTry folder_audit --help.\n");
  return ExitCode::kUsage;
}

ExitCode Main(std::span<const wchar_t* const> arguments) {
  flowLogger().nameCurrentThread(L"Main thread");
  TextOutput output(TextOutput::Stream::kOutput);
  TextOutput error(TextOutput::Stream::kError);

  std::wstring problem;
  const std::optional<Options> options = ParseOptions(arguments, problem);
  if (!options) return TellUsage(error, problem);
  return TellFailure(error, [&] {
    std::optional<MCrashReporter> crashReporter;
    const CrashLines crashLines(options->folder);
    if (!options->crashReportsFolder.empty()) {
      crashReporter.emplace(MCrashReporterOptions{.folder = options->crashReportsFolder});
    }
    if (options->showsHelp) {
      output.Write(HelpText());
      return ExitCode::kAllRead;
    }
    if (options->showsSettings) {
      output.Write(DescribeSettings(options->settingsKey, LoadSettings(options->settingsKey)));
      return ExitCode::kAllRead;
    }
    if (options->folder.empty()) {
      const std::wstring last = LoadSettings(options->settingsKey).lastFolder;
      return TellUsage(error, last.empty() ? L"no folder given"
                                           : L"no folder given; the last one audited was " + last);
    }
    FlowLogFile flowLog(options->flowLogFile);
    const ExitCode code = TellFailure(error, [&] { return RunAudit(*options, output, error); });
    flowLog.Dump();  // a run that failed needs it most
    return code;
  });
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  const std::span<const wchar_t* const> arguments(argv, static_cast<std::size_t>(argc));
  return static_cast<int>(Main(arguments.subspan(argc > 0 ? 1 : 0)));
}
