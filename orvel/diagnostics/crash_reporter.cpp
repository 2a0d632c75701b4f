// SPDX-License-Identifier: MIT
#include "orvel/diagnostics/crash_reporter.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "orvel/diagnostics/crash_report_folder.h"
#include "orvel/diagnostics/crash_reporter_state.h"
#include "orvel/foundation/exception.h"
#include "orvel/foundation/system_error.h"
#include "orvel/logging/flow_log.h"
#include "orvel/platform/crash_hooks.h"
#include "orvel/platform/crash_stack.h"
#include "orvel/platform/kernel_handle.h"
#include "orvel/platform/system_paths.h"

namespace {

using Orvel::Detail::CrashReporterState;
using Orvel::Detail::CrashReportFolder;
using Orvel::Detail::KernelHandle;

constexpr const wchar_t* kClassName = L"MCrashReporter";

constinit std::atomic<bool> moduleHasReporter{false};

/// Returns the name of a file without its path and extension.
std::wstring StemOf(const std::wstring& path) {
  const std::size_t start = path.find_last_of(L"\\/") + 1;
  return path.substr(start, path.rfind(L'.') - start);
}

/// Returns the full path of a folder, without a separator at its end.
std::wstring FolderPath(const std::wstring& folder) {
  std::wstring path = Orvel::Detail::FullPath(folder);
  while (!path.empty() && path.back() == L'\\') path.pop_back();
  return path;
}

std::unique_ptr<CrashReporterState> BuildState(MSourceContext& context, const void* object,
                                               const MCrashReporterOptions& options) {
  std::wstring programPath = Orvel::Detail::ProgramPath();
  const std::wstring name = options.programName.empty() ? StemOf(programPath) : options.programName;
  const bool hasControl = std::any_of(name.begin(), name.end(), [](wchar_t c) { return c < L' '; });
  if (name.empty() || hasControl || name.find_first_of(L"\\/:*?\"<>|") != std::wstring::npos) {
    RaiseError(context.At(__LINE__, object), L"BadName", L"name", name);
  }
  const std::wstring folderPath = FolderPath(options.folder);
  if (options.folder.empty() || folderPath.empty()) {
    RaiseError(context.At(__LINE__, object), L"BadFolder", L"folder", options.folder);
  }
  const std::size_t length = folderPath.size() + name.size();
  if (length > CrashReportFolder::kMaxLength) {
    MError error(context.At(__LINE__, object), L"NameTooLong");
    error.AddParameter(L"length", length);
    error.AddParameter(L"limit", CrashReportFolder::kMaxLength);
    throw MException(error);
  }
  CrashReportFolder folder(folderPath, name, options.reportsKept);
  if (const std::uint32_t code = folder.Create()) {
    MError error(context.At(__LINE__, object), L"CannotCreateFolder");
    error.AddParameter(L"winErrorCode", code);
    error.AddParameter(L"folder", folderPath);
    throw MException(error);
  }
  std::uint32_t code = 0;
  KernelHandle claim = Orvel::Detail::ClaimCrashes(code);
  if (code != 0) RaiseSystemError(context.At(__LINE__, object), L"CannotMarkProcess", code);
  if (!claim) return nullptr;
  return std::make_unique<CrashReporterState>(context.At(__LINE__, object), std::move(folder),
                                              std::move(programPath), options, std::move(claim));
}

}  // namespace

MCrashReporter::MCrashReporter(const MCrashReporterOptions& options) {
  static MSourceContext context(kClassName, kClassName);
  NameFlowObject(this, kClassName);
  context.Record(MFlowEvent::kConstruction, this);
  if (moduleHasReporter.exchange(true)) {
    RaiseError(context.At(__LINE__, this), L"AlreadyReporting");
  }
  try {
    state_ = BuildState(context, this, options);
    ReserveStack();  // without it a crash of another kind is reported all the same
  } catch (...) {
    moduleHasReporter.store(false);
    throw;
  }
}

MCrashReporter::~MCrashReporter() {
  static const MFlowPoint point(kClassName, L"~MCrashReporter");
  point.Record(MFlowEvent::kDestruction, this);
  // A thread that is stuck in a report still uses it.
  if (state_ != nullptr && !state_->End()) static_cast<void>(state_.release());
  moduleHasReporter.store(false);
}

bool MCrashReporter::ReserveStack() noexcept { return Orvel::Detail::ReserveStack(32 * 1024); }
